#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/CommandLine.h"
#include "Apps/Kaltor/IsolationOptions.h"
#include "Host/PictureEffect.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Cli {

using Host::Picture;
using Host::PictureEffect;

/// The effect with these settings; a refusal of them is a `UsageError`.
PictureEffect MakePictureEffect(Catalog const& catalog, CatalogEntry const& entry, Proc::Settings const& settings);

/// The options of the verbs that run something on pictures and write a PNG file.
struct PictureOptions {
    std::string name;
    std::vector<std::string> inputs;  ///< "-": standard input
    std::string output;
    std::vector<std::string> values;
    std::optional<unsigned> seed;
    bool watches = false;
    IsolationOptions isolation;

    void AddTo(Verb& verb);
};

/// The effect that the options name, with their settings, and the pictures to run it on.
struct PictureJob {
    std::vector<Picture> inputs;
    PictureEffect effect;
};

/// Reads everything and checks it: the output's name, names and values, how many pictures there are, that the GL can
/// take them and a transition's are of one size. `verb` is what the user typed. Throws `UsageError` for what was typed
/// wrongly.
PictureJob MakePictureJob(PictureOptions const& options, std::string const& verb);

/// The content of a picture's file in the format of the name's ending (PNG where there is none).
std::vector<std::uint8_t> MakeFile(std::string const& path, Proc::DataVideoFF const& picture);

}  // namespace Kaltor::Cli

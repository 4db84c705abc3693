#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/CommandLine.h"
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

/// Writes a PNG file, which appears only when it is whole ("-": standard output). An existing file is replaced.
void WriteOutput(std::string const& path, Proc::DataVideoFF const& picture);

}  // namespace Kaltor::Cli

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/CommandLine.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Cli {

using Picture = boost::intrusive_ptr<Proc::DataVideoFF>;

/// One registered effect, transition or service, run on pictures as on video: wrapper, uploader, GL thread,
/// downloader.
class PictureEffect {
public:
    PictureEffect(Catalog const& catalog, CatalogEntry const& what, Proc::Settings const& settings);

    /// Makes what is random follow from this seed alone; without it, from the clock.
    void SetSeed(std::uint32_t seed);

    /// Makes progress exactly this, whatever the time; without it progress follows from the time.
    void SetProgress(double progress);

    /// The result as Rgb24 or Rgba. `inputs` may be used again; their timestamps are set.
    Picture Run(std::vector<Picture> const& inputs, std::int64_t timestamp);

private:
    CatalogEntry entry;
    boost::intrusive_ptr<Proc::IEffect> effect;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> uploader;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> downloader;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> converter;
};

/// The options of the verbs that run something on pictures and write a PNG file.
struct PictureOptions {
    std::string name;
    std::vector<std::string> inputs;  ///< "-": standard input
    std::string output;
    std::vector<std::string> values;
    std::optional<unsigned> seed;

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

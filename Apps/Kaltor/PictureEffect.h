#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Cli {

using Picture = boost::intrusive_ptr<Proc::DataVideoFF>;

/// One registered effect, transition or service, run on pictures by the road that video takes: wrapper, uploader,
/// GL thread, downloader.
class PictureEffect {
public:
    PictureEffect(Catalog const& catalog, CatalogEntry const& what, Proc::Settings const& settings);

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

/// Throws `UsageError` where an effect takes another number of pictures. `verb` is what the user typed.
void CheckInputCount(CatalogEntry const& entry, std::string const& verb, std::size_t count);

/// Reads the pictures ("-": standard input) and checks that the GL can take them and a transition's are of one size.
std::vector<Picture> ReadInputs(CatalogEntry const& entry, std::vector<std::string> const& paths);

/// Throws `UsageError` for what cannot be the name of a PNG file.
void CheckPngPath(std::string const& path);

/// Writes a PNG file, which appears only when it is whole ("-": standard output). An existing file is replaced.
void WriteOutput(std::string const& path, Proc::DataVideoFF const& picture);

}  // namespace Kaltor::Cli

#pragma once

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Conf/FrameInfo.h"

namespace Kaltor::Cli {

/// Whether an entry is better seen on the second scene, which has many colours and small detail.
bool IsOnSecond(std::string const& name);
/// What is set where the defaults do little on the scenes.
std::vector<Assignment> ValuesOf(std::string const& name, Conf::FrameInfo const& size);

/// The two clips that everything is shown on, in the folder "pictures", and a still of each. A clip lasts
/// `kLoopSeconds` and is silent.
struct SourceOptions {
    std::string first;   ///< a video or picture; empty: a lake at sunset
    std::string second;  ///< empty: a beach at noon
    Conf::FrameInfo size;
};
constexpr int kLoopSeconds = 4;
constexpr int kLoopRate = 25;

/// What is in a gallery's folder of one entry, and how it was made; paths are seen from that folder.
struct Preview {
    std::string video;  ///< empty: there is only the still
    std::string poster;
    std::string command;
};

/// Makes the clips. All throw `Media::Cancelled` soon after `cancel` is true.
void MakeSources(std::filesystem::path const& folder, SourceOptions const& options, std::atomic<bool> const& cancel);

/// Makes an entry's files from the clips: a loop through the first clip for an effect, a loop from the first to the
/// second and back for a transition, a still for a service.
Preview MakePreview(std::filesystem::path const& folder, Catalog const& catalog, CatalogEntry const& entry,
                    Conf::FrameInfo const& size, std::atomic<bool> const& cancel);

}  // namespace Kaltor::Cli

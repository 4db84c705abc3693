#include "Apps/Kaltor/Doors.h"

#include <algorithm>

#include <unistd.h>

#include "Core/Environment.h"
#include "Core/Text.h"
#include "Host/Plugin.h"

namespace Kaltor::Cli {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> SplitPath(char const* variable) {
    std::string const text = Core::GetVariable(variable);
    std::vector<std::string_view> parts = Core::Split(text, ':');
    std::erase(parts, "");
    return {parts.begin(), parts.end()};
}

bool IsOnPath(char const* program) {
    std::vector<fs::path> const folders = SplitPath("PATH");
    return std::any_of(folders.begin(), folders.end(),
                       [program](fs::path const& folder) { return access((folder / program).c_str(), X_OK) == 0; });
}

std::size_t CountDoors(fs::path const& folder) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    std::size_t count = 0;
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        fs::path const name = entry->path().filename();
        count += name.string().starts_with("kaltor_") && name.extension() == ".so" ? 1 : 0;
    }
    return count;
}

fs::path FindFirst(std::vector<fs::path> const& folders) {
    auto const found =
        std::find_if(folders.begin(), folders.end(), [](fs::path const& folder) { return CountDoors(folder) != 0; });
    return found != folders.end() ? *found : fs::path();
}

/// Beside the plug-in: in a build tree, in an installation, and in one with a folder for the processor.
std::vector<fs::path> ListOwnFolders() {
    try {
        fs::path const plugin = Host::FindPlugin().parent_path();
        return {plugin / "frei0r-1", plugin.parent_path() / "frei0r-1",
                plugin.parent_path().parent_path() / "frei0r-1"};
    } catch (std::exception const&) {
        return {};
    }
}

}  // namespace

Doors FindDoors() {
    // The folders of the hosts' own, after those in FREI0R_PATH; FFmpeg alone looks into both.
    std::vector<fs::path> const named = SplitPath("FREI0R_PATH");
    std::vector<fs::path> common{"/usr/local/lib/frei0r-1", "/usr/lib/frei0r-1", "/usr/local/lib64/frei0r-1",
                                 "/usr/lib64/frei0r-1"};
    if (std::string const home = Core::GetVariable("HOME"); !home.empty()) {
        common.insert(common.begin(), fs::path(home) / ".frei0r-1" / "lib");
    }
    std::vector<fs::path> both = named;
    both.insert(both.end(), common.begin(), common.end());
    std::vector<fs::path> const& either = named.empty() ? common : named;

    std::vector<fs::path> everywhere = ListOwnFolders();
    everywhere.insert(everywhere.end(), both.begin(), both.end());
    fs::path const folder = FindFirst(everywhere);
    return {folder,
            CountDoors(folder),
            {{"FFmpeg", IsOnPath("ffmpeg"), FindFirst(both)},
             {"MLT", IsOnPath("melt") || IsOnPath("melt-7"), FindFirst(either)},
             {"GStreamer", IsOnPath("gst-launch-1.0"), FindFirst(either)}}};
}

}  // namespace Kaltor::Cli

#include "Host/ShaderFolders.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "Host/Plugin.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"

namespace Kaltor::Host {
namespace {

namespace fs = std::filesystem;

std::string_view GetVariable(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// $XDG_DATA_HOME, or its standard place in the home folder.
fs::path GetUsersDataFolder() {
    std::string_view const data = GetVariable("XDG_DATA_HOME");
    if (data.starts_with('/')) {
        return data;
    }
    std::string_view const home = GetVariable("HOME");
    return home.empty() ? fs::path() : fs::path(home) / ".local" / "share";
}

}  // namespace

std::vector<fs::path> FindShaderFolders() {
    std::vector<fs::path> places;
    for (std::string_view rest = GetVariable(kShaderPathVariable); !rest.empty();) {
        std::size_t const colon = rest.find(':');
        if (colon != 0) {
            places.emplace_back(rest.substr(0, colon));
        }
        rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    fs::path const shaders = fs::path("kaltor") / "shaders";
    if (fs::path const data = GetUsersDataFolder(); !data.empty()) {
        places.push_back(data / shaders);
    }
    // The libraries' folder may be lib or lib/MACHINE; a build tree looks like an installation.
    for (fs::path const& beside :
         {GetProgramFolder() / "..", GetLibraryFolder() / "..", GetLibraryFolder() / ".." / ".."}) {
        std::error_code error;
        fs::path const place = beside / "share" / shaders;
        if (fs::is_directory(place, error)) {
            places.push_back(fs::canonical(place, error));
            break;
        }
    }
    std::vector<fs::path> found;
    for (fs::path const& place : places) {
        std::error_code error;
        if (fs::is_directory(place, error) && std::find(found.begin(), found.end(), place) == found.end()) {
            found.push_back(place);
        }
    }
    return found;
}

std::vector<fs::path> ListShaderFiles(fs::path const& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code ignored;
        if (Proc::IsShaderFile(entry->path().filename().string()) && entry->is_regular_file(ignored)) {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace Kaltor::Host

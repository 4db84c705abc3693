#include "Host/ShaderFolders.h"

#include <algorithm>
#include <string_view>

#include "Core/Environment.h"
#include "Core/Text.h"
#include "Host/Plugin.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"

namespace Kaltor::Host {
namespace {

namespace fs = std::filesystem;

}  // namespace

std::vector<fs::path> FindShaderFolders() {
    std::vector<fs::path> places;
    std::string const named = Core::GetVariable(kShaderPathVariable);
    for (std::string_view const folder : Core::Split(named, ':')) {
        if (!folder.empty()) {
            places.emplace_back(folder);
        }
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

#include "Studio/FileAccess.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "Core/Text.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

namespace fs = std::filesystem;

/// A folder of more files is listed in part.
constexpr std::size_t kMostEntries = 5000;

fs::path WithoutLinks(fs::path const& path) {
    std::error_code error;
    fs::path const result = fs::weakly_canonical(path, error);
    return error ? path.lexically_normal() : result;
}

/// What an edit can use a file for, by the ending of its name; "" for others.
std::string_view KindOf(fs::path const& path) {
    struct Kind {
        std::string_view name;
        std::string_view endings;  // each between two spaces
    };
    static constexpr std::array kKinds{
        Kind{"video", " 3gp avi flv gif m2ts m4v mkv mov mp4 mpeg mpg mts mxf nut ogv ts webm wmv y4m "},
        Kind{"picture", " avif bmp exr heic jpeg jpg jxl png tga tif tiff webp "},
        Kind{"sound", " aac ac3 aif aiff flac m4a mka mp3 oga ogg opus wav wma "},
        Kind{"subtitles", " ass srt ssa vtt "},
        Kind{"shader", " glsl "},
        Kind{"edit", " json json5 otio "},
    };
    std::string const ending = Core::ToLower(path.extension().string());
    if (ending.size() < 2) {
        return {};
    }
    std::string const word = fmt::format(" {} ", ending.substr(1));
    for (Kind const& kind : kKinds) {
        if (kind.endings.find(word) != std::string_view::npos) {
            return kind.name;
        }
    }
    return {};
}

[[noreturn]] void RefuseOutside(std::string const& name) {
    throw RequestError(kForbidden, fmt::format("{} lies outside of the edit's folder", name));
}

void CheckName(std::string const& name) {
    if (name.find('\0') != std::string::npos) {
        throw RequestError(kBadRequest, "a file's name cannot hold the character of code 0");
    }
}

}  // namespace

FileAccess::FileAccess(fs::path const& ownFolder, std::vector<std::string> const& namedFiles, bool trusted)
    : folder(WithoutLinks(fs::absolute(ownFolder))), isTrusted(trusted) {
    for (std::string const& file : namedFiles) {
        named.push_back(WithoutLinks(fs::absolute(file)));
    }
}

Edit::Home FileAccess::GetHome() const {
    return {folder.string(), isTrusted ? Edit::Trust::Everywhere : Edit::Trust::OwnFolder, named};
}

bool FileAccess::IsBelow(fs::path const& canonical) const {
    fs::path const inside = canonical.lexically_relative(folder);
    return !inside.empty() && *inside.begin() != "..";
}

fs::path FileAccess::ToRead(std::string const& name) const {
    CheckName(name);
    fs::path const full = (folder / name).lexically_normal();
    fs::path const canonical = WithoutLinks(full);
    bool const isNamed = std::find(named.begin(), named.end(), canonical) != named.end();
    if (!isTrusted && !isNamed && !IsBelow(canonical)) {
        RefuseOutside(name);
    }
    std::error_code error;
    if (!fs::is_regular_file(canonical, error)) {
        throw RequestError(kNotFound, fmt::format("{}: no such file", name));
    }
    return full;
}

fs::path FileAccess::ToWrite(std::string const& name) const {
    CheckName(name);
    fs::path const full = (folder / name).lexically_normal();
    std::string const file = full.filename().string();
    if (file.empty() || file == "." || file.front() == '.') {
        throw RequestError(kBadRequest, fmt::format("\"{}\" is no name for a file", name));
    }
    fs::path const canonical = WithoutLinks(full);
    if (!IsBelow(canonical) || canonical == folder) {
        RefuseOutside(name);
    }
    std::error_code error;
    fs::file_status const status = fs::status(canonical, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw RequestError(kBadRequest, fmt::format("{} is not a plain file", name));
    }
    if (!fs::is_directory(canonical.parent_path(), error)) {
        throw RequestError(kNotFound, fmt::format("{}: there is no such folder", name));
    }
    return full;
}

fs::path FileAccess::ToList(std::string const& name) const {
    CheckName(name);
    fs::path const canonical = WithoutLinks((folder / name).lexically_normal());
    // The folder itself has an empty last part, or "." as its place within itself.
    if (!IsBelow(canonical)) {
        RefuseOutside(name);
    }
    std::error_code error;
    if (!fs::is_directory(canonical, error)) {
        throw RequestError(kNotFound, fmt::format("{}: there is no such folder", name));
    }
    return canonical;
}

std::string FileAccess::NameOf(fs::path const& path) const {
    fs::path const relative = path.lexically_relative(folder);
    return relative.empty() || *relative.begin() == ".." ? path.string() : relative.string();
}

Edit::Json FileAccess::List(std::string const& name) const {
    fs::path const path = ToList(name);
    struct Entry {
        std::string shown;
        std::string_view kind;
        std::uintmax_t bytes;
    };
    std::vector<Entry> found;
    auto const add = [&found](fs::path const& file, std::string const& shown, bool mayBeFolder) {
        std::error_code error;
        if (mayBeFolder && fs::is_directory(file, error)) {
            found.push_back({shown, "folder", 0});
        } else if (std::string_view const kind = KindOf(file); !kind.empty() && fs::is_regular_file(file, error)) {
            found.push_back({shown, kind, fs::file_size(file, error)});
        }
    };
    std::error_code error;
    for (fs::directory_iterator entry(path, fs::directory_options::skip_permission_denied, error), end;
         !error && entry != end && found.size() < kMostEntries; entry.increment(error)) {
        std::string const file = entry->path().filename().string();
        if (!file.starts_with('.') && (isTrusted || IsBelow(WithoutLinks(entry->path())))) {
            add(entry->path(), file, true);
        }
    }
    if (path == folder) {
        for (fs::path const& file : named) {
            if (!IsBelow(file)) {
                add(file, file.string(), false);
            }
        }
    }
    std::sort(found.begin(), found.end(), [](Entry const& a, Entry const& b) {
        return std::pair(a.kind != "folder", a.shown) < std::pair(b.kind != "folder", b.shown);
    });
    Edit::Json entries = Edit::Json::array();
    for (Entry const& entry : found) {
        entries.push_back({{"name", entry.shown}, {"kind", entry.kind}, {"bytes", entry.bytes}});
    }
    bool const isTop = path == folder;
    std::string const shown = isTop ? "" : NameOf(path);
    Edit::Json parent = nullptr;
    if (!isTop) {
        parent = fs::path(shown).parent_path().string();
    }
    return {{"folder", shown}, {"parent", parent}, {"entries", entries}};
}

}  // namespace Kaltor::Studio

#include "Studio/Shaders.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/PlainFile.h"
#include "Media/PartialFile.h"
#include "Ogl/OglManager.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

/// "NAME:12: why" with its line.
Edit::Json ErrorOf(std::string message, std::string const& name) {
    if (message.starts_with(name + ":")) {
        message.erase(0, name.size() + 1);
    }
    std::size_t const colon = message.find(':');
    std::optional<int> const line = Core::ParseNumber<int>(message.substr(0, colon));
    if (line && colon != std::string::npos) {
        message.erase(0, colon + 1);
    }
    message.erase(0, message.find_first_not_of(' '));
    return {{"line", line ? Edit::Json(*line) : Edit::Json(nullptr)}, {"message", message}};
}

/// One error for each line of a compiler's log that has one.
Edit::Json ErrorsOf(std::string const& log, std::string const& name) {
    constexpr std::size_t kMostErrors = 50;
    Edit::Json errors = Edit::Json::array();
    std::set<std::string> seen;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line) && errors.size() < kMostErrors;) {
        bool const isError = line.find("error") != std::string::npos || line.find("ERROR") != std::string::npos;
        if (std::string const text = Proc::DescribeShaderLog(name, line); isError && seen.insert(text).second) {
            errors.push_back(ErrorOf(text, name));
        }
    }
    if (errors.empty()) {
        errors.push_back(ErrorOf(Proc::DescribeShaderLog(name, log), name));
    }
    return errors;
}

/// As the catalogue has it.
Host::CatalogEntry EntryOf(std::shared_ptr<Proc::ShaderFile const> const& file) {
    return {file->GetName(), file->IsTransition() ? Host::Kind::Transition : Host::Kind::Effect, file->IsTransition(),
            false, std::make_shared<Proc::SettingsShaderFile const>(file)};
}

void CheckPath(std::string const& path) {
    if (!Proc::IsShaderFile(path)) {
        throw RequestError(kBadRequest, fmt::format("{}: the name of a shader file ends in .glsl", path));
    }
}

}  // namespace

Edit::Json CheckShader(std::string const& name, std::string const& source, DescribeEntry const& describe) {
    if (source.size() > Proc::kMostShaderBytes) {
        throw RequestError(kTooLarge, "a shader file has 1 MiB at most");
    }
    Edit::Json json{{"kind", nullptr}, {"fields", Edit::Json::array()}};
    Edit::Json errors = Edit::Json::array();
    try {
        auto const file = std::make_shared<Proc::ShaderFile const>(name, source);
        json = describe(EntryOf(file));
        json["origin"] = "shader";
        // Not kept: of a text that is being written there are hundreds.
        Ogl::OglManager::GetInstance().Invoke([&](Ogl::ShaderStorage const&) {
            for (std::size_t pass = 0; pass <= file->GetPasses().size(); ++pass) {
                if (pass == file->GetPasses().size() || file->GetPasses()[pass].kind == Proc::ShaderPass::Kind::Drawn) {
                    Ogl::Shader const compiled(file->GetName(), Ogl::kQuadVertex, file->MakeProgram(pass));
                }
            }
        });
    } catch (Ogl::ShaderError const& error) {
        errors = ErrorsOf(error.GetLog(), name);
    } catch (std::invalid_argument const& error) {
        errors.push_back(ErrorOf(Core::Describe(error), name));
    }
    json["errors"] = std::move(errors);
    return json;
}

std::vector<Host::CatalogEntry> ListShaders(FileAccess const& access) {
    namespace fs = std::filesystem;
    constexpr std::size_t kMostFiles = 200;
    constexpr int kDeepest = 1;
    std::vector<std::string> names;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(access.GetFolder(), fs::directory_options::skip_permission_denied, error),
         end;
         !error && entry != end && names.size() < kMostFiles; entry.increment(error)) {
        if (entry.depth() >= kDeepest || entry->path().filename().string().starts_with('.')) {
            entry.disable_recursion_pending();
        }
        std::string const name = access.NameOf(entry->path());
        if (Proc::IsShaderFile(name)) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    std::vector<Host::CatalogEntry> entries;
    for (std::string const& name : names) {
        try {
            std::string const path = access.ToRead(name).string();
            entries.push_back(EntryOf(std::make_shared<Proc::ShaderFile const>(Proc::ShaderFile::Read(path).Named(name))));
        } catch (std::exception const&) {
            continue;  // an edit that uses it says what is wrong
        }
    }
    return entries;
}

Edit::Json ReadShader(FileAccess const& access, std::string const& path) {
    CheckPath(path);
    std::filesystem::path const file = access.ToRead(path);
    std::string source;
    try {
        source = Core::ReadPlainFile(file.string(), Proc::kMostShaderBytes);
    } catch (Core::FileFault const& fault) {
        if (fault.GetKind() == Core::FileFault::Kind::TooLarge) {
            throw RequestError(kTooLarge, fmt::format("{}: a shader file has 1 MiB at most", path));
        }
        throw RequestError(kNotFound, fmt::format("{}: {}", path, fault.what()));
    }
    return {{"path", path}, {"source", source}, {"revision", FingerprintOf(file)}};
}

Edit::Json SaveShader(FileAccess const& access, std::string const& path, std::string const& source,
                      std::string const& revision, bool overwrite) {
    CheckPath(path);
    if (source.size() > Proc::kMostShaderBytes) {
        throw RequestError(kTooLarge, "a shader file has 1 MiB at most");
    }
    std::filesystem::path const file = access.ToWrite(path);
    std::string const present = FingerprintOf(file);
    if (!overwrite && !present.empty() && present != revision) {
        throw RequestError(kConflict, revision.empty() ? fmt::format("{} exists", path)
                                                       : fmt::format("{} was changed by somebody else since it was read",
                                                                     path));
    }
    Media::WriteFile(file.string(), {source.begin(), source.end()}, !present.empty());
    return {{"path", path}, {"revision", FingerprintOf(file)}};
}

}  // namespace Kaltor::Studio

#include "Host/Plugin.h"

#include <stdexcept>
#include <vector>

#include <dlfcn.h>
#include <fmt/format.h>

#include "Core/Environment.h"
#include "Core/Interfaces/Exception.h"
#include "Host/OtherPlugins.h"
#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"

namespace Kaltor::Host {
namespace {

namespace fs = std::filesystem;

std::string LastLoaderError() {
    char const* const text = dlerror();
    return text != nullptr ? text : "unknown error of the dynamic loader";
}

}  // namespace

fs::path GetLibraryFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void const*>(&Core::GetCallStack), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    fs::path const folder = fs::path(info.dli_fname).parent_path();
    // The loader may have come by another way to it: /lib is a link to /usr/lib.
    std::error_code error;
    fs::path real = fs::canonical(folder, error);
    return error ? folder : real;
}

fs::path GetUsersDataFolder() {
    fs::path const data = Core::GetVariable("XDG_DATA_HOME");
    if (data.is_absolute()) {
        return data;
    }
    fs::path const home = Core::GetVariable("HOME");
    return home.empty() ? fs::path() : home / ".local" / "share";
}

fs::path GetProgramFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

fs::path FindPlugin() {
    if (std::string const named = Core::GetVariable(kPluginVariable); !named.empty()) {
        return named;
    }
    std::vector<fs::path> const places{GetProgramFolder(), GetLibraryFolder(), GetLibraryFolder() / "kaltor"};
    std::string looked;
    for (fs::path const& place : places) {
        fs::path const file = place / KALTOR_PLUGIN_FILE;
        std::error_code error;
        if (fs::exists(file, error)) {
            return fs::canonical(file);
        }
        looked += (looked.empty() ? "" : ", ") + place.string();
    }
    Core::Throw(std::runtime_error(
        fmt::format("the plug-in {} is not in {}; set {} to its path", KALTOR_PLUGIN_FILE, looked, kPluginVariable)));
}

fs::path FindLooks(fs::path const& plugin) {
    std::error_code error;
    fs::path file = fs::absolute(plugin).parent_path() / KALTOR_LOOKS_FILE;
    return fs::exists(file, error) ? file : fs::path();
}

void LoadPlugin(fs::path const& file, Proc::IEffectRegistry& registry) {
    std::error_code error;
    fs::file_status const status = fs::status(file, error);
    if (status.type() == fs::file_type::not_found) {
        Core::Throw(std::runtime_error(fmt::format("the plug-in {} does not exist", file.string())));
    }
    if (error || !fs::is_regular_file(status)) {  // whoever opens a pipe waits for what comes out of it
        Core::Throw(std::runtime_error(fmt::format("the plug-in {} cannot be read: {}", file.string(),
                                                   error ? error.message() : "it is no file")));
    }
    // Another version of the library would come in beside this one.
    std::string const ours = "libkaltor.so." KALTOR_ABI;
    for (std::string const& needed : FindNeededLibraries(file)) {
        if (needed != ours) {
            Core::Throw(std::runtime_error(
                fmt::format("the plug-in {} is made for {}, this is {}", file.string(), needed, ours)));
        }
    }
    // The loader would look for a path without a slash in the system's folders.
    fs::path const absolute = fs::absolute(file);
    // Never unloaded: effects, caches and exceptions of the plug-in may live until the process ends.
    void* const library = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        Core::Throw(std::runtime_error(fmt::format("the plug-in does not load: {}", LastLoaderError())));
    }
    void* const symbol = dlsym(library, Proc::kRegistratorSymbol);
    if (symbol == nullptr) {
        dlclose(library);
        Core::Throw(std::runtime_error(fmt::format("{} is not a plug-in: it does not export the symbol {}",
                                                   file.string(), Proc::kRegistratorSymbol)));
    }
    reinterpret_cast<Proc::RegistratorFn>(symbol)(registry);
}

std::unique_ptr<EffectRegistry> MakeRegistry(Proc::PictureReader const& reader) {
    auto registry = std::make_unique<EffectRegistry>(reader);
    Proc::RegisterDefaultEffects(*registry);
    fs::path const plugin = FindPlugin();
    for (fs::path const& file : {plugin, FindLooks(plugin)}) {
        if (file.empty()) {
            continue;
        }
        std::size_t const before = registry->List().size();
        LoadPlugin(file, *registry);
        std::size_t const count = registry->List().size() - before;
        if (count == 0) {
            Core::Throw(std::runtime_error(fmt::format("the plug-in {} registers no effects", file.string())));
        }
        registry->AddReports({{file, count, "", true}});
    }
    registry->AddReports(LoadOtherPlugins(*registry, ListPluginFolders()));
    return registry;
}

}  // namespace Kaltor::Host

#include "Apps/Kaltor/Catalog.h"

#include <chrono>
#include <cmath>

#include <fmt/format.h>
#include <unistd.h>

#include "Apps/Kaltor/Console.h"
#include "Core/Environment.h"
#include "Core/ParseNumber.h"
#include "Media/PartialFile.h"
#include "Media/Picture.h"

namespace Kaltor::Cli {
namespace {

/// The environment variable with the seconds after which a shader file's first frame is given up; 0: never.
constexpr char const* kSecondsVariable = "KALTOR_SHADER_SECONDS";

std::chrono::milliseconds ReadLimit(std::chrono::milliseconds standard) {
    constexpr double kMost = 1e6;
    std::string const text = Core::GetVariable(kSecondsVariable);
    if (text.empty()) {
        return standard;
    }
    std::optional<double> const seconds = Core::ParseNumber<double>(text);
    if (!seconds || !(*seconds >= 0.0 && *seconds <= kMost)) {
        throw UsageError(fmt::format("{} is \"{}\": it takes seconds, 0 for no limit", kSecondsVariable, text));
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(*seconds * 1e3)));  // 0 is no limit
}

/// Where that fails, it is left: the message counts.
void RemoveBegun(std::string const& output) {
    try {
        Media::RemoveBegun(output);
    } catch (std::exception const&) {
    }
}

Catalog Load(HangGuard guard, std::string const& output, HungShaders const& hung) {
    Proc::ShaderHost host;
    host.limit = guard == HangGuard::On ? ReadLimit(host.limit) : std::chrono::milliseconds(0);
    host.readPicture = [](std::string const& path) { return Media::ReadPicture(path); };
    host.refused = hung.programs;
    host.onHang = [seconds = std::chrono::duration<double>(host.limit).count(), output, note = hung.note](
                      std::string const& name, std::string const& program) {
        if (!output.empty()) {
            RemoveBegun(output);
        }
        WriteError(
            fmt::format("{}: its first frame is not drawn after {:g} seconds; a loop may have no end ({} sets "
                        "another limit)",
                        name, seconds, kSecondsVariable));
        if (note) {
            note(program);
        }
        // The GL cannot be interrupted, and no destructor could end while it draws.
        ::_exit(1);
    };
    Catalog catalog = Catalog::Load(host);
    for (Host::PluginReport const& plugin : catalog.GetPlugins()) {
        if (!plugin.fault.empty()) {
            char const* const extent = plugin.effects == 0 ? "used" : "all used";
            WriteError(
                fmt::format("warning: the plug-in {} is not {}: {}", plugin.file.string(), extent, plugin.fault));
        }
    }
    return catalog;
}

}  // namespace

Catalog LoadCatalog(HangGuard guard, std::string const& output) {
    return Load(guard, output, {});
}

Catalog LoadCatalog(HungShaders const& hung) {
    return Load(HangGuard::On, {}, hung);
}

}  // namespace Kaltor::Cli

#include <memory>

#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Apps/Kaltor/BenchReport.h"
#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Doors.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Environment.h"
#include "Core/Interfaces/Exception.h"
#include "Host/Catalog.h"
#include "Host/OtherPlugins.h"
#include "Host/Plugin.h"
#include "Host/ShaderFolders.h"
#include "Ogl/OglManager.h"
#include "Proc/Interfaces/IEffectFactory.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace Kaltor::Cli {
namespace {

using nlohmann::ordered_json;

std::string VersionText(unsigned version) {
    return fmt::format("{}.{}.{}", AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version), AV_VERSION_MICRO(version));
}

/// Reports are sent to others: the user's own folder, and with it often a name, becomes "~".
std::string HideHome(std::string text) {
    std::string home = Core::GetVariable("HOME");
    while (home.ends_with('/')) {
        home.pop_back();
    }
    if (!home.empty()) {
        boost::replace_all(text, home + "/", "~/");
    }
    return text;
}

ordered_json ExamineGl() {
    try {
        ordered_json report{{"ok", true}};
        report.update(ToJson(Ogl::OglManager::GetInstance().GetInfo()));
        return report;
    } catch (std::exception const& error) {
        return {{"ok", false}, {"error", HideHome(Core::Describe(error))}};
    }
}

ordered_json ExaminePlugin() {
    ordered_json report{{"ok", false}};
    try {
        std::filesystem::path const file = Host::FindPlugin();
        report["path"] = HideHome(file.string());
        Host::EffectRegistry registry;
        Host::LoadPlugin(file, registry);
        report["effects"] = registry.List().size();
        report["ok"] = !registry.List().empty();
        if (registry.List().empty()) {
            report["error"] = "it registers no effects";
        }
    } catch (std::exception const& error) {
        report["error"] = HideHome(Core::Describe(error));
    }
    return report;
}

/// The plug-ins of others, and where they are looked for.
ordered_json ExamineOtherPlugins() {
    ordered_json report{{"ok", true}, {"folders", ordered_json::array()}, {"plugins", ordered_json::array()}};
    for (std::filesystem::path const& folder : Host::ListPluginFolders()) {
        report["folders"].push_back(HideHome(folder.string()));
    }
    std::vector<Host::PluginReport> plugins;
    try {
        plugins = Host::Catalog::Load().GetPlugins();
    } catch (std::exception const&) {
        return report;  // without the standard plug-in none is loaded; that is reported on its own
    }
    for (Host::PluginReport const& plugin : plugins) {
        if (plugin.isOwn) {
            continue;
        }
        report["plugins"].push_back(
            {{"path", HideHome(plugin.file.string())},
             {"effects", plugin.effects},
             {"error", plugin.fault.empty() ? ordered_json(nullptr) : ordered_json(HideHome(plugin.fault))}});
        report["ok"] = report["ok"].get<bool>() && plugin.fault.empty();
    }
    return report;
}

std::string ShowOtherPlugins(ordered_json const& report) {
    std::string out;
    for (ordered_json const& plugin : report["plugins"]) {
        out += fmt::format("  path       {}, {} effects\n", MakePrintable(plugin["path"].get<std::string>()),
                           plugin["effects"].get<std::size_t>());
        if (!plugin["error"].is_null()) {
            out += fmt::format("  FAILS      {}\n", MakePrintable(plugin["error"].get<std::string>()));
        }
    }
    if (report["plugins"].empty()) {
        for (ordered_json const& folder : report["folders"]) {
            out += fmt::format("  none in    {}\n", MakePrintable(folder.get<std::string>()));
        }
    }
    return out;
}

ordered_json ExamineFfmpeg() {
    AVCodec const* const h264 = avcodec_find_encoder(AV_CODEC_ID_H264);
    ordered_json report{{"ok", h264 != nullptr},
                        {"libraries",
                         {{"libavutil", VersionText(avutil_version())},
                          {"libavcodec", VersionText(avcodec_version())},
                          {"libavformat", VersionText(avformat_version())},
                          {"libavfilter", VersionText(avfilter_version())},
                          {"libswscale", VersionText(swscale_version())},
                          {"libswresample", VersionText(swresample_version())}}},
                        {"h264Encoder", h264 != nullptr ? ordered_json(h264->name) : ordered_json(nullptr)}};
    if (h264 == nullptr) {
        report["error"] =
            "libavcodec has no H.264 encoder: install the package libavcodec59 or libavcodec-extra59, or "
            "choose another encoder with --codec";
    }
    return report;
}

/// The folders of shader files, with what is wrong in them. Faults there are the user's to mend: they are no failure.
ordered_json ExamineShaders() {
    ordered_json report{{"folders", ordered_json::array()}, {"faults", ordered_json::array()}};
    for (std::filesystem::path const& folder : Host::FindShaderFolders()) {
        report["folders"].push_back(
            {{"path", HideHome(folder.string())}, {"files", Host::ListShaderFiles(folder).size()}});
    }
    try {
        Catalog const catalog = Host::Catalog::Load();
        for (std::string const& fault : catalog.GetFaults()) {
            report["faults"].push_back(HideHome(fault));
        }
    } catch (std::exception const&) {
        // The plug-in's part of the report says what is wrong.
    }
    return report;
}

std::string ShowShaders(ordered_json const& shaders) {
    std::string out = shaders["folders"].empty() ? "  none\n" : "";
    for (ordered_json const& folder : shaders["folders"]) {
        out += fmt::format("  folder     {}, {} files\n", MakePrintable(folder["path"].get<std::string>()),
                           folder["files"].get<std::size_t>());
    }
    for (ordered_json const& fault : shaders["faults"]) {
        out += fmt::format("  not used   {}\n", MakePrintable(fault.get<std::string>()));
    }
    return out;
}

/// The plug-ins for other programs, which need not be installed.
ordered_json ExamineDoors() {
    Doors const doors = FindDoors();
    auto const show = [](std::filesystem::path const& folder) {
        return folder.empty() ? ordered_json(nullptr) : ordered_json(HideHome(folder.string()));
    };
    ordered_json report{{"folder", show(doors.folder)}, {"effects", doors.count}, {"hosts", ordered_json::array()}};
    for (DoorHost const& host : doors.hosts) {
        report["hosts"].push_back(
            {{"name", host.name}, {"installed", host.isInstalled}, {"folder", show(host.folder)}});
    }
    return report;
}

std::string ShowDoors(ordered_json const& doors) {
    if (doors["folder"].is_null()) {
        return "  not installed\n";
    }
    std::string const folder = MakePrintable(doors["folder"].get<std::string>());
    std::string out = fmt::format("  folder     {}, {} effects\n", folder, doors["effects"].get<std::size_t>());
    for (ordered_json const& host : doors["hosts"]) {
        std::string state = "is not on the path";
        if (host["installed"].get<bool>()) {
            state = host["folder"].is_null() ? fmt::format("does not find them: set FREI0R_PATH={}", folder)
                                             : "looks into " + MakePrintable(host["folder"].get<std::string>());
        }
        out += fmt::format("  {:<9}  {}\n", host["name"].get<std::string>(), state);
    }
    return out;
}

std::string ShowText(ordered_json const& report) {
    auto const text = [](ordered_json const& value) { return MakePrintable(value.get<std::string>()); };
    std::string out = fmt::format("{} {}\n\n{}\n", Bold("kaltor"), text(report["version"]), Bold("OpenGL"));
    ordered_json const& gl = report["gl"];
    if (gl["ok"].get<bool>()) {
        out += fmt::format(
            "  platform   EGL {}\n  vendor     {}\n  renderer   {} ({})\n  version    {}\n  GLSL       {}\n"
            "  limits     pictures to {} pixels a side, {} texture units\n",
            text(gl["platform"]), text(gl["vendor"]), text(gl["renderer"]),
            gl["software"].get<bool>() ? "software" : "hardware", text(gl["version"]), text(gl["glsl"]),
            gl["limits"]["maxTextureSize"].get<int>(), gl["limits"]["maxTextureUnits"].get<int>());
    } else {
        out += fmt::format("  FAILS      {}\n", text(gl["error"]));
    }

    ordered_json const& plugin = report["plugin"];
    out += fmt::format("\n{}\n", Bold("Plug-in"));
    if (plugin.contains("path")) {
        out += fmt::format("  path       {}\n", text(plugin["path"]));
    }
    out += plugin["ok"].get<bool>() ? fmt::format("  effects    {} registered\n", plugin["effects"].get<std::size_t>())
                                    : fmt::format("  FAILS      {}\n", text(plugin["error"]));

    out += fmt::format("\n{}\n{}", Bold("Plug-ins of others"), ShowOtherPlugins(report["otherPlugins"]));
    out += fmt::format("\n{}\n{}", Bold("Shader files"), ShowShaders(report["shaders"]));

    ordered_json const& ffmpeg = report["ffmpeg"];
    out += fmt::format("\n{}\n", Bold("FFmpeg"));
    for (auto const& [name, version] : ffmpeg["libraries"].items()) {
        out += fmt::format("  {:13}  {}\n", name, text(version));
    }
    out += ffmpeg["ok"].get<bool>() ? fmt::format("  H.264 encoder  {}\n", text(ffmpeg["h264Encoder"]))
                                    : fmt::format("  FAILS          {}\n", text(ffmpeg["error"]));
    out += fmt::format("\n{}\n{}", Bold("Plug-ins for other programs (frei0r)"), ShowDoors(report["doors"]));
    return out + (report["ok"].get<bool>() ? "\nAll is well.\n" : "\nNot all is well: see FAILS above.\n");
}

int Doctor(bool isJson) {
    ordered_json report{{"version", KALTOR_VERSION},
                        {"ok", false},
                        {"gl", ExamineGl()},
                        {"plugin", ExaminePlugin()},
                        {"otherPlugins", ExamineOtherPlugins()},
                        {"shaders", ExamineShaders()},
                        {"ffmpeg", ExamineFfmpeg()},
                        {"doors", ExamineDoors()}};
    bool isWell = true;
    for (char const* const part : {"gl", "plugin", "otherPlugins", "ffmpeg"}) {
        isWell = isWell && report[part]["ok"].get<bool>();
    }
    report["ok"] = isWell;
    WriteOut(isJson ? report.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n" : ShowText(report));
    return isWell ? 0 : 1;
}

}  // namespace

void AddDoctor(CommandLine& commandLine) {
    Verb verb = commandLine.AddVerb("doctor", "Show which OpenGL, FFmpeg and plug-in are used, and what is missing");
    auto const isJson = std::make_shared<bool>(false);
    verb.AddFlag("--json", *isJson, "for machines");
    verb.SetFooter("The exit status is 0 where all is well and 1 where something is missing.");
    verb.SetAction([isJson] { return Doctor(*isJson); });
}

}  // namespace Kaltor::Cli

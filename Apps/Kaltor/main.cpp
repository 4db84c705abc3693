#include <algorithm>
#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Specs.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Media/Ffmpeg.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Cli {
namespace {

constexpr int kFailed = 1;
constexpr int kUsedWrongly = 2;

/// "kaltor" or "kaltor VERB", whichever was being typed.
std::string TypedSoFar(CLI::App const& app) {
    std::vector<CLI::App*> const verbs = app.get_subcommands();
    return verbs.empty() ? "kaltor" : "kaltor " + verbs.front()->get_name();
}

/// Words of the command line that nothing takes: a mistyped option or verb, most often.
std::string DescribeUnknown(CLI::App const& app, std::string const& word) {
    std::vector<CLI::App*> const verbs = app.get_subcommands();
    std::vector<std::string> known;
    if (!word.empty() && word.front() == '-') {
        CLI::App const& asked = verbs.empty() ? app : *verbs.front();
        for (CLI::Option const* const option : asked.get_options()) {
            for (std::string const& name : option->get_lnames()) {
                known.push_back("--" + name);
            }
        }
    } else if (verbs.empty()) {
        for (CLI::App const* const verb : app.get_subcommands(nullptr)) {
            known.push_back(verb->get_name());
        }
    }
    char const* const what = word.front() == '-' ? "option" : verbs.empty() ? "verb" : "argument";
    std::string const nearest = Proc::FindNearest(word.substr(0, word.find('=')), known);
    std::string const hint =
        nearest.empty() ? fmt::format("see {} --help", TypedSoFar(app)) : fmt::format("did you mean {}?", nearest);
    return fmt::format("there is no {} \"{}\"; {}", what, word, hint);
}

/// "list, describe, ... or doctor".
std::string ListVerbs(CLI::App const& app) {
    std::vector<std::string> names;
    for (CLI::App const* const verb : app.get_subcommands(nullptr)) {
        names.push_back(verb->get_name());
    }
    std::string const last = names.back();
    names.pop_back();
    return fmt::format("{} or {}", fmt::join(names, ", "), last);
}

int Run(int count, char** words) {
    CLI::App app("GPU video effects and transitions: on pictures, and in finished videos");
    app.name("kaltor");
    app.set_version_flag("--version", "kaltor " KALTOR_VERSION);
    app.require_subcommand(1);
    app.footer(
        "\"kaltor VERB --help\" shows the options of each verb.\n\n"
        "Examples:\n"
        "  kaltor list\n"
        "  kaltor apply EffectBlurGaussian in.png -o out.png --set scale=0.02\n"
        "  kaltor render a.mp4 b.mp4 -o out.mp4 --transition TransitionCrossfade");
    Action action;
    AddList(app, action);
    AddDescribe(app, action);
    AddApply(app, action);
    AddStrip(app, action);
    AddRender(app, action);
    AddGallery(app, action);
    AddBench(app, action);
    AddDoctor(app, action);

    try {
        if (count > 1 && words[1][0] != '-') {
            std::vector<CLI::App*> const verbs = app.get_subcommands(nullptr);
            bool const isVerb = std::any_of(verbs.begin(), verbs.end(),
                                            [&](CLI::App const* verb) { return verb->get_name() == words[1]; });
            if (!isVerb) {
                throw UsageError(DescribeUnknown(app, words[1]));
            }
        }
        app.parse(count, words);
    } catch (CLI::CallForHelp const&) {
        std::vector<CLI::App*> const verbs = app.get_subcommands();
        WriteOut(verbs.empty() ? app.help() : verbs.front()->help("kaltor"));
        return 0;
    } catch (CLI::CallForVersion const& version) {
        WriteOut(std::string(version.what()) + "\n");
        return 0;
    } catch (CLI::ExtrasError const&) {
        std::vector<std::string> const extras = app.remaining(true);
        throw UsageError(DescribeUnknown(app, extras.front()));
    } catch (CLI::RequiredError const& error) {
        if (app.get_subcommands().empty()) {
            throw UsageError(fmt::format("say what to do: {}; see kaltor --help", ListVerbs(app)));
        }
        throw UsageError(fmt::format("{}; see {} --help", error.what(), TypedSoFar(app)));
    } catch (CLI::ParseError const& error) {
        throw UsageError(fmt::format("{}; see {} --help", error.what(), TypedSoFar(app)));
    }
    return action();
}

}  // namespace
}  // namespace Kaltor::Cli

int main(int count, char** words) {
    using namespace Kaltor;
    Cli::OpenMissingStreams();
    // A file that may not grow further is an error of writing, which clears up after itself.
    std::signal(SIGXFSZ, SIG_IGN);
    Media::CaptureFfmpegLog();
    Cli::LibraryOutput const libraryOutput;
    try {
        return Cli::Run(count, words);
    } catch (Cli::UsageError const& error) {
        Cli::WriteError(error.what());
        return Cli::kUsedWrongly;
    } catch (std::invalid_argument const& error) {
        Cli::WriteError(Core::Describe(error));
        return Cli::kUsedWrongly;
    } catch (std::bad_alloc const&) {
        Cli::WriteError("there is not enough memory");
    } catch (std::exception const& error) {
        Cli::WriteError(Core::Describe(error));
    } catch (...) {
        Cli::WriteError("unknown error");
    }
    return Cli::kFailed;
}

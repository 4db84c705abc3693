#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>

#include "Apps/Kaltor/CommandLine.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/Interrupt.h"
#include "Apps/Kaltor/Specs.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Media/Ffmpeg.h"
#include "Media/MediaError.h"

namespace Kaltor::Cli {
namespace {

constexpr int kFailed = 1;
constexpr int kUsedWrongly = 2;

int Run(int count, char const* const* words) {
    CommandLine commandLine("GPU video effects and transitions: on pictures, and in finished videos",
                            "\"kaltor VERB --help\" shows the options of each verb.\n\n"
                            "Examples:\n"
                            "  kaltor list\n"
                            "  kaltor apply EffectBlurGaussian in.png -o out.png --set scale=0.02\n"
                            "  kaltor render a.mp4 b.mp4 -o out.mp4 --transition TransitionCrossfade");
    AddList(commandLine);
    AddDescribe(commandLine);
    AddApply(commandLine);
    AddStrip(commandLine);
    AddRender(commandLine);
    AddCheck(commandLine);
    AddConvert(commandLine);
    AddFarm(commandLine);
    AddStudio(commandLine);
    AddGallery(commandLine);
    AddBench(commandLine);
    AddDoctor(commandLine);
    return commandLine.Run(count, words);
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
    } catch (Media::Cancelled const&) {
        return Cli::ReportInterrupt();
    } catch (std::bad_alloc const&) {
        Cli::WriteError("there is not enough memory");
    } catch (std::exception const& error) {
        Cli::WriteError(Core::Describe(error));
    } catch (...) {
        Cli::WriteError("unknown error");
    }
    return Cli::kFailed;
}

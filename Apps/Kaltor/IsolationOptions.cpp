#include "Apps/Kaltor/IsolationOptions.h"

#include <cmath>

#include <fmt/format.h>

#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/Specs.h"

namespace Kaltor::Cli {
namespace {

constexpr char const* kPlain = "true";  // what the flag is without a value
constexpr char const* kStop = "stop";
constexpr char const* kRetry = "retry";

}  // namespace

void IsolationOptions::AddTo(Verb& verb) {
    verb.AddFlag("--isolate", isolate,
                 "draw in a process of its own, so that a graphics driver that crashes or hangs ends in a message; "
                 "with --isolate=retry software GL goes on then");
    constexpr double kShortest = 0.1;
    constexpr double kLongest = 86400.0;
    AddNumber<double>(verb, "--isolate-limit", seconds, "how long a frame may take to draw with --isolate (default 30)",
                      {kShortest, kLongest})
        .ShowValueAs("SECONDS");
}

std::optional<Render::Isolation> IsolationOptions::Get() const {
    if (isolate.empty()) {
        return {};
    }
    if (isolate != kPlain && isolate != kStop && isolate != kRetry) {
        throw UsageError(fmt::format("--isolate={}: it is {} (the same as --isolate) or {}", isolate, kStop, kRetry));
    }
    constexpr double kMilliseconds = 1e3;
    return Render::Isolation{std::chrono::milliseconds(std::llround(seconds * kMilliseconds)), isolate == kRetry};
}

}  // namespace Kaltor::Cli

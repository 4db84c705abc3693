#include "Apps/Kaltor/RenderProgress.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "Apps/Kaltor/Specs.h"

namespace Kaltor::Cli {

RenderProgress::Form RenderProgress::ParseForm(std::string const& text) {
    if (text != "bar" && text != "json" && text != "none") {
        throw UsageError(fmt::format("--progress {}: it takes bar, json or none", text));
    }
    return text == "bar" ? Form::Bar : text == "json" ? Form::Json : Form::None;
}

RenderProgress::RenderProgress(Form wanted, std::optional<int> file)
    : form(wanted), descriptor(file), bar(wanted == Form::Bar) {
    if (descriptor && ::fcntl(*descriptor, F_GETFD) == -1) {
        throw UsageError(fmt::format("--progress-fd {}: no file is open under this number", *descriptor));
    }
}

double RenderProgress::GetSeconds() const {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

Edit::Json RenderProgress::Describe(std::int64_t done, std::int64_t total, double elapsedSeconds, double frameRate) {
    auto const rounded = [](double value, double digits) { return std::round(value * digits) / digits; };
    constexpr double kTwoDigits = 100.0;
    constexpr double kThreeDigits = 1000.0;
    double const fps = elapsedSeconds > 0.0 ? static_cast<double>(done) / elapsedSeconds : 0.0;
    Edit::Json line{{"frame", done}, {"frames", nullptr}, {"fps", rounded(fps, kTwoDigits)}};
    line["speed"] = rounded(frameRate > 0.0 ? fps / frameRate : 0.0, kThreeDigits);
    line["secondsLeft"] = nullptr;
    if (total > 0) {
        line["frames"] = total;
        if (fps > 0.0) {
            line["secondsLeft"] = rounded(static_cast<double>(std::max<std::int64_t>(total - done, 0)) / fps, kTwoDigits);
        }
    }
    return line;
}

void RenderProgress::Write(Edit::Json const& line) const {
    std::string const text = line.dump() + "\n";
    if (!descriptor) {
        WriteMessage(text);
        return;
    }
    for (std::size_t at = 0; at < text.size();) {
        ::ssize_t const count = ::write(*descriptor, text.data() + at, text.size() - at);
        if (count < 0 && errno != EINTR) {
            return;  // nobody listens
        }
        at += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void RenderProgress::Show(std::int64_t done, std::int64_t total, AVRational frameRate) {
    constexpr std::chrono::seconds kPause(1);
    bar.Show(done, total);
    if (form == Form::Json && Clock::now() - lastWritten >= kPause && done < (total > 0 ? total : done + 1)) {
        lastWritten = Clock::now();
        Write(Describe(done, total, GetSeconds(), av_q2d(frameRate)));
    }
}

void RenderProgress::Finish(std::int64_t frames, AVRational frameRate) {
    bar.Clear();
    if (form == Form::Json) {
        Write(Describe(frames, frames, GetSeconds(), av_q2d(frameRate)));
    }
}

}  // namespace Kaltor::Cli

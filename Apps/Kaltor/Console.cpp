#include "Apps/Kaltor/Console.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Media/PartialFile.h"

namespace Kaltor::Cli {
namespace {

constexpr int kUsualColumns = 80;

int TerminalColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

bool IsDumbTerminal() {
    char const* const term = std::getenv("TERM");
    return term == nullptr || std::strcmp(term, "dumb") == 0;
}

std::string FormatClock(double seconds) {
    auto const whole = static_cast<long long>(std::llround(seconds));
    return whole >= 3600 ? fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60)
                         : fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

void WriteOut(std::string_view bytes) {
    bool const isWritten =
        std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
    if (!isWritten) {
        throw std::runtime_error(fmt::format("standard output cannot be written: {}", std::strerror(errno)));
    }
}

void WriteFile(std::string const& path, std::string_view bytes) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (path == "-") {
        WriteOut(bytes);
        return;
    }
    if (fs::exists(path, error) && !fs::is_regular_file(path, error) && !fs::is_directory(path, error)) {
        std::ofstream file(path, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) {
            throw std::runtime_error(fmt::format("{}: cannot be written", path));
        }
        return;
    }
    Media::WriteFile(path, {bytes.begin(), bytes.end()}, true);
}

std::string Bold(std::string_view text) {
    char const* const noColor = std::getenv("NO_COLOR");
    bool const isPlain = (noColor != nullptr && *noColor != '\0') || IsDumbTerminal() || isatty(STDOUT_FILENO) == 0;
    return isPlain ? std::string(text) : fmt::format("\x1b[1m{}\x1b[0m", text);
}

void WriteError(std::string_view message) {
    std::string line(message);
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::fprintf(stderr, "kaltor: %s\n", line.c_str());
}

ProgressBar::ProgressBar(bool isWanted, std::string countedUnit)
    : isShown(isWanted && isatty(STDERR_FILENO) != 0 && !IsDumbTerminal()), unit(std::move(countedUnit)) {}

ProgressBar::~ProgressBar() {
    Clear();
}

void ProgressBar::Show(std::int64_t done, std::int64_t total) {
    constexpr std::chrono::milliseconds kPause(100);
    Clock::time_point const now = Clock::now();
    if (!isShown || (now - lastShown < kPause && done < total)) {
        return;
    }
    lastShown = now;
    isOnScreen = true;
    double const elapsed = std::chrono::duration<double>(now - start).count();
    std::fprintf(stderr, "\r\x1b[K%s", Format(done, total, elapsed, TerminalColumns() - 1, unit).c_str());
    std::fflush(stderr);
}

void ProgressBar::Clear() {
    if (isOnScreen) {
        std::fputs("\r\x1b[K", stderr);
        std::fflush(stderr);
        isOnScreen = false;
    }
}

std::string ProgressBar::Format(std::int64_t done, std::int64_t total, double elapsedSeconds, int columns,
                                std::string_view unit) {
    double const share = total > 0 ? std::clamp(static_cast<double>(done) / static_cast<double>(total), 0.0, 1.0) : 0.0;
    double const rate = elapsedSeconds > 0.0 ? static_cast<double>(done) / elapsedSeconds : 0.0;
    std::string text = fmt::format(" {}/{} {}", done, total, unit);
    if (rate > 0.0) {
        text += unit == "frames" ? fmt::format("  {:.{}f} fps", rate, rate < 10.0 ? 1 : 0) : "";
        text +=
            fmt::format("  {} left", FormatClock(static_cast<double>(std::max<std::int64_t>(total - done, 0)) / rate));
    }
    constexpr int kLongest = 30;
    constexpr int kShortest = 5;
    int const room = std::min(kLongest, columns - static_cast<int>(text.size()) - 2);
    if (room >= kShortest) {
        auto const filled = static_cast<std::size_t>(std::lround(share * room));
        text.insert(0,
                    '[' + std::string(filled, '#') + std::string(static_cast<std::size_t>(room) - filled, '.') + ']');
    }
    return text.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
}

}  // namespace Kaltor::Cli

#include "Apps/Kaltor/Console.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "Core/Environment.h"
#include "Media/PartialFile.h"

namespace Kaltor::Cli {
namespace {

constexpr int kUsualColumns = 80;

/// Where messages go: standard error, or the terminal behind it while that catches what libraries print.
std::atomic<int> messages{STDERR_FILENO};

std::atomic<bool> isLibraryOutputShown{false};

int TerminalColumns() {
    winsize size{};
    return ioctl(messages, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

bool IsDumbTerminal() {
    std::string const term = Core::GetVariable("TERM");
    return term.empty() || term == "dumb";
}

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

struct Character {
    std::size_t size;  ///< in bytes; 1 where the sequence is damaged
    bool isPrintable;
};

/// The first character of a text that is not empty.
Character DecodeUtf8(std::string_view text) {
    auto const first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return {1, first >= 0x20 && first != 0x7F};
    }
    std::size_t const size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) {
        return {1, false};
    }
    std::uint32_t code = first & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if (!IsContinuation(text[i])) {
            return {1, false};
        }
        code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < kLeast[size] || code > 0x10FFFF || isSurrogate) {
        return {1, false};
    }
    bool const isControl = code < 0xA0;
    bool const turnsDirection = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
                                code == 0x200E || code == 0x200F || code == 0x061C;
    bool const endsLine = code == 0x2028 || code == 0x2029;
    return {size, !isControl && !turnsDirection && !endsLine};
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
    Media::WriteFile(path, {bytes.begin(), bytes.end()}, true,
                     [](std::string const& message) { WriteError("warning: " + message); });
}

void RequireFreeName(std::string const& path) {
    std::error_code error;
    std::filesystem::file_status const status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) {
        throw std::runtime_error(fmt::format("{}: is a directory, not a file to write", path));
    }
    if (std::filesystem::exists(status)) {
        throw std::runtime_error(fmt::format("{} exists; --overwrite replaces it", path));
    }
}

std::string Bold(std::string_view text) {
    bool const isPlain = !Core::GetVariable("NO_COLOR").empty() || IsDumbTerminal() || isatty(STDOUT_FILENO) == 0;
    return isPlain ? std::string(text) : fmt::format("\x1b[1m{}\x1b[0m", text);
}

std::optional<std::size_t> OutputColumns() {
    winsize size{};
    bool const isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    return isTerminal && size.ws_col > 0 ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
}

std::string MakePrintable(std::string_view text, std::size_t longest) {
    std::string printable;
    for (std::size_t at = 0; at < text.size();) {
        Character const character = DecodeUtf8(text.substr(at));
        std::string_view const bytes = text.substr(at, character.size);
        at += character.size;
        if (character.isPrintable) {
            printable += bytes;
        } else if (bytes == "\n" || bytes == "\t") {
            printable += ' ';
        } else {
            for (char const byte : bytes) {
                printable += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
            }
        }
        if (printable.size() > longest && text.size() - at > 4 * longest) {
            // Much is to come, and only the end of it will be shown.
            at = text.size() - 2 * longest;
            while (at < text.size() && IsContinuation(text[at])) {
                ++at;
            }
        }
    }
    while (!printable.empty() && printable.back() == ' ') {
        printable.pop_back();
    }
    if (printable.size() <= longest) {
        return printable;
    }
    std::size_t head = longest * 2 / 3;
    std::size_t tail = printable.size() - longest / 3;
    while (head > 0 && IsContinuation(printable[head])) {
        --head;
    }
    while (tail < printable.size() && IsContinuation(printable[tail])) {
        ++tail;
    }
    return printable.substr(0, head) + " [...] " + printable.substr(tail);
}

void WriteMessage(std::string const& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ::ssize_t const written = ::write(messages, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return;  // there is nobody to report to
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

void WriteError(std::string_view message) {
    WriteMessage(fmt::format("kaltor: {}\n", MakePrintable(message)));
}

void OpenMissingStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            ::open("/dev/null", O_RDWR);  // takes the lowest number that is free: this one
        }
    }
}

void ShowLibraryOutput(bool isShown) {
    isLibraryOutputShown = isShown;
}

LibraryOutput::LibraryOutput() {
    int ends[2];
    if (::isatty(STDERR_FILENO) == 0 || ::pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    int const terminal = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (terminal >= 0 && ::dup2(ends[1], STDERR_FILENO) >= 0) {
        messages = terminal;
        source = ends[0];
        thread = std::thread([this] { Forward(); });
    } else {
        ::close(ends[0]);
        if (terminal >= 0) {
            ::close(terminal);
        }
    }
    ::close(ends[1]);
}

LibraryOutput::~LibraryOutput() {
    if (source < 0) {
        return;
    }
    std::fflush(stderr);
    ::dup2(messages, STDERR_FILENO);  // closes the pipe's end, which ends the thread
    thread.join();
    ::close(source);
    ::close(messages.exchange(STDERR_FILENO));
}

void LibraryOutput::Forward() const {
    constexpr std::size_t kLongestLine = 4096;
    std::string pending;
    std::array<char, kLongestLine> block{};
    auto const writeLine = [](std::string_view line) {
        if (std::string const text = MakePrintable(line); !text.empty() && isLibraryOutputShown) {
            WriteMessage(fmt::format("\r\x1b[Kkaltor: a library says: {}\n", text));
        }
    };
    for (;;) {
        ::ssize_t const count = ::read(source, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        pending.append(block.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n', begin)) {
            writeLine(std::string_view(pending).substr(begin, end - begin));
            begin = end + 1;
        }
        pending.erase(0, begin);
        if (pending.size() > kLongestLine) {
            writeLine(pending);
            pending.clear();
        }
    }
    writeLine(pending);
}

ProgressBar::ProgressBar(bool isWanted, std::string countedUnit)
    : isShown(isWanted && isatty(messages) != 0 && !IsDumbTerminal()), unit(std::move(countedUnit)) {}

ProgressBar::~ProgressBar() {
    Clear();
}

void ProgressBar::Show(std::int64_t done, std::int64_t total) {
    constexpr std::chrono::milliseconds kPause(100);
    Clock::time_point const now = Clock::now();
    if (!isShown || (now - lastShown < kPause && (done < total || total == 0))) {
        return;
    }
    lastShown = now;
    isOnScreen = true;
    double const elapsed = std::chrono::duration<double>(now - start).count();
    WriteMessage("\r\x1b[K" + Format(done, total, elapsed, TerminalColumns() - 1, unit));
}

void ProgressBar::Clear() {
    if (isOnScreen) {
        WriteMessage("\r\x1b[K");
        isOnScreen = false;
    }
}

std::string ProgressBar::Format(std::int64_t done, std::int64_t total, double elapsedSeconds, int columns,
                                std::string_view unit) {
    double const share = total > 0 ? std::clamp(static_cast<double>(done) / static_cast<double>(total), 0.0, 1.0) : 0.0;
    double const rate = elapsedSeconds > 0.0 ? static_cast<double>(done) / elapsedSeconds : 0.0;
    std::string text = total > 0 ? fmt::format(" {}/{} {}", done, total, unit) : fmt::format(" {} {}", done, unit);
    if (rate > 0.0) {
        text += unit == "frames" ? fmt::format("  {:.{}f} fps", rate, rate < 10.0 ? 1 : 0) : "";
    }
    if (total <= 0) {
        return text.substr(0, static_cast<std::size_t>(std::max(columns, 0)));
    }
    if (rate > 0.0) {
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

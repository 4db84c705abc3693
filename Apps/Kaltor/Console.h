#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace Kaltor::Cli {

/// Writes to standard output at once. Throws `std::runtime_error` where that fails.
void WriteOut(std::string_view bytes);

/// Writes a file, which appears under its name only when it is whole; an existing one is replaced. "-" is standard
/// output; devices and pipes are written to, not replaced. Throws where that fails.
void WriteFile(std::string const& path, std::string_view bytes);

/// `text` emphasised on a terminal that shows colours; unchanged elsewhere and where NO_COLOR is set.
std::string Bold(std::string_view text);

/// "kaltor: " and the message as one line on standard error.
void WriteError(std::string_view message);

/// A bar on standard error while it is a terminal, nothing elsewhere.
class ProgressBar {
public:
    /// `countedUnit`: what is counted; frames have a rate too.
    explicit ProgressBar(bool isWanted, std::string countedUnit = "frames");
    ~ProgressBar();
    ProgressBar(ProgressBar const&) = delete;
    ProgressBar& operator=(ProgressBar const&) = delete;

    bool IsShown() const { return isShown; }
    void Show(std::int64_t done, std::int64_t total);
    /// Takes the bar off the screen, which has to be done before any other line is printed.
    void Clear();

    /// What the bar shows, `columns` wide at most.
    static std::string Format(std::int64_t done, std::int64_t total, double elapsedSeconds, int columns,
                              std::string_view unit = "frames");

private:
    using Clock = std::chrono::steady_clock;
    bool isShown;
    std::string unit;
    bool isOnScreen = false;
    Clock::time_point start = Clock::now();
    Clock::time_point lastShown;
};

}  // namespace Kaltor::Cli

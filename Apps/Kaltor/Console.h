#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace Kaltor::Cli {

/// Writes to standard output at once. Throws `std::runtime_error` where that fails.
void WriteOut(std::string_view bytes);

/// Writes a file, which appears under its name only when it is whole; an existing one is replaced. "-" is standard
/// output; devices and pipes are written to, not replaced. Throws where that fails.
void WriteFile(std::string const& path, std::string_view bytes);

/// Throws where something has the name already: a file, which --overwrite would replace, or a folder.
void RequireFreeName(std::string const& path);

/// `text` emphasised on a terminal that shows colours; unchanged elsewhere and where NO_COLOR is set.
std::string Bold(std::string_view text);

/// How wide the terminal behind standard output is; nothing where there is none.
std::optional<std::size_t> OutputColumns();

/// `text` for a terminal: what is no printable UTF-8 (control characters, marks that turn the direction of writing,
/// damaged sequences) as \xNN, line ends as spaces, and the middle left out of what is longer than `longest` bytes.
std::string MakePrintable(std::string_view text, std::size_t longest = 1000);

/// "kaltor: " and the message, made printable, as one line on standard error.
void WriteError(std::string_view message);

/// Text on standard error as it is.
void WriteMessage(std::string const& text);

/// Opens the null device in place of standard streams that are closed: the next file to be opened would take their
/// numbers, and with them what is meant for them. To be called first.
void OpenMissingStreams();

/// Whether what libraries print on a terminal is shown; it is not at first. Where standard error is no terminal, what
/// they print goes there either way.
void ShowLibraryOutput(bool isShown);

/// While it lives and standard error is a terminal, what libraries print there is made printable, line by line, and
/// shown where that is wanted.
class LibraryOutput {
public:
    LibraryOutput();
    ~LibraryOutput();
    LibraryOutput(LibraryOutput const&) = delete;
    LibraryOutput& operator=(LibraryOutput const&) = delete;

private:
    void Forward() const;

    int source = -1;  ///< what was printed
    std::thread thread;
};

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

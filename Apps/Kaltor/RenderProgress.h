#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "Apps/Kaltor/Console.h"
#include "Edit/Json.h"
#include "Edit/Plan.h"

namespace Kaltor::Cli {

/// What is shown while a video is made.
class RenderProgress {
public:
    enum class Form { Bar, Json, None };

    /// "bar", "json" or "none". Throws `UsageError`.
    static Form ParseForm(std::string const& text);

    /// `descriptor`: where lines of JSON go, standard error where there is none. Throws `UsageError` where it is not
    /// open.
    RenderProgress(Form form, std::optional<int> descriptor);

    bool HasBar() const { return bar.IsShown(); }
    /// `total` is 0 where it is not known. JSON is written once a second.
    void Show(std::int64_t done, std::int64_t total, AVRational frameRate);
    /// The last line of JSON, with all frames; takes the bar off the screen.
    void Finish(std::int64_t frames, AVRational frameRate);
    /// To be called before any other line is printed.
    void Clear() { bar.Clear(); }

    double GetSeconds() const;

    /// One line, as it is documented.
    static Edit::Json Describe(std::int64_t done, std::int64_t total, double elapsedSeconds, double frameRate);

private:
    using Clock = std::chrono::steady_clock;

    void Write(Edit::Json const& line) const;

    Form form;
    std::optional<int> descriptor;
    ProgressBar bar;
    Clock::time_point start = Clock::now();
    Clock::time_point lastWritten = start;
};

}  // namespace Kaltor::Cli

#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "Farm/JobFolder.h"
#include "Media/VideoReader.h"

namespace Kaltor::Farm {

struct JoinOptions {
    std::function<void(std::int64_t framesDone, std::int64_t framesTotal)> onProgress;
    Media::WarningFn onWarning;
    std::atomic<bool> const* cancel = nullptr;
};

/// What a job's end was.
struct Joined {
    std::string output;
    std::int64_t frames = 0;
    std::uint64_t bytes = 0;
    double seconds = 0.0;
};

/// Puts the parts of a video together without encoding again, or looks at a batch's videos. All tasks have to be done:
/// otherwise it throws `std::runtime_error` with one line that names what is missing, and why where that is known. Parts
/// whose checksum is wrong count as missing from then on. Throws `MediaError` where the output cannot be written, and
/// `Cancelled`.
Joined Join(JobFolder const& folder, JoinOptions const& options);

/// Where the job was joined already.
std::optional<Joined> FindJoined(JobFolder const& folder);

/// "2, 5 to 9 and 12": numbers in rising order.
std::string ListNumbers(std::vector<std::int64_t> const& numbers);

}  // namespace Kaltor::Farm

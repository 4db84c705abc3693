#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "Farm/JobFolder.h"
#include "Host/Catalog.h"
#include "Media/VideoReader.h"

namespace Kaltor::Farm {

struct RunOptions {
    std::function<void(std::int64_t framesDone, std::int64_t framesTotal)> onProgress;
    Media::WarningFn onWarning;
    /// See `Render::RenderJob`.
    std::function<std::uint32_t()> getMaximumSide;
    /// What draws, for the part's report. Called where something was drawn.
    std::function<std::string()> describeRenderer;
    std::atomic<bool> const* cancel = nullptr;
};

/// Makes one task of a job and leaves the result in its folder; one that is done already is left alone (false). Any
/// number of processes may do so at once, also the same task. Throws as `Render::Render`, and `std::runtime_error`
/// where program, edit or source files are not those that the job was planned with; the reason stands in the folder
/// then.
bool Run(JobFolder const& folder, Task const& task, Host::Catalog const& catalog, RunOptions const& options);

}  // namespace Kaltor::Farm

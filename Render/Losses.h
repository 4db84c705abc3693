#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Edit/Plan.h"
#include "Media/MediaWriter.h"
#include "Render/Render.h"

namespace Kaltor::Render {

/// What a source has and the output does not carry.
struct Loss {
    std::string file;
    std::string kind;     ///< "alpha", "depth", "hdr", "frameRate", "channels", "sound", "subtitles"
    std::string message;  ///< one line that names the file
};

/// The form of the output that a job names. Throws `std::invalid_argument` for settings that cannot be.
Media::OutputForm DescribeOutput(RenderJob const& job, Edit::Plan const& plan);

/// Those of a job, one for each file and kind. What the job asks for, such as a frame rate, is no loss. `form`: none
/// where the job names no output; then only what does not depend on it is found.
std::vector<Loss> FindLosses(RenderJob const& job, Edit::Plan const& plan, std::optional<Media::OutputForm> const& form);

}  // namespace Kaltor::Render

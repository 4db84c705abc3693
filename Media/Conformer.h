#pragma once

#include "Media/Ffmpeg.h"
#include "Media/Orientation.h"
#include "Media/VideoReader.h"

extern "C" {
#include <libavfilter/avfilter.h>
}

namespace Kaltor::Media {

/// Brings pictures to one form: upright, scaled with the aspect kept and centred on black, in one pixel format with
/// one matrix and range. A picture that is in this form already is handed on with the same buffers.
class Conformer {
public:
    enum class Alpha : std::uint8_t {
        OverBlack,  ///< composed, where the target has no alpha
        Drop,       ///< ignored
    };

    /// `name` is for messages.
    Conformer(std::string name, VideoTarget const& target, Alpha alpha = Alpha::OverBlack);

    /// The picture in the target's form and with its tags; `picture` must be tagged, or is read by practice.
    Proc::AvFramePtr Convert(AVFrame const& picture, Orientation const& orientation = {});

    VideoTarget const& GetTarget() const { return target; }
    /// What an untagged picture is read as.
    static ColorSpec ReadAs(AVFrame const& picture);

private:
    /// What the filter graph was built for.
    struct Source {
        int width = 0;
        int height = 0;
        int format = -1;
        AVRational pixelAspect{0, 1};
        ColorSpec colorSpec;
        char const* filter = "";
        bool operator==(Source const& other) const;
    };
    struct Box {
        int x, y, width, height;
    };

    /// Size and pixel aspect that a picture is brought to.
    Conf::FrameInfo GetFrame(Source const& source, Orientation const& orientation) const;
    bool IsInForm(AVFrame const& picture, Source const& source) const;
    Box FitInto(Source const& source, Orientation const& orientation) const;
    void Build(Source const& source, Box const& box);
    Proc::AvFramePtr Finish(Proc::AvFramePtr picture, Conf::FrameInfo const& frame) const;

    std::string name;
    VideoTarget target;
    AVPixelFormat targetFormat;
    Alpha alphaMode;
    Source built;
    Box builtBox{};
    FilterGraphPtr graph;
    AVFilterContext* input = nullptr;
    AVFilterContext* output = nullptr;
};

}  // namespace Kaltor::Media

#pragma once

#include "Media/ColorConversion.h"
#include "Media/Ffmpeg.h"
#include "Media/Orientation.h"
#include "Media/VideoReader.h"
#include "Proc/Data/HalfConverter.h"

extern "C" {
#include <libavfilter/avfilter.h>
}

namespace Kaltor::Media {

/// Brings pictures to one form: upright, scaled with the aspect kept and centred on black, in one pixel format with
/// one matrix and range, and in the target's colours where it is known to have others. A picture that is in this form
/// already is handed on with the same buffers.
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

    /// Whether the colours of the pictures that come are multiplied by alpha; what comes out never is.
    void SetPremultiplied(bool isSet) { isPremultiplied = isSet; }

    /// What HDR pictures say of their light where they do not say it themselves.
    void SetLevels(HdrLevels const& sourceLevels) { levels = sourceLevels; }

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
        ColorVolume volume;
        char const* filter = "";
        bool isPremultiplied = false;
        bool operator==(Source const& other) const;
    };
    struct Box {
        int x, y, width, height;
    };

    /// Size and pixel aspect that a picture is brought to.
    Conf::FrameInfo GetFrame(Source const& source, Orientation const& orientation) const;
    bool IsInForm(AVFrame const& picture, Source const& source) const;
    Box FitInto(Source const& source, Orientation const& orientation) const;
    /// What the filters make of a picture.
    enum class Road : std::uint8_t {
        InForm,  ///< the target's format
        Scaled,  ///< what can become 16-bit float
        Linear,  ///< linear light in the target's primaries
    };
    void Build(Source const& source, Box const& box, Road road);
    std::string MakeChain(Source const& source, Box const& box) const;
    std::string MakeLinearChain(Source const& source, Box const& box) const;
    /// Divides the colours by alpha, in R'G'B'; empty where that is not needed.
    static std::string MakeDivision(Source const& source);
    /// Puts the alpha of a picture from the graph for linear light into 0...1.
    void RestoreAlpha(AVFrame& picture) const;
    Proc::AvFramePtr Filter(AVFrame const& picture, Source const& source, Box const& box, Road road);
    Proc::AvFramePtr AddBars(Proc::AvFramePtr scaled, Box const& box, Conf::FrameInfo const& frame) const;
    /// By 16-bit float, for targets of that and for new colours.
    Proc::AvFramePtr ConvertDeep(AVFrame const& picture, Source const& source, Box const& box,
                                 Conf::FrameInfo const& frame, bool hasOtherColors);
    Proc::AvFramePtr FromHalf(AVFrame const& half);
    bool IsFloatTarget() const;
    Proc::AvFramePtr Finish(Proc::AvFramePtr picture, Conf::FrameInfo const& frame) const;

    std::string name;
    VideoTarget target;
    AVPixelFormat targetFormat;
    Alpha alphaMode;
    Source built;
    Road builtRoad = Road::InForm;
    HdrLevels levels;
    bool isPremultiplied = false;
    Proc::HalfConverter halves;
    std::unique_ptr<LightEncoder const> encoder;
    FilterGraphPtr graph;
    AVFilterContext* input = nullptr;
    AVFilterContext* output = nullptr;
};

}  // namespace Kaltor::Media

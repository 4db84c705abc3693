#include "Render/OutputForm.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/DocumentReader.h"
#include "Media/EncoderForm.h"
#include "Proc/Data/HalfConverter.h"
#include "Render/Player.h"

namespace Kaltor::Render {
namespace {

using Edit::Output;
using Edit::Plan;
using Edit::PlannedClip;

constexpr int kByte = 8;

[[noreturn]] void RefuseForm(std::string const& message) {
    Core::Throw(std::invalid_argument(message));
}

bool HaveClipsAlpha(Plan const& plan) {
    return std::any_of(plan.clips.begin(), plan.clips.end(), [](PlannedClip const& clip) {
        return (!clip.feed.path.empty() && clip.feed.info.hasAlpha) || clip.feed.color.alpha < 255;
    });
}

/// The most that a clip has for one channel.
int BitsOfClips(Plan const& plan) {
    int bits = kByte;
    for (PlannedClip const& clip : plan.clips) {
        bits = std::max(bits, std::min(clip.feed.info.bits, 16));
    }
    return bits;
}

/// The first clip with pictures of its own, whose sampling the output gets.
Media::MediaInfo FindFirst(Plan const& plan) {
    auto const found = std::find_if(plan.clips.begin(), plan.clips.end(),
                                    [](PlannedClip const& clip) { return !clip.feed.path.empty(); });
    return found == plan.clips.end() ? Media::MediaInfo{} : found->feed.info;
}

/// What the document says of alpha: a colour, "keep", or nothing.
struct WantedAlpha {
    bool isKept = false;
    std::optional<Proc::Color> background;

    explicit WantedAlpha(std::string const& text) : isKept(text == "keep") {
        if (text.empty() || isKept) {
            return;
        }
        try {
            background = Edit::ParseColor(text);
        } catch (std::invalid_argument const&) {
            RefuseForm(fmt::format("alpha \"{}\": it takes keep or a colour such as #00FF00", text));
        }
    }
};

/// A colour of the interface in an HDR video's own R'G'B'.
void ConvertColor(Proc::Color& color, Media::VideoTarget const& target) {
    Media::VideoTarget dot = target;
    dot.frame = {2, 2, 1, 1};
    dot.pixFmt = PixFmt::RgbaF16;
    Proc::AvFramePtr const half = MakePlainPicture(color, dot);
    Proc::AvFramePtr const bytes = Proc::AllocateAvFrame(AV_PIX_FMT_RGBA, 2, 2);
    Proc::HalfConverter().FromHalf(*half, *bytes, {ColorMatrix::Bt2020, ColorRange::Full});
    color = {bytes->data[0][0], bytes->data[0][1], bytes->data[0][2], bytes->data[0][3]};
}

void SetForm(Plan& plan, bool isDeep, bool hasAlpha, WantedAlpha const& alpha, int bits) {
    Media::VideoTarget& target = plan.target;
    bool const keepsUntilEncoder = hasAlpha || alpha.background;
    if (!isDeep && !keepsUntilEncoder) {
        return;  // planar 4:2:0
    }
    target.pixFmt = isDeep ? (keepsUntilEncoder ? PixFmt::RgbaF16 : PixFmt::RgbF16) : PixFmt::Bgra;
    target.like = Media::MakeLike(FindFirst(plan), bits, hasAlpha);
    if (alpha.background) {
        constexpr float kTop = 255.0F;
        Proc::Color const& color = *alpha.background;
        target.background = {static_cast<float>(color.red) / kTop, static_cast<float>(color.green) / kTop,
                             static_cast<float>(color.blue) / kTop};
    }
}

/// Bars and the colour below alpha, in an HDR video.
void ConvertColors(Plan& plan, WantedAlpha& alpha) {
    if (!Media::IsHdr(plan.target.transfer)) {
        return;
    }
    ConvertColor(plan.background, plan.target);
    for (PlannedClip& clip : plan.clips) {
        ConvertColor(clip.background, plan.target);
    }
    if (alpha.background) {
        ConvertColor(*alpha.background, plan.target);
    }
}

}  // namespace

Media::EncoderSettings ChooseSettings(Plan const& plan, Output const& output, std::string const& path) {
    Media::EncoderSettings settings = Media::ApplyProfile(output, path);
    if (settings.codec.empty()) {
        settings.codec = plan.codec;
    }
    return settings;
}

void ChooseForm(Plan& plan, Output const& output, std::string const& path) {
    Media::EncoderSettings settings = ChooseSettings(plan, output, path);
    WantedAlpha alpha(output.alpha);
    bool const isAsked = output.hdr == Output::Hdr::Pq || output.hdr == Output::Hdr::Hlg;
    if (settings.codec.empty() && alpha.isKept) {
        plan.codec = settings.codec = Media::FindAlphaEncoder(path, settings);
    } else if (settings.codec.empty() && output.depth != Output::Depth::Eight &&
               (output.depth == Output::Depth::Float || Media::IsHdr(plan.target.transfer))) {
        plan.codec = settings.codec = Media::FindDeepEncoder(path, settings);
    }
    Media::EncoderAbilities const can = Media::GetAbilities(path, settings);
    if (alpha.isKept && can.alphaBits == 0) {
        RefuseForm(
            fmt::format("{}: the encoder {} keeps no alpha here; libvpx-vp9 in .webm and .mkv, prores_ks, qtrle and "
                        "png in .mov, ffv1 in .mkv do",
                        path, can.encoder));
    }
    bool const hasAlpha = alpha.isKept || (!alpha.background && can.alphaBits > 0 && HaveClipsAlpha(plan));
    int const most = hasAlpha ? can.alphaBits : can.bits;
    bool const keepsHdr = can.hasHdr && (most > kByte || output.depth == Output::Depth::Eight);
    if (isAsked && !keepsHdr) {
        RefuseForm(
            fmt::format("{}: the encoder {} has no HDR; libx265, libsvtav1, libaom-av1, libvpx-vp9 and prores_ks do",
                        path, can.encoder));
    }
    if (!keepsHdr) {
        Media::MakeStandardRange(plan.target);
    }
    int const bits = std::max(BitsOfClips(plan), isAsked || output.depth == Output::Depth::Float ? 10 : kByte);
    bool isDeep = output.depth == Output::Depth::Float;
    if (output.depth == Output::Depth::Auto) {
        // H.264 of 10 bits is for those who ask for it.
        bool const isPlayable = can.codec != AV_CODEC_ID_H264 || Media::IsHdr(plan.target.transfer);
        isDeep = most > kByte && ((bits > kByte && isPlayable) || Media::IsHdr(plan.target.transfer));
    }
    ConvertColors(plan, alpha);
    SetForm(plan, isDeep, hasAlpha, alpha, isDeep ? bits : kByte);
}

void ChoosePictureForm(Plan& plan, Output const& output) {
    WantedAlpha alpha(output.alpha);
    if (output.hdr == Output::Hdr::Auto) {
        Media::MakeStandardRange(plan.target);  // PNG does not say what it would be
    }
    ConvertColors(plan, alpha);
    bool const isDeep = output.depth == Output::Depth::Float;
    SetForm(plan, isDeep, alpha.isKept || (!alpha.background && HaveClipsAlpha(plan)), alpha, isDeep ? 16 : kByte);
}

}  // namespace Kaltor::Render

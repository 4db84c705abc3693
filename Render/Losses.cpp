#include "Render/Losses.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "Render/OutputForm.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Kaltor::Render {
namespace {

using Media::MediaInfo;

/// What a pixel format holds.
struct Capacity {
    bool hasAlpha = false;
    int depth = 8;

    static Capacity Of(AVPixelFormat format) {
        AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(format);
        return description == nullptr
                   ? Capacity{}
                   : Capacity{(description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0, description->comp[0].depth};
    }
};

/// What comes out of the render and goes through the encoder.
Capacity FindCapacity(Edit::Plan const& plan, Media::OutputForm const& form) {
    PixFmtDescription const& made = PixFmtDescription::Find(plan.target.pixFmt);
    Capacity const written = Capacity::Of(av_get_pix_fmt(form.pixelFormat.c_str()));
    return {made.HasAlpha() && written.hasAlpha, std::min<int>(made.bits, written.depth)};
}

class LossFinder {
public:
    LossFinder(RenderJob const& renderJob, Edit::Plan const& wholePlan, std::optional<Media::OutputForm> const& output)
        : job(renderJob), plan(wholePlan), form(output) {}

    std::vector<Loss> Find() {
        for (Edit::PlannedClip const& clip : plan.clips) {
            if (!clip.feed.path.empty() && seen.insert(clip.feed.path).second) {
                Examine(Media::ShowInput(clip.feed.path), clip.feed.info);
            }
        }
        if (form && plan.sound && !form->sound) {
            Add(job.output == "-" ? "standard output" : job.output, "sound",
                "this kind of file carries no sound; it is left out");
        }
        return std::move(losses);
    }

private:
    void Examine(std::string const& file, MediaInfo const& info) {
        Edit::Output const& wanted = job.document.output;
        if (form) {
            Capacity const kept = FindCapacity(plan, *form);
            bool const isMeant = !wanted.pixelFormat.empty() || (!wanted.alpha.empty() && wanted.alpha != "keep");
            if (info.hasAlpha && !kept.hasAlpha && !isMeant) {
                Add(file, "alpha", fmt::format("its alpha is lost: the output, {}, has none", form->pixelFormat));
            }
            if (info.bits > kept.depth && wanted.pixelFormat.empty() && wanted.depth != Edit::Output::Depth::Eight) {
                Add(file, "depth", fmt::format("its {} bits become {}", info.bits, kept.depth));
            }
            int const channels = form->sound ? form->sound->channels : 0;
            if (info.sound && channels > 0 && info.sound->channels > channels &&
                job.document.mix.channels == Edit::Mix::Channels::Auto) {
                Add(file, "channels",
                    fmt::format("its {} channels of sound are mixed down to {}", info.sound->channels, channels));
            }
        }
        if (info.hasLostAlpha && wanted.alpha.empty()) {
            Add(file, "alpha", "its alpha is lost: FFmpeg's HEVC decoder leaves it out");
        }
        if (Media::IsHdr(info.transfer) && !Media::IsHdr(plan.target.transfer) &&
            wanted.hdr == Edit::Output::Hdr::Auto) {
            Add(file, "hdr", fmt::format("it is {}, the output is not", Media::GetDynamicRange(info.transfer)));
        }
        constexpr double kRounding = 1.001;
        if (info.frameRate.num > 0 && !wanted.frameRate &&
            av_q2d(info.frameRate) > av_q2d(plan.target.frameRate) * kRounding) {
            Add(file, "frameRate",
                fmt::format("its {:.5g} frames per second become {:.5g}", av_q2d(info.frameRate),
                            av_q2d(plan.target.frameRate)));
        }
        if (info.subtitles > 0) {
            Add(file, "subtitles",
                info.subtitles == 1 ? "its subtitles are left out"
                                    : fmt::format("its {} subtitles are left out", info.subtitles));
        }
    }

    void Add(std::string const& file, char const* kind, std::string const& what) {
        losses.push_back({file, kind, fmt::format("{}: {}", file, what)});
    }

    RenderJob const& job;
    Edit::Plan const& plan;
    std::optional<Media::OutputForm> const& form;
    std::set<std::string> seen;
    std::vector<Loss> losses;
};

}  // namespace

Media::OutputForm DescribeOutput(RenderJob const& job, Edit::Plan const& plan) {
    Media::WriterOptions options;
    static_cast<Media::EncoderSettings&>(options) = ChooseSettings(plan, job.document.output, job.output);
    options.path = job.output;
    options.video = plan.target;
    options.sound = plan.sound;
    return Media::DescribeOutput(options);
}

std::vector<Loss> FindLosses(RenderJob const& job, Edit::Plan const& plan,
                             std::optional<Media::OutputForm> const& form) {
    return LossFinder(job, plan, form).Find();
}

}  // namespace Kaltor::Render

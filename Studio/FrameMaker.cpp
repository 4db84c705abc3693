#include "Studio/FrameMaker.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Render/Composer.h"
#include "Render/OutputForm.h"
#include "Render/Pipeline.h"

namespace Kaltor::Studio {

/// A composer with the threads that read for it.
struct FrameMaker::Run {
    Render::Pipeline pipeline;
    Render::Composer composer;
    std::int64_t next;
    std::int64_t end;

    Run(FrameMaker const& maker, std::int64_t first, std::int64_t endOfRun)
        : composer(maker.plan, maker.factory, pipeline, maker.draws, maker.seed, first, endOfRun), next(first),
          end(endOfRun) {}

    Render::Composed Compose() {
        Render::Composed composed = composer.Next();
        if (composed.IsEmpty()) {
            pipeline.Rethrow();
        }
        ++next;
        return composed;
    }
};

FrameMaker::FrameMaker(Edit::Plan const& wholePlan, Edit::Document const& document,
                       boost::intrusive_ptr<Proc::IEffectFactory const> effectFactory, std::uint32_t width,
                       std::shared_ptr<Media::KeptReaders> const& readers)
    : plan(wholePlan), factory(std::move(effectFactory)), seed(document.output.seed.value_or(0)) {
    Edit::Output output = document.output;
    if (width > 0) {
        output.hdr = Edit::Output::Hdr::Auto;  // the page's screen has the standard range
    }
    Render::ChoosePictureForm(plan, output);
    if (width > 0) {
        ScalePlan(plan, width);
    }
    for (Edit::PlannedClip& clip : plan.clips) {
        clip.feed.kept = readers;
    }
    for (Edit::PlannedOverlay& overlay : plan.overlays) {
        overlay.feed.kept = readers;
    }
    draws = Render::NeedsDrawing(plan);
}

FrameMaker::~FrameMaker() = default;

bool FrameMaker::IsNext(std::int64_t number) const {
    return run && run->next == number && number < run->end;
}

boost::intrusive_ptr<Proc::DataVideoFF> FrameMaker::Make(std::int64_t number) {
    if (number < 0 || number >= plan.frames) {
        Core::Throw(std::invalid_argument(fmt::format("there is no frame {}: the video has {}", number, plan.frames)));
    }
    if (!IsNext(number)) {
        bool const isPlaying = number == last + 1;
        run.reset();
        run = std::make_unique<Run>(*this, number, isPlaying ? plan.frames : number + 1);
    }
    last = number;
    try {
        Render::Composed composed = run->Compose();
        if (composed.frame && !downloader) {
            downloader = std::make_unique<Render::Downloader>(factory, plan.target);
        }
        Proc::AvFramePtr picture =
            composed.frame ? downloader->Process(std::move(composed.frame)) : std::move(composed.picture);
        return Proc::DataVideoFF::Wrap(std::move(picture));
    } catch (...) {
        run.reset();
        throw;
    }
}

void ScalePlan(Edit::Plan& plan, std::uint32_t width) {
    Conf::FrameInfo const whole = plan.target.frame;
    auto const known = [](std::uint32_t aspect) { return static_cast<double>(std::max(aspect, 1U)); };
    double const pixelAspect = known(whole.pixelAspectX) / known(whole.pixelAspectY);
    auto const even = [](double side) { return std::max(2U, static_cast<std::uint32_t>(std::lround(side / 2.0)) * 2U); };
    Conf::FrameInfo& frame = plan.target.frame;
    frame.width = even(width);
    frame.height = even(width * known(whole.height) / (known(whole.width) * pixelAspect));
    frame.pixelAspectX = frame.pixelAspectY = 1;
    double const x = static_cast<double>(frame.width) / whole.width;
    double const y = static_cast<double>(frame.height) / whole.height;
    plan.target.shrink = std::min(1.0, std::max(x, y));
    for (Edit::PlannedOverlay& overlay : plan.overlays) {
        if (overlay.isInPixels) {
            overlay.x.Scale(x);
            overlay.y.Scale(y);
        }
        if (!overlay.width && !overlay.height && !overlay.title && !overlay.feed.path.empty()) {
            // Its own pixels, which the frame had before.
            Conf::FrameInfo const& own = overlay.feed.info.frame;
            double const aspect = known(own.pixelAspectX) / known(own.pixelAspectY) / pixelAspect;
            overlay.width = Edit::Length{own.width * (1.0 - overlay.cropLeft - overlay.cropRight) * aspect, true};
        }
        auto const scale = [](std::optional<Edit::Length>& length, double factor) {
            if (length && length->isPixels) {
                length->value *= factor;
            }
        };
        scale(overlay.width, x);
        scale(overlay.height, y);
        if (overlay.radius.isPixels) {
            overlay.radius.value *= std::min(x, y);
        }
    }
}

}  // namespace Kaltor::Studio

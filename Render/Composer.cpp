#include "Render/Composer.h"

#include <algorithm>
#include <cmath>

#include "Ogl/Random.h"
#include "Proc/Settings/SettingsServices.h"
#include "Render/Player.h"

namespace Kaltor::Render {
namespace {

using Edit::PlannedClip;

/// Opening a file and decoding its first picture takes some tens of milliseconds.
constexpr Media::Microseconds kOpenAhead = std::chrono::seconds(1);
/// Clips shorter than that must not be open by the dozen.
constexpr std::size_t kMostOpen = 3;

// Places of seeds beside those of the clips and their joints.
constexpr std::size_t kWholeVideo = std::size_t{1} << 24U;
constexpr std::size_t kOverlays = kWholeVideo + 1;
constexpr std::size_t kOpening = kWholeVideo;
constexpr std::size_t kClosing = kWholeVideo + 1;
constexpr std::size_t kOverlayEdges = kWholeVideo + 2;

/// The blur of the enlarged picture in the bars, of the frame's larger side.
constexpr double kBarsBlur = 0.03;

}  // namespace

bool NeedsDrawing(Edit::Plan const& plan) {
    auto const clipNeeds = [&plan](PlannedClip const& clip) {
        return clip.fadeIn > 0 || clip.title || !clip.effects.empty() ||
               (!clip.feed.path.empty() && NeedsSizing(clip.feed.info.frame, plan.target));
    };
    return plan.opening || plan.closing || !plan.effects.empty() || !plan.overlays.empty() || !plan.subtitles.empty() ||
           std::any_of(plan.clips.begin(), plan.clips.end(), clipNeeds);
}

Composer::Active::Active(std::size_t clipIndex, PlannedClip const& planned, Composer& composer, std::int64_t skip)
    : index(clipIndex),
      clip(planned),
      feed(std::make_unique<ClipFeed>(planned.feed, composer.clipTarget, skip,
                                      std::min(planned.frames, composer.end - planned.first) - skip,
                                      composer.pipeline)),
      effects(
          composer.factory, composer.plan.time, planned.effects,
          [seed = composer.seed, clipIndex](std::size_t number) { return Ogl::SeedOfEffect(seed, clipIndex, number); }),
      inner(composer.factory),
      outer(composer.factory) {}

Composer::Composer(Edit::Plan const& wholePlan, FactoryPtr const& effectFactory, Pipeline& threads, bool draws,
                   std::uint32_t jobSeed, std::int64_t first, std::int64_t endOfPiece)
    : plan(wholePlan),
      factory(effectFactory),
      pipeline(threads),
      seed(jobSeed),
      position(first),
      end(endOfPiece),
      clipTarget(wholePlan.target),
      drawnSize(effectFactory),
      effects(effectFactory, wholePlan.time, wholePlan.effects,
              [jobSeed](std::size_t number) { return Ogl::SeedOfEffect(jobSeed, kWholeVideo, number); }),
      hasOpened(wholePlan.overlays.size(), false) {
    clipTarget.keepsSize = draws;
    bool const hasTitle =
        std::any_of(plan.clips.begin(), plan.clips.end(), [](PlannedClip const& clip) { return clip.title; });
    bool const hasBlur = std::any_of(plan.clips.begin(), plan.clips.end(),
                                     [](PlannedClip const& clip) { return clip.fit == Edit::Clip::Fit::Blur; });
    if (!plan.overlays.empty() || !plan.subtitles.empty() || hasTitle || hasBlur) {
        layers.emplace(factory, plan.target);
    }
    for (Edit::PlannedSubtitles const& file : plan.subtitles) {
        subtitles.push_back(std::make_unique<Edit::SubtitlePainter>(
            file.path, plan.target.frame.width, plan.target.frame.height, file.style ? &*file.style : nullptr,
            [&threads](std::string const& message) { threads.Warn(message); }));
        subtitleLayers.emplace_back(*layers);
    }
}

void Composer::OpenClips() {
    std::int64_t const ahead = plan.time.FrameAt(kOpenAhead);
    while (nextClip < plan.clips.size()) {
        PlannedClip const& clip = plan.clips[nextClip];
        bool const isPast = clip.GetEnd() <= position;
        bool const isNeeded = clip.first <= position;
        bool const isNear = clip.first <= position + ahead && active.size() < kMostOpen;
        if ((!isNeeded && !isNear) || clip.first >= end) {
            return;
        }
        if (!isPast) {
            active.push_back(
                std::make_unique<Active>(nextClip, clip, *this, std::max<std::int64_t>(0, position - clip.first)));
        }
        ++nextClip;
    }
}

void Composer::LayOverBlur(FramePtr& frame, FramePtr background, Active& current) {
    // Blurred at a quarter of the size: nobody sees the difference, and it costs a sixteenth.
    constexpr std::uint32_t kPart = 4;
    Media::VideoTarget small = plan.target;
    small.frame.width = std::max(2U, small.frame.width / kPart);
    small.frame.height = std::max(2U, small.frame.height / kPart);
    drawnSize.Process(background,
                      SizeFilling(background->GetFrameInfo(), small, current.clip.focusX, current.clip.focusY));
    static Edit::PlannedLook const look = [] {
        Edit::PlannedLook blur;
        std::unique_ptr<Proc::Settings> settings = Proc::MakeSettings("EffectBlurGaussian");
        settings->Set("scale", std::to_string(kBarsBlur));
        blur.settings = std::move(settings);
        blur.frames = 1;
        return blur;
    }();
    if (!current.blur) {
        current.blur = std::make_unique<PlannedEffect>(PlannedEffect::OneInput(factory, plan.time, look, seed));
    }
    current.blur->Process(background, position);
    current.outer.Process(background, SizeStretched(plan.target));

    Layer layer;
    layer.picture = layers->Upload(std::move(frame));
    layer.width = layer.picture->GetFrameInfo().width;
    layer.height = layer.picture->GetFrameInfo().height;
    // On whole pixels, as bars are.
    layer.x = std::floor((plan.target.frame.width - layer.width) / 2.0) + layer.width / 2.0;
    layer.y = std::floor((plan.target.frame.height - layer.height) / 2.0) + layer.height / 2.0;
    frame = std::move(background);
    layers->Process(frame, {layer});
}

void Composer::Fit(FramePtr& frame, Active& current) {
    using Mode = Edit::Clip::Fit;
    PlannedClip const& clip = current.clip;
    Conf::FrameInfo const info = frame->GetFrameInfo();
    bool const hasOwn = current.effects.Covers(position, false);
    if (!NeedsSizing(info, plan.target)) {
        current.effects.Process(frame, position, false);
    } else if (clip.fit == Mode::Fill || clip.fit == Mode::Stretch) {
        current.inner.Process(frame, clip.fit == Mode::Fill ? SizeFilling(info, plan.target, clip.focusX, clip.focusY)
                                                            : SizeStretched(plan.target));
        current.effects.Process(frame, position, false);
    } else {
        Proc::SettingsResizer const inner = SizeInner(info, plan.target);
        bool const hasBars = inner.width != plan.target.frame.width || inner.height != plan.target.frame.height;
        if (clip.fit == Mode::Blur && hasBars) {
            // The picture comes to the GPU once for both.
            frame = layers->Upload(std::move(frame));
            FramePtr background = frame;
            current.inner.Process(frame, inner);
            current.effects.Process(frame, position, false);
            LayOverBlur(frame, std::move(background), current);
        } else {
            if (hasOwn) {
                current.inner.Process(frame, inner);
                current.effects.Process(frame, position, false);
            }
            if (NeedsSizing(frame->GetFrameInfo(), plan.target)) {
                current.outer.Process(frame, SizeWhole(plan.target, clip.background));
            }
        }
    }
}

Composed Composer::Take(Active& current) {
    Composed composed{current.feed->Next(), nullptr};
    if (!composed.picture) {
        return {};
    }
    PlannedClip const& clip = current.clip;
    bool const isSized = !NeedsSizing(Proc::GetFrameInfo(*composed.picture), plan.target);
    if (isSized && !clip.title && !current.effects.Covers(position)) {
        return composed;
    }
    FramePtr frame = MakeFrame(std::move(composed.picture), plan.time, position);
    if (clip.title) {
        if (!current.title) {
            current.title =
                std::make_unique<Edit::TitlePainter>(*clip.title, plan.target.frame.width, plan.target.frame.height,
                                                     [this](std::string const& message) { pipeline.Warn(message); });
            current.titleLayers = std::make_unique<TitleLayers>(*layers);
        }
        double const seconds = plan.time.SecondsOf(position - clip.first);
        if (auto const picture = current.title->At(seconds, plan.time.SecondsOf(clip.frames))) {
            layers->Process(frame, {current.titleLayers->Make(*picture)});
        }
    }
    Fit(frame, current);
    current.effects.Process(frame, position, true);
    if (NeedsSizing(frame->GetFrameInfo(), plan.target)) {
        drawnSize.Process(frame, SizeWhole(plan.target, clip.background));
    }
    return {nullptr, std::move(frame)};
}

FramePtr Composer::ToFrame(Composed composed) const {
    return composed.frame ? std::move(composed.frame) : MakeFrame(std::move(composed.picture), plan.time, position);
}

Composed Composer::TakeClips() {
    while (!active.empty() && active.front()->clip.GetEnd() <= position) {
        active.pop_front();
        joint.reset();
    }
    OpenClips();
    Composed result = Take(*active.front());
    bool const isOverlap = active.size() > 1 && active[1]->clip.first <= position;
    if (isOverlap && !result.IsEmpty()) {
        Composed incoming = Take(*active[1]);
        if (incoming.IsEmpty()) {
            return {};
        }
        Active const& outgoing = *active.front();
        if (!joint) {
            joint = PlannedEffect::TwoInputs(factory, plan.time, outgoing.clip.joint,
                                             Ogl::SeedOfTransition(seed, outgoing.index));
        }
        FramePtr first = ToFrame(std::move(result));
        joint->Process(first, ToFrame(std::move(incoming)), position);
        result = {nullptr, std::move(first)};
    }
    return result;
}

void Composer::DrawEdge(Composed& composed, Edit::PlannedEdge const& planned, bool isOpening) {
    Edge& edge = isOpening ? opening : closing;
    if (!planned.look.Covers(position)) {
        edge = {};
        return;
    }
    if (!edge.effect) {
        edge.effect = PlannedEffect::TwoInputs(
            factory, plan.time, planned.look, Ogl::SeedOfTransition(seed, isOpening ? kOpening : kClosing),
            isOpening ? PlannedEffect::Progress::FromStart : PlannedEffect::Progress::ToEnd);
        edge.picture = MakePlainPicture(planned.color, plan.target);
    }
    FramePtr plain = MakeFrame(Proc::ShareAvFrame(*edge.picture), plan.time, position);
    FramePtr frame = ToFrame(std::move(composed));
    if (isOpening) {
        edge.effect->Process(plain, frame, position);
        frame = std::move(plain);
    } else {
        edge.effect->Process(frame, plain, position);
    }
    composed = {nullptr, std::move(frame)};
}

std::vector<Layer> Composer::MakeLayers(bool& isStopped) {
    std::vector<Layer> made;
    for (std::size_t i = 0; i < plan.overlays.size(); ++i) {
        Edit::PlannedOverlay const& overlay = plan.overlays[i];
        if (hasOpened[i] || position < overlay.first || position >= overlay.GetEnd()) {
            continue;
        }
        if (pipeline.GetStop().IsTripped()) {
            isStopped = true;  // thousands of titles may begin here
            return {};
        }
        hasOpened[i] = true;
        OverlayStage::Seeds const seeds{
            [jobSeed = seed, i](std::size_t number) { return Ogl::SeedOfEffect(jobSeed, kOverlays + i, number); },
            Ogl::SeedOfTransition(seed, kOverlayEdges + 2 * i), Ogl::SeedOfTransition(seed, kOverlayEdges + 2 * i + 1)};
        ActiveOverlay opened{
            i, std::make_unique<OverlayStage>(overlay, plan, factory, *layers, seeds, position, pipeline)};
        // In the order of the document, whenever they begin.
        overlays.insert(std::upper_bound(overlays.begin(), overlays.end(), i,
                                         [](std::size_t index, ActiveOverlay const& one) { return index < one.index; }),
                        std::move(opened));
    }
    std::erase_if(overlays, [&](ActiveOverlay const& one) { return plan.overlays[one.index].GetEnd() <= position; });
    for (ActiveOverlay const& one : overlays) {
        if (std::optional<Layer> layer = one.stage->Make(position, isStopped)) {
            made.push_back(std::move(*layer));
        }
        isStopped = isStopped || pipeline.GetStop().IsTripped();
        if (isStopped) {
            return {};
        }
    }
    for (std::size_t i = 0; i < subtitles.size(); ++i) {
        double const seconds = plan.time.SecondsOf(position) - plan.subtitles[i].offset;
        if (auto const picture = subtitles[i]->At(seconds)) {
            made.push_back(subtitleLayers[i].Make(*picture));
        }
    }
    return made;
}

Composed Composer::Next() {
    Composed result = TakeClips();
    if (result.IsEmpty()) {
        return {};
    }
    if (effects.Covers(position)) {
        FramePtr frame = ToFrame(std::move(result));
        effects.Process(frame, position, false);
        effects.Process(frame, position, true);
        if (NeedsSizing(frame->GetFrameInfo(), plan.target)) {
            drawnSize.Process(frame, SizeWhole(plan.target, plan.background));
        }
        result = {nullptr, std::move(frame)};
    }
    if (layers) {
        bool isStopped = false;
        std::vector<Layer> above = MakeLayers(isStopped);
        if (isStopped) {
            return {};
        }
        if (!above.empty()) {
            FramePtr frame = ToFrame(std::move(result));
            layers->Process(frame, std::move(above));
            result = {nullptr, std::move(frame)};
        }
    }
    if (plan.opening) {
        DrawEdge(result, *plan.opening, true);
    }
    if (plan.closing) {
        DrawEdge(result, *plan.closing, false);
    }
    ++position;
    return result;
}

}  // namespace Kaltor::Render

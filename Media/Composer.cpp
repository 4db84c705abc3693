#include "Media/Composer.h"

#include "Ogl/Random.h"

namespace Kaltor::Media {
namespace {

/// Opening a file and decoding its first picture takes some tens of milliseconds.
constexpr Microseconds kOpenAhead = std::chrono::seconds(1);
/// Clips shorter than that must not be open by the dozen.
constexpr std::size_t kMostOpen = 3;

}  // namespace

Composer::Composer(RenderJob const& renderJob, Timeline const& plan, FactoryPtr const& effectFactory, Pipeline& threads,
                   bool hasEffects, std::uint32_t jobSeed)
    : job(renderJob),
      timeline(plan),
      factory(effectFactory),
      pipeline(threads),
      seed(jobSeed),
      clipTarget(plan.target) {
    clipTarget.keepsSize = hasEffects;
}

void Composer::OpenClips() {
    std::int64_t const ahead = timeline.FrameAt(kOpenAhead);
    while (nextClip < timeline.clips.size()) {
        PlannedClip const& clip = timeline.clips[nextClip];
        bool const isNeeded = clip.first <= position;
        bool const isNear = clip.first <= position + ahead && active.size() < kMostOpen;
        if (!isNeeded && !isNear) {
            return;
        }
        active.push_back({nextClip, std::make_unique<ClipFeed>(clip, clipTarget, pipeline), nullptr, nullptr});
        ++nextClip;
    }
}

Composed Composer::Take(Active& clip) {
    Composed composed{clip.feed->Next(), nullptr};
    if (!composed.picture) {
        return {};
    }
    if (!clip.effects) {
        std::vector<Proc::Settings const*> settings;
        for (ClipEffect const& effect : job.effects) {
            if (!effect.clip || *effect.clip == clip.index) {
                settings.push_back(effect.settings.get());
            }
        }
        clip.effects = std::make_unique<ClipEffects>(
            factory, timeline, timeline.clips[clip.index], settings,
            [this, &clip](std::size_t number) { return Ogl::SeedOfEffect(seed, clip.index, number); });
    }
    bool const isSized = !NeedsSizing(Proc::GetFrameInfo(*composed.picture), timeline.target);
    if (!clip.effects->IsEmpty() || !isSized) {
        // The size comes first, so that effects see every clip as it will be shown.
        composed.frame = ToSize(MakeFrame(std::move(composed.picture), timeline, position), clip.size);
        clip.effects->Process(composed.frame);
        composed.frame = ToSize(std::move(composed.frame), drawnSize);
    }
    return composed;
}

FramePtr Composer::ToFrame(Composed composed) const {
    return composed.frame ? std::move(composed.frame) : MakeFrame(std::move(composed.picture), timeline, position);
}

FramePtr Composer::ToSize(FramePtr frame, std::unique_ptr<SizeEffect>& size) const {
    if (NeedsSizing(frame->GetFrameInfo(), timeline.target)) {
        if (!size) {
            size = std::make_unique<SizeEffect>(factory, timeline.target);
        }
        size->Process(frame);
    }
    return frame;
}

Composed Composer::Next() {
    while (!active.empty() && timeline.clips[active.front().index].GetEnd() <= position) {
        active.pop_front();
        joint.reset();
    }
    OpenClips();
    Composed result = Take(active.front());
    bool const isOverlap = active.size() > 1 && timeline.clips[active[1].index].first <= position;
    if (isOverlap) {
        Composed incoming = Take(active[1]);
        if ((!result.picture && !result.frame) || (!incoming.picture && !incoming.frame)) {
            return {};
        }
        if (!joint) {
            joint = std::make_unique<JointEffect>(factory, timeline, timeline.clips[active[1].index],
                                                  *job.transitions[active[0].index].settings,
                                                  Ogl::SeedOfTransition(seed, active[0].index));
        }
        FramePtr first = ToFrame(std::move(result));
        joint->Process(first, ToFrame(std::move(incoming)));
        result = {nullptr, std::move(first)};
    }
    ++position;
    return result;
}

}  // namespace Kaltor::Media

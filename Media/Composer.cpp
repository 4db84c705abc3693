#include "Media/Composer.h"

namespace Kaltor::Media {
namespace {

/// Opening a file and decoding its first picture takes some tens of milliseconds.
constexpr Microseconds kOpenAhead = std::chrono::seconds(1);
/// Clips shorter than that must not be open by the dozen.
constexpr std::size_t kMostOpen = 3;

}  // namespace

Composer::Composer(RenderJob const& renderJob, Timeline const& plan, FactoryPtr const& effectFactory, Pipeline& threads)
    : job(renderJob), timeline(plan), factory(effectFactory), pipeline(threads) {}

void Composer::OpenClips() {
    std::int64_t const ahead = timeline.FrameAt(kOpenAhead);
    while (nextClip < timeline.clips.size()) {
        PlannedClip const& clip = timeline.clips[nextClip];
        bool const isNeeded = clip.first <= position;
        bool const isNear = clip.first <= position + ahead && active.size() < kMostOpen;
        if (!isNeeded && !isNear) {
            return;
        }
        active.push_back({nextClip, std::make_unique<ClipFeed>(clip, timeline.target, pipeline), nullptr});
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
        clip.effects = std::make_unique<ClipEffects>(factory, timeline, timeline.clips[clip.index], settings);
    }
    if (!clip.effects->IsEmpty()) {
        composed.frame = MakeFrame(std::move(composed.picture), timeline, position);
        clip.effects->Process(composed.frame);
    }
    return composed;
}

FramePtr Composer::ToFrame(Composed composed) const {
    return composed.frame ? std::move(composed.frame) : MakeFrame(std::move(composed.picture), timeline, position);
}

/// Effects may change the size, but a transition takes two frames of the same one.
FramePtr Composer::ToSize(FramePtr frame) {
    Conf::FrameInfo const& info = frame->GetFrameInfo();
    if (info.width == timeline.target.frame.width && info.height == timeline.target.frame.height) {
        return frame;
    }
    if (!downloader) {
        downloader = std::make_unique<Downloader>(factory, timeline.target);
    }
    return MakeFrame(downloader->Process(std::move(frame)), timeline, position);
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
                                                  *job.transitions[active[0].index].settings);
        }
        FramePtr first = ToSize(ToFrame(std::move(result)));
        joint->Process(first, ToSize(ToFrame(std::move(incoming))));
        result = {nullptr, std::move(first)};
    }
    ++position;
    return result;
}

}  // namespace Kaltor::Media

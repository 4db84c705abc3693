#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Media/Conformer.h"
#include "Media/Timeline.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Media {

using FactoryPtr = boost::intrusive_ptr<Proc::IEffectFactory const>;
using FramePtr = boost::intrusive_ptr<Proc::IDataVideo>;

/// The output's frame number `frame` from a picture.
FramePtr MakeFrame(Proc::AvFramePtr picture, Timeline const& timeline, std::int64_t frame);

/// Progress of an effect over `count` frames from `first`, by the frame that a timestamp belongs to: k / count without
/// the microseconds' rounding. `lead`: frames by which the time that is asked for lies behind the frame's own.
Proc::TimeToProgress MakeProgress(Timeline const& timeline, std::int64_t first, std::int64_t count, std::int64_t lead);

/// The effects of one clip.
class ClipEffects {
public:
    /// `seedOf(k)`: the seed of the effect number k.
    ClipEffects(FactoryPtr const& factory, Timeline const& timeline, PlannedClip const& clip,
                std::vector<Proc::Settings const*> const& settings,
                std::function<std::uint32_t(std::size_t)> const& seedOf);
    bool IsEmpty() const { return effects.empty(); }
    void Process(FramePtr& frame);

private:
    std::vector<boost::intrusive_ptr<Proc::IOneInputEffectVideo>> effects;
};

/// The transition into a clip.
class JointEffect {
public:
    JointEffect(FactoryPtr const& factory, Timeline const& timeline, PlannedClip const& incoming,
                Proc::Settings const& settings, std::uint32_t seed);
    void Process(FramePtr& outgoing, FramePtr const& incoming);

private:
    boost::intrusive_ptr<Proc::ITwoInputEffectVideo> effect;
};

/// Brings frames to the output's size and pixel aspect on the GPU: the whole picture, bars in black.
class SizeEffect {
public:
    SizeEffect(FactoryPtr const& factory, VideoTarget const& target);
    /// A frame of that size passes unchanged.
    void Process(FramePtr& frame);

private:
    Conf::FrameInfo target;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> effect;
};

/// Whether a frame of this form needs bringing to the output's.
bool NeedsSizing(Conf::FrameInfo const& frame, VideoTarget const& target);

/// Brings frames back to main memory, in the output's form.
class Downloader {
public:
    Downloader(FactoryPtr const& factory, VideoTarget const& target);
    Proc::AvFramePtr Process(FramePtr frame);

private:
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> effect;
    Conformer conformer;
};

}  // namespace Kaltor::Media

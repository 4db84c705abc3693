#pragma once

#include <deque>
#include <map>
#include <memory>

#include "Media/ClipFeed.h"
#include "Media/EffectStage.h"

namespace Kaltor::Media {

/// One frame on its way to the encoder: either a picture that nothing changed, or a frame that effects are to draw.
struct Composed {
    Proc::AvFramePtr picture;
    FramePtr frame;
};

/// Puts the clips' pictures together, frame by frame in order: opens each clip shortly before its first frame, lets
/// effects and transitions process them, and lets go of what is past. The effects' GL work is only queued here.
class Composer {
public:
    /// All must outlive it.
    /// `hasEffects`: frames may be drawn; otherwise all are brought to the output's form on the processor. `seed`: the
    /// job's, from which each effect's follows.
    Composer(RenderJob const& job, Timeline const& timeline, FactoryPtr const& factory, Pipeline& pipeline,
             bool hasEffects, std::uint32_t seed);

    /// The next frame; empty where the pipeline was stopped.
    Composed Next();

private:
    /// What is kept of a clip while its frames are made.
    struct Active {
        std::size_t index;
        std::unique_ptr<ClipFeed> feed;
        std::unique_ptr<SizeEffect> size;
        std::unique_ptr<ClipEffects> effects;
    };

    void OpenClips();
    /// The clip's picture for the present frame, with its effects.
    Composed Take(Active& clip);
    FramePtr ToFrame(Composed composed) const;
    /// The frame in the output's size; `size` is made when it is first needed.
    FramePtr ToSize(FramePtr frame, std::unique_ptr<SizeEffect>& size) const;

    RenderJob const& job;
    Timeline const& timeline;
    FactoryPtr factory;
    Pipeline& pipeline;
    std::uint32_t seed;
    std::int64_t position = 0;
    std::size_t nextClip = 0;
    std::deque<Active> active;
    std::unique_ptr<JointEffect> joint;
    VideoTarget clipTarget;
    std::unique_ptr<SizeEffect> drawnSize;  ///< of what effects made of another size
};

}  // namespace Kaltor::Media

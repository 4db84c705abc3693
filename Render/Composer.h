#pragma once

#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "Edit/Plan.h"
#include "Edit/Titles/SubtitlePainter.h"
#include "Edit/Titles/TitlePainter.h"
#include "Render/ClipFeed.h"
#include "Render/EffectStage.h"
#include "Render/OverlayStage.h"

namespace Kaltor::Render {

/// One frame on its way to the encoder: either a picture that nothing changed, or a frame that effects are to draw.
struct Composed {
    Proc::AvFramePtr picture;
    FramePtr frame;

    bool IsEmpty() const { return !picture && !frame; }
};

/// Whether any frame of the plan has to be drawn.
bool NeedsDrawing(Edit::Plan const& plan);

/// Puts the pictures of a plan together, frame by frame in order: opens each clip shortly before its first frame, lets
/// effects, transitions and overlays process them, and lets go of what is past. The GL work is only queued here.
class Composer {
public:
    /// `draws`: frames may be drawn; otherwise all are brought to the output's form on the processor. `seed`: the
    /// job's, from which each effect's follows. `first`: the first frame that is wanted; `end`: the frame after the last
    /// one. The plan, the pipeline and the factory must outlive it.
    Composer(Edit::Plan const& plan, FactoryPtr const& factory, Pipeline& pipeline, bool draws, std::uint32_t seed,
             std::int64_t first = 0, std::int64_t end = std::numeric_limits<std::int64_t>::max());

    /// The next frame; empty where the pipeline was stopped.
    Composed Next();

private:
    /// What is kept of a clip while its frames are made.
    struct Active {
        Active(std::size_t clipIndex, Edit::PlannedClip const& planned, Composer& composer, std::int64_t skip);

        std::size_t index;
        Edit::PlannedClip const& clip;
        std::unique_ptr<ClipFeed> feed;
        EffectChain effects;
        Sizer inner;
        Sizer outer;
        std::unique_ptr<Edit::TitlePainter> title;
        std::unique_ptr<TitleLayers> titleLayers;
        std::unique_ptr<PlannedEffect> blur;
    };
    /// The video's beginning or its end; both may show at once. Empty while it does not.
    struct Edge {
        std::optional<PlannedEffect> effect;
        Proc::AvFramePtr picture;  ///< what it comes from or goes to
    };
    struct ActiveOverlay {
        std::size_t index;
        std::unique_ptr<OverlayStage> stage;
    };

    void OpenClips();
    /// The clip's picture for the present frame, with its effects.
    Composed Take(Active& active);
    Composed TakeClips();
    void Fit(FramePtr& frame, Active& active);
    /// The picture over its own blurred enlargement.
    void LayOverBlur(FramePtr& frame, FramePtr background, Active& active);
    void DrawEdge(Composed& composed, Edit::PlannedEdge const& planned, bool isOpening);
    /// The layers of the present frame; empty and `isStopped` where the pipeline was stopped.
    std::vector<Layer> MakeLayers(bool& isStopped);
    FramePtr ToFrame(Composed composed) const;

    Edit::Plan const& plan;
    FactoryPtr factory;
    Pipeline& pipeline;
    std::uint32_t seed;
    std::int64_t position;
    std::int64_t end;
    std::size_t nextClip = 0;
    std::deque<std::unique_ptr<Active>> active;
    std::optional<PlannedEffect> joint;
    Media::VideoTarget clipTarget;
    Sizer drawnSize;  ///< of what effects made of another size
    EffectChain effects;
    Edge opening;
    Edge closing;
    std::optional<LayerPainter> layers;
    std::vector<bool> hasOpened;
    std::vector<ActiveOverlay> overlays;
    std::vector<std::unique_ptr<Edit::SubtitlePainter>> subtitles;
    std::vector<TitleLayers> subtitleLayers;
};

}  // namespace Kaltor::Render

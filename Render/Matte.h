#pragma once

#include "Render/EffectStage.h"
#include "Render/Layers.h"

namespace Kaltor::Render {

/// What a transition shows between a picture with alpha and nothing.
///
/// Transitions mix straight alpha, in which nothing has a colour that would show. So one is drawn twice, with the
/// picture over black and over white: what differs is how much of the ground is seen, and what remains is the colour.
class Matte {
public:
    /// `look` is the transition; true for `isEntry` where the picture comes. What is given by reference must outlive
    /// it.
    Matte(FactoryPtr const& factory, Edit::TimeLine const& time, Edit::PlannedLook const& look, std::uint32_t seed,
          bool isEntry, LayerPainter const& layerPainter);

    /// Replaces `frame`, number `number` of the video, by what shows of it; it is drawn later.
    void Process(FramePtr& frame, std::int64_t number);

private:
    struct Pass {
        PlannedEffect transition;
        float grey;  ///< of the ground
        boost::intrusive_ptr<Ogl::DataVideoOGL> nothing = nullptr;
    };
    FramePtr Draw(Pass& pass, boost::intrusive_ptr<Ogl::DataVideoOGL> const& picture, std::int64_t number) const;

    LayerPainter const& painter;
    bool isEntering;
    Pass onBlack;
    Pass onWhite;
    boost::intrusive_ptr<Ogl::TaskTimer> timer;
};

}  // namespace Kaltor::Render

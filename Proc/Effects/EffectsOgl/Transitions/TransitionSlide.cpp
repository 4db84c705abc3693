// The incoming picture slides in over the outgoing one, from an edge or a corner. Only the part of it that is on the
// screen is drawn: a rectangle of its texture on a rectangle of the screen.

#include <algorithm>

#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/QuadBuilders.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

using SlideDirection = Proc::SettingsTransitionSlide::Direction;

struct SlidePlacement {
    float s0, t0, s1, t1;  ///< of the texture
    float x0, y0, x1, y1;  ///< of the screen, clip space
};

/// `None` and `Stretched` are intended: the first has no height, so that the outgoing picture stays; the second lays
/// the band t = 0 .. k upside down over the area below y = 1 - 2 k.
SlidePlacement Place(SlideDirection direction, float k) {
    float const near = 2.0F * k - 1.0F;  // how far a picture from the left or from below reaches
    float const far = 1.0F - 2.0F * k;   // the same from the right or from above
    float const hidden = 1.0F - k;
    switch (direction) {
        case SlideDirection::FromLeft:
            return {hidden, 0, 1, 1, -1, -1, near, 1};
        case SlideDirection::None:
            return {0, 0, k, 1, far, -1, 1, -1};
        case SlideDirection::Stretched:
            return {0, 0, 1, k, -1, far, 1, -1};
        case SlideDirection::FromBottom:
            return {0, hidden, 1, 1, -1, -1, 1, near};
        case SlideDirection::FromBottomLeft:
            return {hidden, hidden, 1, 1, -1, -1, near, near};
        case SlideDirection::FromBottomRight:
            return {0, hidden, k, 1, far, -1, 1, near};
        case SlideDirection::FromTopLeft:
            return {hidden, 0, 1, k, -1, far, near, 1};
        case SlideDirection::FromTopRight:
            return {0, 0, k, k, far, far, 1, 1};
        default:
            return {0, 0, 1, 1, -1, -1, 1, 1};
    }
}

}  // namespace

class TransitionSlide final : public TransitionWithSettings<Proc::SettingsTransitionSlide> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        SlidePlacement const place = Place(settings.direction, static_cast<float>(progress));
        PackedQuad const packed =
            MakeLattice({{place.s0, place.s1, place.x0, place.x1}}, {{place.t0, place.t1, place.y0, place.y1}});
        Quad const quad(packed, GL_STREAM_DRAW);
        DrawUnchanged(*dst, *first, storage);
        // At the end the picture is drawn through the unit quad, whose texels need no filter: exact on every GL.
        bool const isArrived = std::equal(Quad::kFull.begin(), Quad::kFull.end(), packed.vertices.begin());
        second->FrameData().Draw(isArrived ? storage.Quad() : quad, storage);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSlide>();

}  // namespace Kaltor::Ogl

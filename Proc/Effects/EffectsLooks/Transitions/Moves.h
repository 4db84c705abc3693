#pragma once

#include "Proc/Effects/EffectsLooks/Easing.h"
#include "Proc/Effects/EffectsLooks/Pieces.h"

namespace Kaltor::Ogl {

/// A move of both pictures as one: turned by an angle (radians, counterclockwise) and enlarged, about a centre. The
/// outgoing picture begins at rest and the incoming one ends there.
struct TurnAndZoom {
    double angle = 0.0;    ///< of the whole move
    double zoom = 1.0;     ///< factor of the whole move
    glm::vec2 centre{0.5F, 0.5F};
};

/// Draws what the shutter sees of such a move: samples along it, mirrored at the borders, averaged. The pictures change
/// over in the middle.
void DrawMove(DataVideoOGL& target, Pictures const& pictures, TurnAndZoom const& move, Exposure const& exposure,
              ShaderStorage const& storage);

/// Where both pictures move to.
glm::vec2 GetWay(int direction);

}  // namespace Kaltor::Ogl

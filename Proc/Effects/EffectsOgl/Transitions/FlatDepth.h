#pragma once

#include <glm/mat4x4.hpp>

namespace Kaltor::Ogl {

/// The perspective of a camera that looks along -z, aspect 1, near plane 0, for pictures that need no depth. `scale` is
/// the cotangent of half the field of view.
///
/// Every point gets z = w, exactly on the far plane, where rounding alone would decide whether it is clipped. Vertex
/// programs therefore set z to 0 after the product. The clip condition -w <= z <= w then becomes w >= 0, the same as
/// for z = w. x, y and w, and so the picture, do not change.
inline glm::mat4 MakeFlatPerspective(float scale) {
    glm::mat4 projection(0.0F);
    projection[0][0] = scale;
    projection[1][1] = scale;
    projection[2][2] = -1.0F;
    projection[2][3] = -1.0F;
    return projection;
}

}  // namespace Kaltor::Ogl

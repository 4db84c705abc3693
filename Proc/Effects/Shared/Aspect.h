#pragma once

#include <algorithm>

#include <glm/vec2.hpp>

#include "Conf/FrameInfo.h"
#include "Ogl/Frame.h"

namespace Kaltor::Ogl {

/// Factors for texture coordinates that make one unit the same number of texels along both axes; 1 for the longer side.
inline glm::vec2 GetTexelAspect(Frame const& frame) {
    auto const width = static_cast<float>(frame.GetWidth());
    auto const height = static_cast<float>(frame.GetHeight());
    return {width < height ? width / height : 1.0F, height < width ? height / width : 1.0F};
}

/// Ratio of width to height of a picture as it is shown.
inline double GetDisplayAspect(Conf::FrameInfo const& info) {
    return static_cast<double>(info.width * info.pixelAspectX) / static_cast<double>(info.height * info.pixelAspectY);
}

/// Width and height of a picture of this display aspect, the longer one 1.
inline glm::dvec2 GetSides(double aspect) {
    return glm::dvec2(aspect, 1.0) / std::max(aspect, 1.0);
}

}  // namespace Kaltor::Ogl

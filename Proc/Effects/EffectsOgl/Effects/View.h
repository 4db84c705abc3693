#pragma once

#include <optional>

#include <glm/vec2.hpp>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Ogl {

/// The part of a picture that fills the frame: the rectangle around `centre` (texture coordinates) of 1 / `zoom` of its
/// sides. Below a zoom of 1 the picture is smaller than the frame.
struct View {
    glm::dvec2 centre{0.5};
    double zoom = 1.0;

    bool operator==(View const&) const = default;
};

/// The picture's borders in a frame of this size, pixels from the lower left.
struct ViewBorders {
    ViewBorders(View const& view, glm::dvec2 const& size)
        : low(size * (0.5 - view.centre * view.zoom)), high(low + size * view.zoom) {}

    glm::dvec2 low, high;
};

/// Whether nothing but the picture shows in a frame of this size.
bool FillsFrame(View const& view, glm::dvec2 const& size);

/// A frame of the picture's size that shows an RGB picture through the view. A little beyond the picture's border it
/// repeats the edge, so that the border can be drawn between pixels; farther out its content is undefined.
Frame MakeView(Frame const& picture, View const& view, ShaderStorage const& storage);

/// Draws the view of `src` to `dst`, which has the same size: sharp, with `around` where there is no picture, and a
/// border that is one soft pixel wide. In a target without alpha `around` is opaque. Without a colour the
/// picture itself is around it, enlarged, blurred and darker; in a target with alpha nothing is. Works on planes where
/// the view is enlarged and fills the frame.
void DrawView(DataVideoOGL& dst, boost::intrusive_ptr<DataVideoOGL> const& src, View const& view,
              std::optional<Proc::Color> const& around, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl

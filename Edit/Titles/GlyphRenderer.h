#pragma once

#include <memory>

#include <cairo.h>
#include <pango/pango.h>

namespace Kaltor::Edit {

struct ObjectDeleter {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using ObjectPtr = std::unique_ptr<T, ObjectDeleter>;

/// Where Pango's lines are drawn. Glyphs are filled as outlines: they stand at fractions of pixels and look the same
/// whatever a system's settings for its screen are.
struct GlyphTargets {
    cairo_t* plain;       ///< coverage of all that has the text's own colour
    cairo_t* colors;      ///< what has a colour of its own, emoji among them
    cairo_t* background;  ///< what markup has behind letters
    double opacity;       ///< of emoji
    /// Only the strokes around letters, to `plain`, so many pixels wide.
    double strokeWidth = 0.0;
    bool hasColors = false;  ///< set when something was drawn to `colors` or `background`
};

/// Draws on `targets`, which must outlive it.
ObjectPtr<PangoRenderer> MakeGlyphRenderer(GlyphTargets& targets);

}  // namespace Kaltor::Edit

#include "Edit/Titles/GlyphRenderer.h"

#include <algorithm>

#include <pango/pangocairo.h>

namespace Kaltor::Edit {
namespace {

/// GObject's form of a class derived from PangoRenderer.
struct GlyphRenderer {
    PangoRenderer parent;
    GlyphTargets* targets;
};
struct GlyphRendererClass {
    PangoRendererClass parent;
};
G_DEFINE_TYPE(GlyphRenderer, glyph_renderer, PANGO_TYPE_RENDERER)

GlyphTargets& TargetsOf(PangoRenderer* renderer) {
    return *reinterpret_cast<GlyphRenderer*>(renderer)->targets;
}

/// The canvas for a part of the text, with its colour set.
cairo_t* Select(PangoRenderer* renderer, PangoRenderPart part) {
    GlyphTargets& targets = TargetsOf(renderer);
    PangoColor const* const color = pango_renderer_get_color(renderer, part);
    guint16 const alpha = pango_renderer_get_alpha(renderer, part);
    bool const isBackground = part == PANGO_RENDER_PART_BACKGROUND;
    if (targets.strokeWidth > 0.0 || (color == nullptr && alpha == 0 && !isBackground)) {
        cairo_set_source_rgba(targets.plain, 0, 0, 0, 1);
        return targets.plain;
    }
    cairo_t* const canvas = isBackground ? targets.background : targets.colors;
    constexpr double kFull = 65535.0;
    double const opacity = alpha != 0 ? alpha / kFull : 1.0;
    if (color != nullptr) {
        cairo_set_source_rgba(canvas, color->red / kFull, color->green / kFull, color->blue / kFull, opacity);
    } else {
        cairo_set_source_rgba(canvas, 1, 1, 1, opacity);
    }
    targets.hasColors = true;
    return canvas;
}

void Paint(GlyphTargets const& targets, cairo_t* canvas) {
    if (targets.strokeWidth > 0.0) {
        cairo_set_line_join(canvas, CAIRO_LINE_JOIN_ROUND);
        cairo_set_line_width(canvas, targets.strokeWidth);
        cairo_stroke(canvas);
    } else {
        cairo_fill(canvas);
    }
}

void DrawGlyphs(PangoRenderer* renderer, PangoFont* font, PangoGlyphString* glyphs, int x, int y) {
    GlyphTargets& targets = TargetsOf(renderer);
    double const left = static_cast<double>(x) / PANGO_SCALE;
    double const base = static_cast<double>(y) / PANGO_SCALE;
    bool const isPicture = std::any_of(glyphs->glyphs, glyphs->glyphs + glyphs->num_glyphs,
                                       [](PangoGlyphInfo const& glyph) { return glyph.attr.is_color != 0; });
    if (isPicture) {
        if (targets.strokeWidth <= 0.0) {
            targets.hasColors = true;
            cairo_push_group(targets.colors);
            cairo_set_source_rgba(targets.colors, 0, 0, 0, 1);
            cairo_move_to(targets.colors, left, base);
            pango_cairo_show_glyph_string(targets.colors, font, glyphs);
            cairo_pop_group_to_source(targets.colors);
            cairo_paint_with_alpha(targets.colors, targets.opacity);
        }
        return;
    }
    cairo_t* const canvas = Select(renderer, PANGO_RENDER_PART_FOREGROUND);
    cairo_new_path(canvas);
    cairo_move_to(canvas, left, base);
    pango_cairo_glyph_string_path(canvas, font, glyphs);
    Paint(targets, canvas);
    cairo_new_path(canvas);
}

void DrawRectangle(PangoRenderer* renderer, PangoRenderPart part, int x, int y, int width, int height) {
    GlyphTargets const& targets = TargetsOf(renderer);
    if (targets.strokeWidth > 0.0 && part == PANGO_RENDER_PART_BACKGROUND) {
        return;
    }
    cairo_t* const canvas = Select(renderer, part);
    constexpr double kUnit = PANGO_SCALE;
    cairo_rectangle(canvas, x / kUnit, y / kUnit, width / kUnit, height / kUnit);
    Paint(targets, canvas);
}

void glyph_renderer_init(GlyphRenderer* renderer) {
    renderer->targets = nullptr;
}

void glyph_renderer_class_init(GlyphRendererClass* type) {
    type->parent.draw_glyphs = &DrawGlyphs;
    type->parent.draw_rectangle = &DrawRectangle;
}

}  // namespace

ObjectPtr<PangoRenderer> MakeGlyphRenderer(GlyphTargets& targets) {
    auto* const renderer = static_cast<GlyphRenderer*>(g_object_new(glyph_renderer_get_type(), nullptr));
    renderer->targets = &targets;
    return ObjectPtr<PangoRenderer>(&renderer->parent);
}

}  // namespace Kaltor::Edit

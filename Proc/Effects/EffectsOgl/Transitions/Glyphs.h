#pragma once

#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

// Invented glyphs of a few brush strokes each, as an atlas of distances: sharp at every size that it is shown at.

/// Glyphs along each side of the atlas.
constexpr int kGlyphsASide = 8;
/// Height of a glyph's cell to its width.
constexpr double kGlyphAspect = 1.25;
/// The distances that the atlas tells lie within this, in widths of a cell. Strokes keep as far from the cell's border.
constexpr double kGlyphReach = 0.15;

/// How far inside of the strokes of a glyph (below 0: outside) a point of its cell lies, in widths of a cell; x and y
/// from the lower left, 0 to 1.
double GetGlyphDistance(int glyph, double x, double y);

/// All glyphs, row by row from the lower left; each texel 0 at -`kGlyphReach`, 1 at `kGlyphReach`. GL thread only.
Texture MakeGlyphAtlas();

}  // namespace Kaltor::Ogl

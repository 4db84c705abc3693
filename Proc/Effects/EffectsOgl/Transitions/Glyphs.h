#pragma once

#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

// Invented glyphs of a few brush strokes each, as an atlas of distances, which is sharp at every size.

/// Glyphs along each side of the atlas.
constexpr int kGlyphsASide = 8;
/// Ratio of height to width of a glyph's cell.
constexpr double kGlyphAspect = 1.25;
/// The greatest distance that the atlas holds, in widths of a cell. Strokes keep this distance from the cell's border.
constexpr double kGlyphReach = 0.15;

/// How far inside the strokes of a glyph (below 0: outside) a point of its cell lies, in widths of a cell; x and y from
/// the lower left, 0 to 1.
double GetGlyphDistance(int glyph, double x, double y);

/// All glyphs, row by row from the lower left; each texel 0 at -`kGlyphReach`, 1 at `kGlyphReach`. GL thread only.
Texture MakeGlyphAtlas();

}  // namespace Kaltor::Ogl

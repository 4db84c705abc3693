#include "Proc/Effects/EffectsOgl/Transitions/Glyphs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/vec2.hpp>

#include "Ogl/GlState.h"
#include "Ogl/Noise.h"

namespace Kaltor::Ogl {
namespace {

/// Three points of a line with a bend, in the box of a glyph, from the lower left.
using GlyphStroke = std::array<glm::dvec2, 3>;

// A glyph has one stroke of each kind, so that all glyphs look like one script.
constexpr std::array<GlyphStroke, 4> kBars{{{{{0.0, 1.0}, {0.5, 1.0}, {1.0, 1.0}}},
                                            {{{0.0, 0.62}, {0.5, 0.62}, {1.0, 0.62}}},
                                            {{{0.05, 0.8}, {0.5, 0.8}, {0.95, 0.8}}},
                                            {{{0.0, 0.0}, {0.5, 0.0}, {1.0, 0.0}}}}};
constexpr std::array<GlyphStroke, 7> kStems{{{{{0.5, 1.0}, {0.5, 0.5}, {0.5, 0.0}}},
                                             {{{0.12, 0.95}, {0.12, 0.5}, {0.2, 0.0}}},
                                             {{{1.0, 1.0}, {0.95, 0.4}, {0.6, 0.0}}},
                                             {{{0.85, 1.0}, {0.6, 0.45}, {0.0, 0.02}}},
                                             {{{0.55, 1.0}, {0.5, 0.35}, {0.1, 0.0}}},
                                             {{{0.2, 1.0}, {0.25, 0.1}, {1.0, 0.1}}},
                                             {{{0.0, 0.45}, {0.95, 0.45}, {0.75, 0.0}}}}};
constexpr std::array<GlyphStroke, 7> kMarks{{{{{0.35, 0.5}, {0.65, 0.28}, {0.95, 0.0}}},
                                             {{{0.2, 0.95}, {0.27, 0.8}, {0.34, 0.65}}},
                                             {{{0.75, 0.95}, {0.82, 0.8}, {0.9, 0.65}}},
                                             {{{0.0, 0.35}, {0.5, 0.35}, {1.0, 0.35}}},
                                             {{{0.1, 0.5}, {0.05, 0.3}, {0.0, 0.12}}},
                                             {{{0.9, 0.5}, {0.95, 0.3}, {1.0, 0.12}}},
                                             {{{0.75, 0.7}, {0.75, 0.4}, {0.75, 0.2}}}}};

double GetDistance(glm::dvec2 const& point, GlyphStroke const& stroke) {
    double least = 2.0;
    for (std::size_t i = 0; i + 1 < stroke.size(); ++i) {
        glm::dvec2 const way = stroke[i + 1] - stroke[i];
        double const at = std::clamp(glm::dot(point - stroke[i], way) / glm::dot(way, way), 0.0, 1.0);
        least = std::min(least, glm::distance(point, stroke[i] + at * way));
    }
    return least;
}

}  // namespace

double GetGlyphDistance(int glyph, double x, double y) {
    constexpr double kHalfStroke = 0.055;
    constexpr double kMargin = kGlyphReach + kHalfStroke;
    glm::dvec2 const box(1.0 - 2.0 * kMargin, kGlyphAspect - 2.0 * kMargin);
    glm::dvec2 const point = glm::dvec2(x, y * kGlyphAspect) - glm::dvec2(kMargin);
    auto const pick = [&](std::span<GlyphStroke const> kind, std::uint32_t number) {
        GlyphStroke stroke = kind[number % kind.size()];
        for (glm::dvec2& corner : stroke) {
            corner *= box;
        }
        return GetDistance(point, stroke);
    };
    // Every pair of bar and stem is used once before one is repeated with another mark.
    constexpr std::uint32_t kPairs = kBars.size() * kStems.size();
    std::uint32_t const pair = static_cast<std::uint32_t>(glyph) % kPairs;
    std::uint32_t const round = static_cast<std::uint32_t>(glyph) / kPairs;
    std::array<std::uint32_t, 3> const numbers = Hash(pair, 0, 7);
    double least = std::min(pick(kBars, pair), pick(kStems, pair / kBars.size()));
    least = std::min(least, pick(kMarks, numbers[0] % kMarks.size() + 2 * round));
    constexpr std::uint32_t kOneInThree = 3;
    if ((numbers[1] + round) % kOneInThree == 0) {
        least = std::min(least, pick(kMarks, numbers[2]));
    }
    return kHalfStroke - least;
}

Texture MakeGlyphAtlas() {
    constexpr int kColumns = 32;  // per glyph
    constexpr int kRows = 40;
    std::vector<std::uint16_t> texels;
    texels.reserve(std::size_t{kGlyphsASide * kColumns} * kGlyphsASide * kRows);
    for (int y = 0; y < kGlyphsASide * kRows; ++y) {
        for (int x = 0; x < kGlyphsASide * kColumns; ++x) {
            double const distance = GetGlyphDistance(y / kRows * kGlyphsASide + x / kColumns,
                                                     (x % kColumns + 0.5) / kColumns, (y % kRows + 0.5) / kRows);
            constexpr double kMost = 65535.0;
            double const value = std::clamp(0.5 + 0.5 * distance / kGlyphReach, 0.0, 1.0);
            texels.push_back(static_cast<std::uint16_t>(std::lround(kMost * value)));
        }
    }
    constexpr std::uint32_t kWidth = kGlyphsASide * kColumns;
    constexpr std::uint32_t kHeight = kGlyphsASide * kRows;
    Texture atlas({kWidth, kHeight, TexelFormat::R16, false});
    atlas.Bind();
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RED, GL_UNSIGNED_SHORT, texels.data());
    ThrowOnGlError("filling the atlas of glyphs");
    atlas.SetFresh(false);
    return atlas;
}

}  // namespace Kaltor::Ogl

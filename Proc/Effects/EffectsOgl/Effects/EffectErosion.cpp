// The darkest (erosion) or the brightest (dilation) pixel in a square or a disc around the pixel, exact. Pixels are
// compared by luma and taken whole, so that no new colours come up; or each channel is its own least or greatest value.
//
// Extrema over overlapping stretches may be joined: one over 2 h + 1 pixels becomes one over 2 (h + o) + 1 by a few
// taps from -o to o that leave no gap, so a stretch needs logarithmically many passes. A square is a stretch along x,
// then one along y. A disc is the union of its rows (E. Urbach, M. Wilkinson, "Efficient 2-D Grayscale Morphological
// Transformations With Arbitrary Flat Structuring Elements", 2008): stretches of a few lengths are made, the length
// doubling, and each row is two taps of the longest that fits into it. A large one is a square, the rows above and
// below it and the columns beside it. All stretches are symmetric about their pixel, so that a tap that is clamped to
// the picture's border sees nothing from outside the neighbourhood.
//
// On software GL the processor's own threads do the same to opaque pictures (see ProcessorMorphology.cpp).
//
// Where texel fetches are expensive, each tap of a channel's extremum is a shifted copy of the picture that is blended
// by it: such a GL draws copies at nearly the speed of memory. Elsewhere, and for whole pixels, one program reads all
// taps of a step.
//
// Transparent pixels count as the value that changes nothing, partly transparent ones in proportion. Alpha is kept.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorMorphology.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kVisible[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 neutral;
varying vec2 TexCoord0;
void main() {
    vec4 c = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(mix(neutral, c.rgb, c.a), 1.0);
}
)glsl";

/// The channels' extrema over `count` taps, each an offset (x, y) in texture coordinates.
std::string MakeExtremum(char const* function, std::size_t count) {
    std::string source = fmt::format("#version 120\nuniform sampler2D tex;\nuniform float taps[{}];\n", 2 * count);
    source += "varying vec2 TexCoord0;\nvoid main() {\n";
    source += "    vec4 best = texture2D(tex, TexCoord0 + vec2(taps[0], taps[1]));\n";
    for (std::size_t i = 2; i < 2 * count; i += 2) {
        source += fmt::format("    best = {}(best, texture2D(tex, TexCoord0 + vec2(taps[{}], taps[{}])));\n", function,
                              i, i + 1);
    }
    return source + "    gl_FragColor = best;\n}\n";
}

// Of two pixels the one with the more extreme luma; of two with the same luma, the first in an order of colours, so
// that the order in which pixels are compared does not show.
constexpr char kPick[] = R"glsl(
const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);
vec4 Read(sampler2D from, vec2 at) {
    vec3 c = texture2D(from, at).rgb;
    return vec4(c, dot(c, kLuma) + dot(c, vec3(3.0e-5, 0.0, -2.0e-5)));
}
)glsl";

/// The pixel with the most extreme luma of `count` taps, and of what is in the target where `hasBefore`.
std::string MakePick(bool isDilation, std::size_t count, bool hasBefore) {
    std::string source = fmt::format("#version 120\nuniform sampler2D tex;\nuniform float taps[{}];\n", 2 * count);
    source += "uniform sampler2D before;\nvarying vec2 TexCoord0;\n";
    source += kPick;
    source += "void main() {\n    vec4 next;\n";
    source += hasBefore ? "    vec4 best = Read(before, TexCoord0);\n"
                        : "    vec4 best = Read(tex, TexCoord0 + vec2(taps[0], taps[1]));\n";
    for (std::size_t i = hasBefore ? 0 : 2; i < 2 * count; i += 2) {
        source += fmt::format(
            "    next = Read(tex, TexCoord0 + vec2(taps[{}], taps[{}]));\n    best = next.a {} best.a ? next : best;\n",
            i, i + 1, isDilation ? ">" : "<");
    }
    return source + "    gl_FragColor = vec4(best.rgb, 1.0);\n}\n";
}

constexpr char kWithAlphaOf[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D origin;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = vec4(texture2D(tex, TexCoord0).rgb, texture2D(origin, TexCoord0).a);
}
)glsl";

struct Tap {
    int x, y;  // pixels
};

/// Taps from -`reach` to `reach` that join stretches of `half` pixels to each side without a gap.
std::vector<int> Spread(int half, int reach) {
    int const gaps = std::max((2 * reach + 2 * half) / (2 * half + 1), 1);
    std::vector<int> offsets;
    for (int i = 0; i <= gaps; ++i) {
        offsets.push_back(i * 2 * reach / gaps - reach);
    }
    return offsets;
}

class Morphology {
public:
    Morphology(ShaderStorage const& shaderStorage, Frame const& picture, bool dilates, bool takesWhole)
        : storage(shaderStorage),
          width(picture.GetWidth()),
          height(picture.GetHeight()),
          function(dilates ? "max" : "min"),
          equation(dilates ? GL_MAX : GL_MIN),
          isDilation(dilates),
          isWhole(takesWhole),
          isBlended(!takesWhole && OglManager::GetInstance().GetStrategy().areFetchesDear),
          areFetchesDear(OglManager::GetInstance().GetStrategy().areFetchesDear),
          whole(picture) {}

    /// How far a stretch of `half` pixels to each side can grow with one more pass.
    int Widen(int half) const {
        // Copies: three taps a pass give the fewest in all. Where a program reads the taps, passes cost more than taps.
        int const mostGaps = isBlended ? 2 : (areFetchesDear ? 4 : 6);
        return half + mostGaps * (2 * half + 1) / 2;
    }

    /// The stretches of `from`, `half` pixels to each side of a pixel along one axis, made from those of `before`.
    Frame Lengthen(Frame const& from, int before, int half, bool isAlongX) const {
        Frame current = from;
        while (before < half) {
            int const next = std::min(half, Widen(before));
            std::vector<Tap> taps;
            for (int const offset : Spread(before, next - before)) {
                taps.push_back(isAlongX ? Tap{offset, 0} : Tap{0, offset});
            }
            Frame wider = Frame::Create();
            wider.Allocate(OpaqueFormat(from.GetPixFmt()), width, height);
            if (isBlended) {
                storage.FBO().Attach(wider.GetFirstTexture());
                Copy(current, taps.back());
                taps.pop_back();
                Blend(current, taps);
            } else {
                Draw(current, taps, wider.GetFirstTexture());
            }
            current = wider;
            before = next;
        }
        return current;
    }

    /// Combines the result with the extremum of the taps. Whole pixels are gathered here, up to `Finish`; else `target`
    /// holds the result, and its alpha stays.
    void Accumulate(Frame const& from, std::vector<Tap> const& taps, DataVideoOGL& target) {
        if (isWhole) {
            for (std::size_t i = 0; i < taps.size(); i += kMostTaps) {
                auto const first = taps.begin() + static_cast<std::ptrdiff_t>(i);
                auto const count = std::min(kMostTaps, taps.size() - i);
                Frame picked = Frame::Create();
                picked.Allocate(OpaqueFormat(from.GetPixFmt()), width, height);
                Draw(from, {first, first + static_cast<std::ptrdiff_t>(count)}, picked.GetFirstTexture(), &whole);
                whole = picked;
            }
            return;
        }
        if (isBlended) {
            AttachTarget(target, storage);
            Blend(from, taps);
            return;
        }
        EnableState const blend(GL_BLEND);
        glBlendFuncSeparate(GL_ONE, GL_ONE, GL_ZERO, GL_ONE);
        glBlendEquationSeparate(equation, GL_FUNC_ADD);
        for (std::size_t i = 0; i < taps.size(); i += kMostTaps) {
            auto const first = taps.begin() + static_cast<std::ptrdiff_t>(i);
            auto const count = std::min(kMostTaps, taps.size() - i);
            Draw(from, {first, first + static_cast<std::ptrdiff_t>(count)}, target.FrameData().GetFirstTexture());
        }
        glBlendEquation(GL_FUNC_ADD);
    }

    /// Brings whole pixels to the target, with the alpha of `origin`.
    void Finish(Frame const& origin, DataVideoOGL& target) const {
        Pass(storage, "EffectErosion_alpha", kWithAlphaOf)
            .Texture("tex", 0, whole, TextureFilter::Nearest)
            .Texture("origin", 1, origin, TextureFilter::Nearest)
            .DrawTo(target);
    }

private:
    static constexpr std::size_t kMostTaps = 32;

    void Draw(Frame const& from, std::vector<Tap> const& taps, Texture const& target,
              Frame const* before = nullptr) const {
        constexpr std::size_t kRounding = 4;  // keeps the number of programs small
        std::size_t const count =
            taps.size() <= 2 ? taps.size() : (taps.size() + kRounding - 1) / kRounding * kRounding;
        std::vector<float> offsets;
        for (std::size_t i = 0; i < count; ++i) {
            Tap const& tap = taps[std::min(i, taps.size() - 1)];
            offsets.push_back(static_cast<float>(tap.x) / static_cast<float>(width));
            offsets.push_back(static_cast<float>(tap.y) / static_cast<float>(height));
        }
        Pass pass(
            storage,
            fmt::format("EffectErosion_{}{}_{}", isWhole ? (before != nullptr ? "more_" : "whole_") : "", function,
                        count),
            [&] { return isWhole ? MakePick(isDilation, count, before != nullptr) : MakeExtremum(function, count); });
        if (before != nullptr) {
            pass.Texture("before", 1, *before, TextureFilter::Nearest);
        }
        pass.Texture("tex", 0, from, TextureFilter::Nearest).Set("taps", offsets).DrawTo(target);
    }

    /// Combines the attached target's content with the extremum of the taps.
    void Blend(Frame const& from, std::vector<Tap> const& taps) const {
        EnableState const blend(GL_BLEND);
        glBlendFuncSeparate(GL_ONE, GL_ONE, GL_ZERO, GL_ONE);
        glBlendEquationSeparate(equation, GL_FUNC_ADD);
        for (Tap const& tap : taps) {
            Copy(from, tap);
        }
        glBlendEquation(GL_FUNC_ADD);
    }

    /// Draws the picture as this tap sees it.
    void Copy(Frame const& from, Tap const& tap) const {
        float const s = static_cast<float>(tap.x) / static_cast<float>(width);
        float const t = static_cast<float>(tap.y) / static_cast<float>(height);
        Quad quad(GL_STREAM_DRAW);
        quad.SetCorners(
            {s, t, -1.0F, -1.0F, 1.0F + s, t, 1.0F, -1.0F, 1.0F + s, 1.0F + t, 1.0F, 1.0F, s, 1.0F + t, -1.0F, 1.0F});
        from.Draw(quad, storage);
    }

    ShaderStorage const& storage;
    std::uint32_t width;
    std::uint32_t height;
    char const* function;
    GLenum equation;
    bool isDilation;
    bool isWhole;    ///< pixels are taken whole, by luma
    bool isBlended;  ///< taps are blended copies
    bool areFetchesDear;
    Frame whole;  ///< the whole pixels so far
};

void DrawSquare(Morphology& morphology, Frame const& picture, int radius, DataVideoOGL& target) {
    Frame const rows = morphology.Lengthen(picture, 0, radius, true);
    int half = 0;
    while (morphology.Widen(half) < radius) {
        half = morphology.Widen(half);
    }
    Frame const almost = morphology.Lengthen(rows, 0, half, false);
    std::vector<Tap> taps;
    for (int const offset : Spread(half, radius - half)) {
        taps.push_back({0, offset});
    }
    morphology.Accumulate(almost, taps, target);
}

/// A disc of pixels whose centres lie within `radius` + 1/2.
struct Disc {
    int radius;

    /// Half the length of the row `y`; no whole number lies between r^2 + r and (r + 1/2)^2.
    int HalfRow(int y) const { return static_cast<int>(std::sqrt(radius * (radius + 1.0) - y * y)); }
};

/// The rows (columns) of the disc that are more than `inner` pixels from its centre.
void DrawRows(Morphology& morphology, Frame const& picture, Disc const& disc, int inner, bool isAlongX,
              DataVideoOGL& target) {
    int const longest = disc.HalfRow(inner + 1);
    Frame stretches = picture;
    int half = 0;
    for (int next = disc.HalfRow(disc.radius); next <= longest; next = 2 * half) {
        stretches = morphology.Lengthen(stretches, half, next, isAlongX);
        half = next;
        std::vector<Tap> taps;
        auto const add = [&](int along, int across) {
            taps.push_back(isAlongX ? Tap{along, across} : Tap{across, along});
        };
        for (int across = -disc.radius; across <= disc.radius; ++across) {
            int const reach = disc.HalfRow(across) - half;
            if (std::abs(across) > inner && reach >= 0 && reach < half) {
                add(-reach, across);
                if (reach > 0) {
                    add(reach, across);
                }
            }
        }
        morphology.Accumulate(stretches, taps, target);
    }
}

void DrawDisc(Morphology& morphology, Frame const& picture, int radius, DataVideoOGL& target) {
    constexpr int kLargestOfRows = 24;  // up to here rows alone are cheaper
    Disc const disc{radius};
    if (radius <= kLargestOfRows) {
        DrawRows(morphology, picture, disc, -1, true, target);
        return;
    }
    // The square inside the disc makes the middle rows and columns unnecessary.
    int const inner = static_cast<int>(std::sqrt(radius * (radius + 1.0) / 2.0));
    DrawSquare(morphology, picture, inner, target);
    DrawRows(morphology, picture, disc, inner, true, target);
    DrawRows(morphology, picture, disc, inner, false, target);
}

}  // namespace

class EffectErosion final : public EffectWithSettings<Proc::SettingsEffectErosion> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        int const radius = GetRadius(src->GetFrameInfo());
        bool const isDisc = settings.shape == Proc::SettingsEffectErosion::Shape::Disc;
        bool const isDilation = settings.mode == Proc::SettingsEffectErosion::Mode::Dilation;
        Frame const target = dst->FrameData();
        if (radius > 0 && FiltersOpaqueOnCpu(src->FrameData(), target)) {
            Samples const from = ReadSamples(src->FrameData(), 0, storage);
            Samples const to = TakeSamples(target, 1, storage);
            (settings.channels ? FindExtremaOnProcessor : PickOnProcessor)(from, to, {radius, isDisc, isDilation},
                                                                           storage.Processor());
            WriteSamples(to, target, storage);
            return;
        }
        Frame const origin = src->FrameData().ConvertToRGBA(storage);
        Frame picture = origin;
        if (radius <= 0 || settings.channels) {
            DrawUnchanged(*dst, *src, storage);
            if (radius <= 0) {
                return;
            }
        }
        if (PixFmtDescription::Find(picture.GetPixFmt()).HasAlpha()) {
            Frame visible = Frame::Create();
            visible.Allocate(OpaqueFormat(picture.GetPixFmt()), picture.GetWidth(), picture.GetHeight());
            Pass(storage, "EffectErosion_visible", kVisible)
                .Texture("tex", 0, picture, TextureFilter::Nearest)
                .Set("neutral", glm::vec3(isDilation ? 0.0F : 1.0F))
                .DrawTo(visible);
            picture = visible;
        }
        Morphology morphology(storage, picture, isDilation, !settings.channels);
        (isDisc ? DrawDisc : DrawSquare)(morphology, picture, radius, *dst);
        if (!settings.channels) {
            morphology.Finish(origin, *dst);
        }
    }

    bool WorksInMemory(Conf::FrameInfo const& info) const override { return GetRadius(info) > 0; }

private:
    /// Pixels.
    int GetRadius(Conf::FrameInfo const& info) const {
        return static_cast<int>(std::lround(settings.size * std::max(info.width, info.height)));
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectErosion>();

}  // namespace Kaltor::Ogl

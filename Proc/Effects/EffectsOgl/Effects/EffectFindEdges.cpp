// Draws edges as lines: dark ones on white or bright ones on black, with their own colours if wanted. The strength of a
// line is the Scharr gradient (H. Scharr, "Optimale Operatoren in der Digitalen Bildverarbeitung", 2000) of the channel
// where it is largest, so that borders between colours of equal brightness are found too; 1 stands for a full step.
// Where the luma is low, channels count more: eyes see steps between dark colours as well as between bright ones.
//
// Before that the picture is averaged over `smoothing`, which takes out noise and texture finer than lines are.
//
// Lines are as wide in relation to the picture at every size: the operator's cells are 1/960 of the larger side wide,
// and where that is more than a pixel the picture is first averaged over them. Where it is less, gradients are weaker
// in proportion, like those of a larger picture that is reduced. Neighbours are weighted by alpha, so that transparent
// pixels make no lines. Alpha is kept.
//
// On software GL the processor's own threads draw the edges of opaque pictures (see ProcessorEdges.cpp).

#include "Proc/Effects/EffectsOgl/Effects/EffectFindEdges.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <fmt/format.h>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorEdges.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {
namespace {

// The mean over a stretch of pixels of which the two outermost count in part. With alpha the pass along x multiplies
// colours by alpha, the one along y divides them again.
std::string MakeMean(int whole, bool multiplies, bool divides) {
    std::string source = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 local_step;
uniform float part;     // how far the outermost pixels count
uniform float norm;
varying vec2 TexCoord0;
vec4 tap(float offset) {
    vec4 c = texture2D(tex, TexCoord0 + local_step * offset);
)glsl";
    source += multiplies ? "    c.rgb *= c.a;\n" : "";
    source += "    return c;\n}\nvoid main() {\n    vec4 sum = tap(0.0);\n";
    for (int i = 1; i <= whole; ++i) {
        source += fmt::format("    sum += tap({0}.0) + tap(-{0}.0);\n", i);
    }
    source += fmt::format("    sum = (sum + (tap({0}.0) + tap(-{0}.0)) * part) * norm;\n", whole + 1);
    source += divides ? "    sum.rgb /= sum.a > 0.0 ? sum.a : 1.0;\n" : "";
    return source + "    gl_FragColor = sum;\n}\n";
}

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;      // averaged over the operator's cells
uniform sampler2D origin;   // where its colour or its alpha shows
uniform vec2 cell;
uniform float scale;
uniform float strength;
uniform float threshold;
uniform float ground;
varying vec2 TexCoord0;
#ifdef IS_OPAQUE
vec3 tap(float x, float y) {
    return texture2D(tex, TexCoord0 + cell * vec2(x, y)).rgb;
}
#else
vec3 here;
vec3 tap(float x, float y) {
    vec4 c = texture2D(tex, TexCoord0 + cell * vec2(x, y));
    return (c.rgb - here) * c.a;
}
#endif
void main() {
#ifndef IS_OPAQUE
    here = texture2D(tex, TexCoord0).rgb;
#endif
    vec3 falling = tap(1.0, -1.0) - tap(-1.0, 1.0);
    vec3 rising = tap(1.0, 1.0) - tap(-1.0, -1.0);
    vec3 gx = (rising + falling) * 3.0 + (tap(1.0, 0.0) - tap(-1.0, 0.0)) * 10.0;
    vec3 gy = (rising - falling) * 3.0 + (tap(0.0, 1.0) - tap(0.0, -1.0)) * 10.0;
    vec3 squares = gx * gx + gy * gy;
    float luma = dot(texture2D(tex, TexCoord0).rgb, vec3(0.2126, 0.7152, 0.0722));
    float over = sqrt(max(squares.r, max(squares.g, squares.b))) * scale / (0.35 + 0.9 * luma) - threshold;
    // Rises slowly from the threshold on, so that noise close to it does not flicker, and saturates.
    float soft = over > 0.0 ? over * over / (over + 0.5 * threshold) : 0.0;
    float ink = 1.0 - exp(-10.0 * strength * soft);
#ifdef HAS_ORIGIN
    vec4 c = texture2D(origin, TexCoord0);
#else
    vec4 c = vec4(1.0);
#endif
#ifdef IS_OPAQUE
    c.a = 1.0;
#endif
    vec3 line = vec3(1.0 - ground);
#ifdef IS_COLORED
    // Bright colours are taken down on white and dark ones up on black: a line stays a line.
    float own = dot(c.rgb, vec3(0.2126, 0.7152, 0.0722));
    float peak = max(c.r, max(c.g, c.b));
    line = c.rgb * (ground > 0.5 ? min(1.0, 0.45 / max(own, 0.01)) : 1.0 / max(peak, 0.25));
#endif
    gl_FragColor = vec4(mix(vec3(ground), line, ink), c.a);
}
)glsl";

std::string MakeFragment(bool isOpaque, bool isColored) {
    return fmt::format("#version 120\n{}{}{}{}", isOpaque ? "#define IS_OPAQUE\n" : "",
                       isColored ? "#define IS_COLORED\n" : "", isOpaque && !isColored ? "" : "#define HAS_ORIGIN\n",
                       kFragment);
}

/// `picture` averaged over squares of `side` pixels, 1 or more.
Frame AverageOver(Frame const& picture, double side, ShaderStorage const& storage) {
    bool const hasAlpha = !picture.GetFirstTexture().IsOpaque();
    int const whole = static_cast<int>((side - 1.0) / 2.0);
    auto const draw = [&](Frame const& from, char const* axis, glm::vec2 const& step, bool multiplies, bool divides) {
        Frame to = Frame::Create();
        to.Allocate(picture.GetPixFmt(), picture.GetWidth(), picture.GetHeight());
        Pass(storage, fmt::format("EffectFindEdges_mean_{}_{}", hasAlpha ? axis : "opaque", whole),
             [&] { return MakeMean(whole, multiplies, divides); })
            .Texture("tex", 0, from, TextureFilter::Nearest)
            .Set("local_step", step)
            .Set("part", (side - 1.0) / 2.0 - whole)
            .Set("norm", 1.0 / side)
            .DrawTo(to);
        return to;
    };
    Frame const rows = draw(picture, "x", {1.0F / static_cast<float>(picture.GetWidth()), 0.0F}, hasAlpha, false);
    return draw(rows, "y", {0.0F, 1.0F / static_cast<float>(picture.GetHeight())}, false, hasAlpha);
}

/// The width of the operator's cells, pixels.
double FindCell(Conf::FrameInfo const& info) {
    constexpr double kCellsPerSide = 960.0;
    return std::max(info.width, info.height) / kCellsPerSide;
}

}  // namespace

bool EffectFindEdges::WorksInMemory(Conf::FrameInfo const& info) const {
    double const cell = std::max(FindCell(info), 1.0);
    return !settings.color && cell == std::floor(cell);
}

void EffectFindEdges::Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                                 OglCache*) const {
    constexpr double kLeastScale = 0.5;  // small pictures keep their lines
    constexpr double kWeights = 16.0;    // 3 + 10 + 3
    Conf::FrameInfo const& info = src->GetFrameInfo();
    double const wanted = FindCell(info);
    double const cell = std::max(wanted, 1.0);
    double const smooth = settings.smoothing * std::max(info.width, info.height);
    double const width = std::max(cell, smooth);
    bool const isAtTexels = cell == std::floor(cell);
    double const scale = std::clamp(wanted, kLeastScale, 1.0) / kWeights;
    Frame const target = dst->FrameData();
    if (isAtTexels && !settings.color && FiltersOpaqueOnCpu(src->FrameData(), target)) {
        Samples const from = ReadSamples(src->FrameData(), 0, storage);
        Samples const to = TakeSamples(target, 1, storage);
        DrawEdgesOnProcessor(
            from, to, {width, static_cast<int>(cell), scale, settings.strength, settings.threshold, settings.inverted},
            storage.Processor());
        WriteSamples(to, target, storage);
        return;
    }
    Frame const picture = src->FrameData().ConvertToRGBA(storage);
    Frame const averaged = width > 1.0 ? AverageOver(picture, width, storage) : picture;
    bool const isOpaque = averaged.GetFirstTexture().IsOpaque();
    bool const isColored = settings.color;
    Pass pass(storage, fmt::format("EffectFindEdges{}{}", isOpaque ? "_opaque" : "_alpha", isColored ? "_color" : ""),
              [&] { return MakeFragment(isOpaque, isColored); });
    if (!isOpaque || isColored) {
        pass.Texture("origin", 1, picture, TextureFilter::Nearest);
    }
    pass.Texture("tex", 0, averaged, isAtTexels ? TextureFilter::Nearest : TextureFilter::Linear)
        .Set("cell", static_cast<float>(cell / picture.GetWidth()), static_cast<float>(cell / picture.GetHeight()))
        .Set("scale", scale)
        .Set("strength", settings.strength)
        .Set("threshold", settings.threshold)
        .Set("ground", settings.inverted ? 1.0F : 0.0F)
        .DrawTo(*dst);
}

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectFindEdges>();

}  // namespace Kaltor::Ogl

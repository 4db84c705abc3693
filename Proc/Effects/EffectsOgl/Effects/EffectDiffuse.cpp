// Frosted glass: a wavy pane whose surface is rough. The waves, `cell` wide, displace the picture as a whole, smoothly,
// and catch a little light; the grains of the surface scatter it: each grain shows a random point of a disc around it,
// all points of the disc equally likely. Without waves the grains scatter alone. A grain is 1/1920 of the larger side.
// A pixel of a small picture covers several grains and is their mean (of premultiplied colours), so that the result
// looks like a reduced copy of the large picture. Beyond the border the picture is mirrored.
//
// Animated, the waves drift smoothly, those of either size another way, and the grains are new in each frame.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

// Two numbers of the noise texture added modulo 1 are as uniform as one; the second comes from a coarser, rotated
// lattice and does not repeat with the first.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D noise;
uniform vec2 reach;    // radius, in texture coordinates
uniform vec2 grains;   // along both sides
uniform vec2 next;     // from part to part of a pixel
uniform vec4 begin;
varying vec2 TexCoord0;

vec4 Grain(vec2 at) {
    vec2 cell = floor(at * grains) + vec2(0.5);
    vec2 aslant = vec2(0.737 * cell.x + 0.294 * cell.y, 0.739 * cell.y - 0.296 * cell.x);
    vec2 random = fract(texture2D(noise, (cell + begin.xy) / kNoiseSize).xy +
                       texture2D(noise, (aslant + begin.zw) / kNoiseSize).zw);
    float angle = random.x * 6.2831853;
    vec2 from = at + reach * (sqrt(random.y) * vec2(cos(angle), sin(angle)));
    return texture2D(tex, abs(mod(from + vec2(1.0), vec2(2.0)) - vec2(1.0)));
}

void main() {
)glsl";

std::string MakeGrains(int parts) {
    std::string source = GlslText{kGlslVersion, kNoiseSizeGlsl, kFragment}.Join();
    if (parts == 1) {
        return source + "    gl_FragColor = Grain(TexCoord0);\n}\n";
    }
    source += "    vec4 sum = vec4(0.0);\n    vec4 part;\n";
    double const middle = 0.5 * (parts - 1);
    for (int y = 0; y < parts; ++y) {
        for (int x = 0; x < parts; ++x) {
            source += fmt::format(
                "    part = Grain(TexCoord0 + next * vec2({:.1f}, {:.1f}));\n"
                "    sum += vec4(part.rgb * part.a, part.a);\n",
                x - middle, y - middle);
        }
    }
    return source +
           fmt::format("    gl_FragColor = vec4(sum.rgb / max(sum.a, 1.0e-4), sum.a / {}.0);\n}}\n", parts * parts);
}

// The slope of the pane is where it shows the picture from. Two sizes of waves, each smooth value noise.
constexpr char kWaves[] = R"glsl(
uniform sampler2D tex;    // premultiplied
uniform sampler2D noise;
uniform vec2 reach;       // radius, in texture coordinates
uniform vec2 waves;       // along both sides
uniform vec2 grains;      // along both sides
uniform vec2 begin;       // of the grains
uniform vec4 pane;        // where the waves begin
uniform vec4 drift;       // of both sizes of waves
uniform float roughness;  // part of the radius by which grains scatter
varying vec2 TexCoord0;

vec2 Slope(vec2 at, vec2 shift) {
    vec2 cell = floor(at);
    vec2 f = at - cell;
    f *= f * (vec2(3.0) - 2.0 * f);
    return texture2D(noise, (cell + f + shift + vec2(0.5)) / kNoiseSize).xy - vec2(0.5);
}

vec4 Grain(vec2 at, vec2 slope) {
    vec2 cell = floor(at * grains) + vec2(0.5);
    vec2 random = texture2D(noise, (cell + begin) / kNoiseSize).zw;
    float angle = random.x * 6.2831853;
    vec2 from = at + reach * (slope + roughness * sqrt(random.y) * vec2(cos(angle), sin(angle)));
    return texture2D(tex, abs(mod(from + vec2(1.0), vec2(2.0)) - vec2(1.0)));
}

void main() {
    vec2 at = (TexCoord0 - vec2(0.5)) * waves;
    vec2 aslant = vec2(0.8 * at.x - 0.6 * at.y, 0.6 * at.x + 0.8 * at.y) * 2.1;
    vec2 slope = 1.3 * Slope(at + drift.xy, pane.xy) + 0.6 * Slope(aslant + drift.zw, pane.zw);
    float light = 1.0 + 0.09 * dot(slope, vec2(0.6, -0.8));
)glsl";

std::string MakeWaves(int parts) {
    std::string source = GlslText{kGlslVersion, kNoiseSizeGlsl, kStraightAlpha, kWaves}.Join();
    source += parts > 1 ? "    vec4 sum = vec4(0.0);\n" : "    vec4 sum = Grain(TexCoord0, slope);\n";
    double const middle = 0.5 * (parts - 1);
    for (int i = 0; parts > 1 && i < parts * parts; ++i) {
        source += fmt::format("    sum += Grain(TexCoord0 + vec2({:.1f}, {:.1f}) * next, slope);\n", i % parts - middle,
                              i / parts - middle);  // NOLINT(bugprone-integer-division)
    }
    source += fmt::format("    sum /= {}.0;\n    gl_FragColor = Unmultiply(vec4(sum.rgb * light, sum.a));\n}}\n",
                          parts * parts);
    return parts > 1 ? source.insert(source.find("varying"), "uniform vec2 next;     // from part to part of a pixel\n")
                     : source;
}

constexpr double kGrainRate = 60.0;
constexpr double kGrains = 1920.0;
constexpr int kMostParts = 4;

}  // namespace

class EffectDiffuse final : public EffectWithSettings<Proc::SettingsEffectDiffuse> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.size <= 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::dvec2 const size(picture.GetWidth(), picture.GetHeight());
        double const larger = std::max(size.x, size.y);
        int const parts = std::clamp(static_cast<int>(std::ceil(kGrains / larger)), 1, kMostParts);
        std::uint32_t const frame = settings.animated ? GetFilmFrame(time, kGrainRate) : 0U;
        auto const begin = [](std::uint32_t film, std::uint32_t coordinate) {
            return std::floor(HashToUnit(film, coordinate, 0xD1FFU) * kNoiseSize);
        };
        bool const hasWaves = settings.cell > 0.0;
        std::optional<Premultiplied> shown;
        if (hasWaves) {
            shown.emplace(picture, storage);
        }
        Pass pass(storage, fmt::format("EffectDiffuse_{}{}", hasWaves ? "waves_" : "", parts),
                  [&] { return hasWaves ? MakeWaves(parts) : MakeGrains(parts); });
        if (parts > 1) {
            pass.Set("next", glm::vec2(1.0 / (size * static_cast<double>(parts))));
        }
        pass.Set("reach", glm::vec2(settings.size * larger / size)).Set("grains", glm::vec2(size * (kGrains / larger)));
        if (!hasWaves) {
            pass.Set("begin", glm::vec4(begin(frame, 0), begin(frame, 1), begin(frame, 2), begin(frame, 3)))
                .Texture("tex", 0, picture, TextureFilter::Nearest)
                .Texture("noise", 1, storage.Noise(), TextureFilter::Nearest)
                .DrawTo(*dst);
            return;
        }
        constexpr double kRoughness = 0.4;
        // Waves per second, within the noise's period.
        auto const drift = [&](double speed) {
            return settings.animated ? static_cast<float>(std::fmod(time * speed, static_cast<double>(kNoiseSize)))
                                     : 0.0F;
        };
        pass.Set("pane", glm::vec4(begin(0, 0), begin(0, 1), begin(0, 2), begin(0, 3)))
            .Set("begin", glm::vec2(begin(frame, 2), begin(frame, 3)))
            .Set("drift", glm::vec4(drift(0.7), drift(-0.5), drift(-1.1), drift(0.6)))
            .Texture("tex", 0, shown->Get())
            .Texture("noise", 1, storage.Noise())
            .Set("waves", glm::vec2(size / (settings.cell * larger)))
            .Set("roughness", kRoughness)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectDiffuse>();

}  // namespace Kaltor::Ogl

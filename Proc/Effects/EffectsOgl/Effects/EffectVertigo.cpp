// Dizziness: the picture sways a little, and ghosts of it, turned and enlarged, circle around it, each where the one
// before it was a moment ago. Linear light is added up, not encoded values, so that bright things leave trails as in a
// long exposure. The ghosts are tinted a little, from red for the first one to blue for the last one. Their shares of
// each channel add up so that the picture's colour is kept where they agree. Beyond its border a ghost is reflected;
// the picture itself is enlarged just enough that its border does not show.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Proc/Effects/EffectsOgl/Effects/CubicView.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

/// The program for this many copies; the first one is the picture. Light is the square of a colour. With alpha, colours
/// come premultiplied.
std::string MakeFragment(int copies, bool isOpaque) {
    std::string source = fmt::format(
        R"glsl(#version 120
uniform sampler2D tex;
uniform float place[{}];
uniform float share[{}];
varying vec2 TexCoord0;

vec4 Light(vec4 s, vec2 t) {{
    vec2 at = vec2(dot(s.xy, TexCoord0), dot(s.zw, TexCoord0)) + t;
    vec4 color = texture2D(tex, vec2(1.0) - abs(vec2(1.0) - abs(at)));
    return {};
}}

void main() {{
    vec4 sum = vec4(0.0);
)glsl",
        6 * copies, 3 * copies,
        isOpaque ? "vec4(color.rgb * color.rgb, 1.0)" : "vec4(color.rgb * color.rgb / max(color.a, 1.0e-6), color.a)");
    for (int i = 0; i < copies; ++i) {
        int const p = 6 * i;
        int const w = 3 * i;
        source += fmt::format(
            "    sum += Light(vec4(place[{}], place[{}], place[{}], place[{}]), "
            "vec2(place[{}], place[{}]))\n"
            "         * vec4(share[{}], share[{}], share[{}], share[{}]);\n",
            p, p + 1, p + 2, p + 3, p + 4, p + 5, w, w + 1, w + 2, w + 1);
    }
    return source + (isOpaque ? "    gl_FragColor = vec4(sqrt(sum.rgb), 1.0);\n}\n"
                              : "    gl_FragColor = vec4(sqrt(sum.rgb / max(sum.a, 1.0e-6)), sum.a);\n}\n");
}

/// The program's parameters for the copies, one after the other: their places, and their shares of red, green, blue.
struct Copies {
    std::vector<float> places;
    std::vector<float> shares;
};

/// Lengths are fractions of the larger side, angles radians; both grow with the strength.
Copies MakeCopies(double aspect, double phase, Proc::SettingsEffectVertigo const& settings) {
    double const strength = settings.strength;
    int const ghosts = settings.ghosts;
    constexpr double kReach = 0.07;
    constexpr double kTurn = 0.1;
    constexpr double kOwn = 0.25;                         // the picture's part of these values
    constexpr double kNearest = 0.5;                      // the first ghost's
    constexpr double kLag = 0.55;                         // from ghost to ghost, along the circle
    double const mostGrowth = 0.1 + 0.5 * settings.zoom;  // of the last ghost
    constexpr double kTurnRhythm = 0.618;  // relative to the circle's: it returns to the same place at another angle
    constexpr double kGrowthRhythm = 0.45;
    constexpr double kWeight = 2.4;  // of all ghosts, relative to the picture's
    constexpr double kFallOff = 0.85;
    double const tint = ghosts > 1 ? 0.35 + 0.6 * settings.chroma : 0.0;

    double const least = HideBorders(aspect, kOwn * kReach * strength, kOwn * kTurn * strength);
    Copies copies;
    std::array<double, 3> sum{};
    for (int i = 0; i <= ghosts; ++i) {
        double const age = static_cast<double>(i) / ghosts;
        double const at = phase - kLag * i;
        double const far = strength * (i == 0 ? kOwn : kNearest + (1.0 - kNearest) * age);
        glm::dvec2 const shift = kReach * far * glm::dvec2(std::cos(at), std::sin(at));
        double const growth = mostGrowth * strength * age * (0.6 + 0.4 * std::sin(kGrowthRhythm * at));
        auto const [matrix, origin] =
            Move(aspect, shift, kTurn * far * std::sin(kTurnRhythm * at), least * (1.0 + growth));
        copies.places.insert(copies.places.end(),
                             {matrix[0].x, matrix[1].x, matrix[0].y, matrix[1].y, origin.x, origin.y});

        double const weight = i == 0 ? 1.0 : strength * kWeight / ghosts * std::pow(kFallOff, i);
        double const warm = i == 0 ? 0.0 : tint * (1.0 - 2.0 * (i - 1) / std::max(ghosts - 1, 1));
        double const green = i == 0 ? 0.0 : 0.5 * tint - std::abs(warm);
        std::array const weights{weight * (1.0 + warm), weight * (1.0 + green), weight * (1.0 - warm)};
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] += weights[c];
            copies.shares.push_back(static_cast<float>(weights[c]));
        }
    }
    for (std::size_t i = 0; i < copies.shares.size(); ++i) {
        copies.shares[i] /= static_cast<float>(sum[i % 3]);
    }
    return copies;
}

}  // namespace

class EffectVertigo final : public EffectWithSettings<Proc::SettingsEffectVertigo> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const strength = settings.strength;
        if (strength == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Premultiplied const picture(src->FrameData().ConvertToRGBA(storage), storage);
        bool const isOpaque = picture.Get().IsOpaque();
        int const ghosts = settings.ghosts;
        double const phase = 2.0 * std::numbers::pi * settings.speed * time;
        Copies const copies = MakeCopies(GetDisplayAspect(src->GetFrameInfo()), phase, settings);
        Pass(storage, fmt::format("EffectVertigo_{}_{}", isOpaque ? "opaque" : "alpha", ghosts),
             [&] { return MakeFragment(ghosts + 1, isOpaque); })
            .Texture("tex", 0, picture.Get())
            .Set("place", copies.places)
            .Set("share", copies.shares)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectVertigo>();

}  // namespace Kaltor::Ogl

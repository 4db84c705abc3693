// Dizziness: the picture sways a little, and ghosts of it, turned and enlarged, circle around it, each where the one
// before it was a moment ago. Linear light is added up, not encoded values, so that bright things leave trails as in a
// long exposure. The ghosts are tinted a little, from red for the first one to blue for the last one. Their shares of
// each channel add up so that the picture's colour is kept where they agree. Beyond its border a ghost is reflected;
// the picture itself is enlarged just enough that its border does not show.
//
// Ghosts are out of focus: sharp ones would look like several pictures, not like one that moves. They show a small
// blurred copy of the picture's light.

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Ogl/TexturePool.h"
#include "Proc/Effects/EffectsOgl/Effects/CubicView.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

/// Light is the square of a colour. With alpha, colours come premultiplied.
constexpr char kLight[] = R"glsl(
uniform sampler2D tex;
vec4 Light(vec2 at) {
    vec4 color = texture2D(tex, at);
#ifdef IS_OPAQUE
    return vec4(color.rgb * color.rgb, 1.0);
#else
    return vec4(color.rgb * color.rgb / max(color.a, 1.0e-6), color.a);
#endif
}
)glsl";

// A Gaussian along one axis. Its sigma is 1.89 steps; with what reduction and enlargement add, 1.95.
constexpr char kSoften[] = R"glsl(
uniform vec2 local_step;
varying vec2 TexCoord0;
void main() {
    vec4 sum = READ(TexCoord0);
    for (int i = 1; i <= 5; ++i) {
        vec2 off = local_step * float(i);
        sum += exp(-0.14 * float(i * i)) * (READ(TexCoord0 - off) + READ(TexCoord0 + off));
    }
    gl_FragColor = sum / 4.726;
}
)glsl";
constexpr double kSoftened = 1.95;

/// The program for this many copies; the first one is the picture.
std::string MakeFragment(int copies, bool isOpaque, bool areSoft) {
    std::string source = fmt::format(
        R"glsl({}{}{}{}
uniform float place[{}];
uniform float share[{}];
varying vec2 TexCoord0;

vec2 Place(vec4 s, vec2 t) {{
    vec2 at = vec2(dot(s.xy, TexCoord0), dot(s.zw, TexCoord0)) + t;
    return vec2(1.0) - abs(vec2(1.0) - abs(at));
}}

void main() {{
    vec4 sum = vec4(0.0);
)glsl",
        kGlslVersion, isOpaque ? "#define IS_OPAQUE\n" : "", kLight,
        areSoft ? "uniform sampler2D soft;   // light\n#define GHOST(at) texture2D(soft, at)\n"
                : "#define GHOST(at) Light(at)\n",
        6 * copies, 3 * copies);
    for (int i = 0; i < copies; ++i) {
        int const p = 6 * i;
        int const w = 3 * i;
        source += fmt::format(
            "    sum += {}(Place(vec4(place[{}], place[{}], place[{}], place[{}]), "
            "vec2(place[{}], place[{}])))\n"
            "         * vec4(share[{}], share[{}], share[{}], share[{}]);\n",
            i == 0 ? "Light" : "GHOST", p, p + 1, p + 2, p + 3, p + 4, p + 5, w, w + 1, w + 2, w + 1);
    }
    return source + (isOpaque ? "    gl_FragColor = vec4(sqrt(sum.rgb), 1.0);\n}\n"
                              : "    gl_FragColor = vec4(sqrt(sum.rgb / max(sum.a, 1.0e-6)), sum.a);\n}\n");
}

/// The picture's light in a small copy, blurred with a sigma that is this part of the larger side.
PooledTexture Soften(Frame const& picture, double sigma, ShaderStorage const& storage) {
    double const larger = std::max(picture.GetWidth(), picture.GetHeight());
    double const scale = std::min(kSoftened / (sigma * larger), 1.0);
    auto const count = [scale](std::uint32_t pixels) {
        return static_cast<std::uint32_t>(std::max(std::lround(scale * pixels), 1L));
    };
    Frame const reduced =
        scale < 1.0 ? MakeScaled(picture, count(picture.GetWidth()), count(picture.GetHeight()), storage) : picture;
    Premultiplied const small(reduced, storage);
    TextureForm const form{reduced.GetWidth(), reduced.GetHeight(), TexelFormat::Rgba16f, false};
    glm::dvec2 const along =
        glm::dvec2(sigma * larger / kSoftened) / glm::dvec2(picture.GetWidth(), picture.GetHeight());
    char const* const opaque = small.Get().IsOpaque() ? "#define IS_OPAQUE\n" : "";
    PooledTexture const rows(form);
    Pass(storage, small.Get().IsOpaque() ? "EffectVertigo_rows_opaque" : "EffectVertigo_rows_alpha",
         {kGlslVersion, opaque, kLight, "#define READ Light\n", kSoften})
        .Texture("tex", 0, small.Get())
        .Set("local_step", static_cast<float>(along.x), 0.0F)
        .DrawTo(rows.Get());
    PooledTexture soft(form);
    Pass(storage, "EffectVertigo_columns",
         {kGlslVersion, "uniform sampler2D tex;\n#define READ(at) texture2D(tex, at)\n", kSoften})
        .Texture("tex", 0, rows.Get())
        .Set("local_step", 0.0F, static_cast<float>(along.y))
        .DrawTo(soft.Get());
    return soft;
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
        Frame const frame = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const picture(frame, storage);
        bool const isOpaque = picture.Get().IsOpaque();
        int const ghosts = settings.ghosts;
        double const phase = 2.0 * std::numbers::pi * settings.speed * time;
        Copies const copies = MakeCopies(GetDisplayAspect(src->GetFrameInfo()), phase, settings);
        bool const areSoft = settings.blur > 0.0;
        std::optional<PooledTexture> soft;
        if (areSoft) {
            soft.emplace(Soften(frame, settings.blur, storage));
        }
        Pass pass(storage,
                  fmt::format("EffectVertigo_{}{}_{}", isOpaque ? "opaque" : "alpha", areSoft ? "_soft" : "", ghosts),
                  [&] { return MakeFragment(ghosts + 1, isOpaque, areSoft); });
        if (areSoft) {
            pass.Texture("soft", 1, soft->Get());
        }
        pass.Texture("tex", 0, picture.Get()).Set("place", copies.places).Set("share", copies.shares).DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectVertigo>();

}  // namespace Kaltor::Ogl

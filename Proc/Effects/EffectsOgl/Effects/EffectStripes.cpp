// Stripes lie over the picture. They run along `angle`, `count` of them across the diagonal, and drift at a right angle
// to that, counter-clockwise. A stripe is colour that is blended with the picture, or glass: that displaces what is
// seen through it like a lens, or blurs it, and is tinted by the colour. Stripes differ in width and strength by their
// number, which comes round after `kPeriod` of them, and so does the drift. The picture's alpha is kept: stripes colour
// only the visible parts; glass shows the picture's own alpha from elsewhere.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

// The profile of a stripe with smoothstep edges has a closed integral, so that each pixel's coverage is the profile's
// mean over the pixel: very narrow stripes become an even tone instead of moire.
constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;  // glass: premultiplied
uniform vec3 place;     // stripes: by s, by t, at the lower left
uniform float fill;
uniform float spread;   // by how much the widths of stripes differ
uniform float weaker;   // by how much the weakest stripe is
uniform float softness;
uniform float gradient;
uniform float pixel;    // width of a pixel
uniform vec4 color;
varying vec2 TexCoord0;

const float kPeriod = 55.0;
// Steps of the golden section, so that neighbours differ; with a period of 55 each of the 55 values comes once.
float Vary(float number, float step) {
    return (mod(number * step + 0.5, kPeriod) + 0.5) / kPeriod;
}
// Of the stripe with this number: width, width of its edge, strength.
vec3 Find(float number) {
    float width = fill + spread * (2.0 * Vary(number, 34.0) - 1.0);
    return vec3(width, max(softness * min(width, 1.0 - width), 1.0e-6), 1.0 - weaker * Vary(number, 13.0));
}
// How much of a stripe lies before the place `v` from its middle.
float Before(float v, vec3 stripe) {
    float d = abs(v);
    float inner = 0.5 * (stripe.x - stripe.y);
    float x = clamp((d - inner) / stripe.y, 0.0, 1.0);
    return 0.5 * stripe.x + sign(v) * (min(d, inner) + stripe.y * (x - x * x * x * (1.0 - 0.5 * x)));
}
float Cover(float from, float to) {
    float first = floor(from + 0.5);
    float last = floor(to + 0.5);
    vec3 low = Find(first);
    vec3 high = Find(last);
    if (first == last) {
        return low.z * (Before(to - first, low) - Before(from - first, low));
    }
    return low.z * (low.x - Before(from - first, low)) + high.z * Before(to - last, high) +
           (last - first - 1.0) * fill * (1.0 - 0.5 * weaker);
}

#ifdef IS_GLASS
uniform vec2 across;     // texture coordinates: the width of a stripe, times the depth
uniform sampler2D soft;  // the picture blurred, premultiplied
#endif

vec3 Blend(vec3 base, vec3 top) {
#if BLEND == 1
    return base * top;
#elif BLEND == 2
    return base + top - base * top;
#elif BLEND == 3
    return mix(2.0 * base * top, vec3(1.0) - 2.0 * (vec3(1.0) - base) * (vec3(1.0) - top), step(vec3(0.5), base));
#elif BLEND == 4
    // As the W3C's "Compositing and Blending" has it.
    vec3 dark = base - (vec3(1.0) - 2.0 * top) * base * (vec3(1.0) - base);
    vec3 root = mix(((16.0 * base - vec3(12.0)) * base + vec3(4.0)) * base, sqrt(base), step(vec3(0.25), base));
    return mix(dark, base + (2.0 * top - vec3(1.0)) * (root - base), step(vec3(0.5), top));
#elif BLEND == 5
    return abs(top - base);  // white inverts
#else
    return top;
#endif
}

void main() {
    float u = dot(place, vec3(TexCoord0, 1.0));
    float coverage = clamp(Cover(u - 0.5 * pixel, u + 0.5 * pixel) / pixel, 0.0, 1.0);
    float number = floor(u + 0.5);
    float width = Find(number).x;
    float within = clamp(0.5 + (u - number) / width, 0.0, 1.0);
    float fade = mix(1.0 - gradient * within, 1.0 - 0.5 * gradient, clamp(pixel / width, 0.0, 1.0));
#ifdef IS_GLASS
    vec4 base = texture2D(tex, TexCoord0);
    vec3 tint = mix(vec3(1.0), color.rgb, color.a);
#if BLEND == 6
    // A cylinder lens: what is seen through it is turned round towards its edges.
    float bend = 2.0 * within - 1.0;
    vec2 at = TexCoord0 - across * (bend * (0.6 + 0.9 * bend * bend) * width);
    vec4 seen = texture2D(tex, vec2(1.0) - abs(vec2(1.0) - abs(at)));
    seen.rgb *= 1.0 + 0.5 * gradient * (0.5 - within);  // lit from one side
    fade = 1.0;
#else
    vec4 seen = texture2D(soft, TexCoord0);
#endif
    seen.rgb *= tint;
    gl_FragColor = Unmultiply(mix(base, seen, coverage * fade));
#else
    vec4 picture = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(mix(picture.rgb, Blend(picture.rgb, color.rgb), coverage * fade * color.a), picture.a);
#endif
}
)glsl";

constexpr char kStripesCopy[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = texture2D(tex, TexCoord0);
}
)glsl";

}  // namespace

class EffectStripes final : public EffectWithSettings<Proc::SettingsEffectStripes> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        using Blend = Proc::SettingsEffectStripes::Blend;
        double const fill = std::clamp(settings.fill, 0.0, 1.0);
        bool const isBlurred = settings.blend == Blend::Blur;
        bool const isGlass = isBlurred || settings.blend == Blend::Displace;
        if (fill == 0.0 || (!isGlass && settings.color.alpha == 0)) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        // Stripes for each unit of the picture's height as it is shown, along its width and its height.
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        double const density = settings.count / std::hypot(aspect, 1.0);
        double const angle = settings.angle * std::numbers::pi / 180.0;
        double const byS = -std::sin(angle) * aspect * density;
        double const byT = std::cos(angle) * density;
        constexpr double kPeriod = 55.0;
        double const drift = std::fmod(settings.speed * time, kPeriod);
        // As wide as the box that has the variance of the pixel's projection.
        double const pixel = std::hypot(byS / picture.GetWidth(), byT / picture.GetHeight());
        constexpr double kMostSpread = 0.8;
        constexpr double kWeakest = 0.7;
        Src const soft = isBlurred ? Blur(*dst, *src, picture, storage) : Src();
        std::optional<Premultiplied> seen;
        if (isGlass) {
            seen.emplace(picture, storage);
        }
        auto const mode = static_cast<int>(settings.blend);
        Pass pass(storage, fmt::format("EffectStripes_{}", mode), [&] {
            return GlslText{kGlslVersion, isGlass ? kStraightAlpha : ""}.Join() +
                   fmt::format("#define BLEND {}\n{}", mode, isGlass ? "#define IS_GLASS\n" : "") + kFragment;
        });
        pass.Set("place", glm::vec3(byS, byT, -0.5 * (byS + byT) - drift))
            .Set("fill", fill)
            .Set("spread", settings.variation * kMostSpread * std::min(fill, 1.0 - fill))
            .Set("weaker", settings.variation * kWeakest)
            .Set("softness", std::clamp(settings.softness, 0.0, 1.0))
            .Set("gradient", settings.gradient)
            .Set("pixel", pixel)
            .Set("color", settings.color);
        if (!isGlass) {
            pass.Texture("tex", 0, picture, TextureFilter::Nearest).DrawTo(*dst);
            return;
        }
        pass.Texture("tex", 0, seen->Get());
        if (isBlurred) {
            pass.Texture("soft", 1, soft->FrameData(), TextureFilter::Nearest).DrawTo(*dst);
            return;
        }
        glm::dvec2 const across(-std::sin(angle) / aspect, std::cos(angle));
        pass.Set("across", glm::vec2(across * (settings.depth / density))).DrawTo(*dst);
    }

private:
    /// The picture blurred, its colours multiplied by alpha.
    Src Blur(DataVideoOGL const& dst, DataVideoOGL const& src, Frame const& picture,
             ShaderStorage const& storage) const {
        constexpr double kMostBlur = 0.04;
        Premultiplied const premultiplied(picture, storage);
        Src const sharp = DataVideoOGL::Create(dst.GetPixFmt(), src.GetFrameInfo());
        Pass(storage, "EffectStripes_copy", kStripesCopy)
            .Texture("tex", 0, premultiplied.Get(), TextureFilter::Nearest)
            .DrawTo(*sharp);
        Src soft = DataVideoOGL::Create(dst.GetPixFmt(), src.GetFrameInfo());
        EffectBlur(settings.depth * kMostBlur).Processing(soft.get(), sharp, 0.0, 0.0, storage, nullptr);
        return soft;
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectStripes>();

}  // namespace Kaltor::Ogl

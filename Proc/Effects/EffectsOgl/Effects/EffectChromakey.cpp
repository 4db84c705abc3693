// Makes a key colour transparent. The distance from the key in the plane of chroma (Cb, Cr after ITU-R BT.709) decides,
// so that shadows and folds of the screen become transparent as well: up to `tolerance` a pixel is transparent, from
// `tolerance` + `softness` on it stays.
//
// A pixel of the soft edge is a mix of the key and the foreground. The foreground is mostly nearer to grey than to the
// key, so the part of its chroma in the key's direction shows how much of the key is in the pixel. That much of the key
// is removed, chroma and luma, so that no fringe is left. From opaque pixels `spill` times that much of the key's
// chroma is removed: the screen's reflection loses its colour and keeps its luma. Alpha is multiplied.
//
// One pixel alone cannot tell a thin veil from an opaque green grey. Where the screen is near, its neighbours decide:
// a small map holds the screen's own colour (lit unevenly, as screens are), another the foreground's from outside of
// the edge, and both are spread into the edge by means over ever larger surroundings. The pixel is a point between the
// two colours, which gives its alpha, and its own colour is what is left without the screen's share. Chroma counts more
// there than luma, by which fabric and skin vary.

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec3 key;
uniform vec2 key_chroma;
uniform float key_luma;
uniform float lean;         // 1 / (key_chroma * key_chroma), 0 for a grey key
uniform float tolerance;
uniform float slope;        // 1 / softness
uniform float spill;
varying vec2 TexCoord0;
const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float luma = dot(origin.rgb, kLuma);
    vec2 chroma = (origin.br - vec2(luma)) / vec2(1.8556, 1.5748);
    float stays = clamp((length(chroma - key_chroma) - tolerance) * slope, 0.0, 1.0);
    stays *= stays * (3.0 - 2.0 * stays);
    float share = clamp(dot(chroma, key_chroma) * lean, 0.0, 1.0);
    vec3 clean = origin.rgb - (key - vec3(key_luma)) * (share * mix(1.0, spill, stays));
    float mixed = min((1.0 - stays) * share, 0.9);
    clean += vec3((luma - key_luma) * mixed / (1.0 - mixed));
    gl_FragColor = vec4(clean, origin.a * stays);
}
)glsl";

// Means of a map's texel, from SAMPLES x SAMPLES places in it: of all the picture, or of what shows the bare screen
// with its share in alpha. That is what is near the key, and its shadows, which have its hue.
constexpr char kMeans[] = R"glsl(
uniform sampler2D tex;
uniform vec2 extent;   // of a texel of the map
varying vec2 TexCoord0;
#ifdef SCREEN
uniform vec2 key_chroma;
uniform float key_luma;
uniform float tolerance;
float Counts(vec4 origin) {
    float luma = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    vec2 chroma = (origin.br - vec2(luma)) / vec2(1.8556, 1.5748);
    float lit = clamp(luma / key_luma, 0.45, 1.4);
    float off = min(length(chroma - key_chroma) - 0.5 * tolerance, length(chroma / lit - key_chroma) - 0.3 * tolerance);
    return off < 0.0 && origin.a > 0.5 ? 1.0 : 0.0;
}
#else
float Counts(vec4 origin) {
    return origin.a;
}
#endif
void main() {
    vec4 sum = vec4(0.0);
    for (int y = 0; y < SAMPLES; ++y) {
        for (int x = 0; x < SAMPLES; ++x) {
            vec2 place = (vec2(float(x), float(y)) + vec2(0.5)) / float(SAMPLES) - vec2(0.5);
            vec4 origin = texture2D(tex, TexCoord0 + place * extent);
            float counts = Counts(origin);
            sum += vec4(origin.rgb * counts, counts);
        }
    }
    gl_FragColor = vec4(sum.rgb / max(sum.a, 1.0e-4), sum.a / float(SAMPLES * SAMPLES));
}
)glsl";

// The most of the screen within a few texels, in the maps.
constexpr char kNear[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 reach;
varying vec2 TexCoord0;
void main() {
    float most = 0.0;
    for (int i = -3; i <= 3; ++i) {
        most = max(most, texture2D(tex, TexCoord0 + reach * (float(i) / 3.0)).a);
    }
    gl_FragColor = vec4(most);
}
)glsl";

// What counts in a map, premultiplied: the screen's texels, or the others' that are not near it.
constexpr char kSure[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D near;
uniform float is_screen;
varying vec2 TexCoord0;
void main() {
    vec4 mean = texture2D(tex, TexCoord0);
    float sure = is_screen > 0.5 ? mean.a * mean.a : mean.a * (1.0 - smoothstep(0.0, 0.02, texture2D(near, TexCoord0).a));
    gl_FragColor = vec4(mean.rgb, 1.0) * sure;
}
)glsl";

constexpr char kSpread[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 local_step;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(tex, TexCoord0);
    for (int i = 1; i <= 4; ++i) {
        float weight = exp(-0.14 * float(i * i));
        sum += (texture2D(tex, TexCoord0 + local_step * float(i)) + texture2D(tex, TexCoord0 - local_step * float(i))) * weight;
    }
    gl_FragColor = sum / 4.665;
}
)glsl";

// The nearest surroundings that have anything sure decide.
constexpr char kGather[] = R"glsl(#version 120
uniform sampler2D fine;
uniform sampler2D middle;
uniform sampler2D coarse;
uniform vec4 nothing;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(fine, TexCoord0) + 0.03 * texture2D(middle, TexCoord0) + 0.001 * texture2D(coarse, TexCoord0) +
               1.0e-6 * nothing;
    gl_FragColor = vec4(sum.rgb / sum.a, clamp(sum.a * 1000.0, 0.0, 1.0));
}
)glsl";

constexpr char kUnmix[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D near;
uniform sampler2D screen;
uniform sampler2D front;
uniform vec3 key;
uniform vec2 key_chroma;
uniform float key_luma;
uniform float lean;
uniform float tolerance;
uniform float slope;
uniform float spill;
varying vec2 TexCoord0;
const vec3 kLuma = vec3(0.2126, 0.7152, 0.0722);
vec3 Split(vec3 c) {
    float luma = dot(c, kLuma);
    return vec3(0.3 * luma, (c.br - vec2(luma)) / vec2(1.8556, 1.5748));
}
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec3 split = Split(origin.rgb);
    float stays = clamp((length(split.yz - key_chroma) - tolerance) * slope, 0.0, 1.0);
    stays *= stays * (3.0 - 2.0 * stays);
    float share = clamp(dot(split.yz, key_chroma) * lean, 0.0, 1.0);
    vec3 clean = origin.rgb - (key - vec3(key_luma)) * (share * mix(1.0, spill, stays));
    float mixed = min((1.0 - stays) * share, 0.9);
    clean += vec3((split.x / 0.3 - key_luma) * mixed / (1.0 - mixed));

    float band = smoothstep(0.0, 0.02, texture2D(near, TexCoord0).a);
    vec3 from = texture2D(screen, TexCoord0).rgb;
    vec3 to = texture2D(front, TexCoord0).rgb;
    vec3 way = Split(to) - Split(from);
    float alpha = clamp(dot(split - Split(from), way) / max(dot(way, way), 1.0e-3), 0.0, 1.0);
    alpha = clamp((alpha - 0.03) / 0.94, 0.0, 1.0);
    vec3 own = clamp((origin.rgb - from * (1.0 - alpha)) / max(alpha, 0.05), vec3(0.0), max(origin.rgb, vec3(1.0)));
    own = mix(to, own, smoothstep(0.4, 0.97, alpha));
    vec3 parts = Split(own);
    own -= (key - vec3(key_luma)) * (clamp(dot(parts.yz, key_chroma) * lean, 0.0, 1.0) * spill);
    gl_FragColor = vec4(mix(clean, own, band), origin.a * mix(stays, alpha, band));
}
)glsl";

}  // namespace

class EffectChromakey final : public EffectWithSettings<Proc::SettingsEffectChromakey> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        constexpr double kByte = 255.0;
        constexpr double kLeastSoftness = 1e-4;  // less than a step of 8-bit chroma
        constexpr double kLeastChroma = 1e-4;
        Proc::Color const& color = settings.color;
        glm::dvec3 const key(color.red / kByte, color.green / kByte, color.blue / kByte);
        double const luma = 0.2126 * key.r + 0.7152 * key.g + 0.0722 * key.b;
        glm::dvec2 const chroma((key.b - luma) / 1.8556, (key.r - luma) / 1.5748);
        double const square = glm::dot(chroma, chroma);
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Key const found{key, chroma, luma, square > kLeastChroma ? 1.0 / square : 0.0};
        auto const prepare = [&](Pass& pass) {
            pass.Texture("tex", 0, picture, TextureFilter::Nearest)
                .Set("key", glm::vec3(key))
                .Set("key_chroma", glm::vec2(chroma))
                .Set("key_luma", luma)
                .Set("lean", found.lean)
                .Set("tolerance", settings.tolerance)
                .Set("slope", 1.0 / std::max(settings.softness, kLeastSoftness))
                .Set("spill", settings.spill);
        };
        // A grey key has no hue to find its shadows by.
        if (settings.unmix && settings.tolerance > 0.0 && found.lean > 0.0) {
            Maps const maps(picture, found, settings.tolerance, storage);
            Pass pass(storage, "EffectChromakey_unmix", kUnmix);
            prepare(pass);
            pass.Texture("near", 1, maps.near.Get())
                .Texture("screen", 2, maps.screen.Get())
                .Texture("front", 3, maps.front.Get())
                .DrawTo(*dst);
            return;
        }
        Pass pass(storage, "EffectChromakey", kFragment);
        prepare(pass);
        pass.DrawTo(*dst);
    }

    PixFmt GetOutputFormat(PixFmt srcFormat) const override { return AlphaFormat(srcFormat); }

private:
    struct Key {
        glm::dvec3 color;
        glm::dvec2 chroma;
        double luma, lean;
    };

    /// The colours on both sides of the edges, in small pictures.
    struct Maps {
        Maps(Frame const& picture, Key const& key, double tolerance, ShaderStorage const& storage)
            : Maps(picture, GetForm(picture, 1.0), key, tolerance, storage) {}

        PooledTexture near;    ///< alpha: whether there is screen
        PooledTexture screen;  ///< its colour
        PooledTexture front;   ///< the foreground's

    private:
        static constexpr double kTexels = 320.0;  // along the larger side

        static TextureForm GetForm(Frame const& picture, double part) {
            double const larger = std::max(picture.GetWidth(), picture.GetHeight());
            double const scale = std::min(kTexels / larger, 1.0) * part;
            auto const count = [scale](std::uint32_t pixels) {
                return static_cast<std::uint32_t>(std::max(std::lround(scale * pixels), 1L));
            };
            return {count(picture.GetWidth()), count(picture.GetHeight()),
                    FinerWithAlpha(picture.GetFirstTexture().GetForm().format), false};
        }

        Maps(Frame const& picture, TextureForm const& form, Key const& key, double tolerance,
             ShaderStorage const& storage)
            : near(form), screen(form), front(form) {
            PooledTexture const means(form);
            PooledTexture const all(form);
            TakeMeans(picture, true, means.Get(), storage, [&](Pass& pass) {
                pass.Set("key_chroma", glm::vec2(key.chroma)).Set("key_luma", key.luma).Set("tolerance", tolerance);
            });
            TakeMeans(picture, false, all.Get(), storage, [](Pass&) {});
            // How far from the screen a pixel of an edge may be: a part of the larger side.
            constexpr double kReach = 0.01;
            double const texels = kReach * std::max(form.width, form.height);
            glm::vec2 const reach(texels / form.width, texels / form.height);
            PooledTexture const rows(form);
            Near(means.Get(), {reach.x, 0.0F}, rows.Get(), storage);
            Near(rows.Get(), {0.0F, reach.y}, near.Get(), storage);
            Fill(picture, means.Get(), true, glm::vec4(glm::vec3(key.color), 1.0F), screen.Get(), storage);
            Fill(picture, all.Get(), false, glm::vec4(0.5F, 0.5F, 0.5F, 1.0F), front.Get(), storage);
        }

        template <typename Preparation>
        static void TakeMeans(Frame const& picture, bool isScreen, Texture const& to, ShaderStorage const& storage,
                              Preparation const& prepare) {
            // A sample reads up to two texels along each axis.
            constexpr std::uint32_t kMost = 4;
            std::uint32_t const samples =
                std::clamp((picture.GetWidth() + to.GetForm().width) / (2 * to.GetForm().width), 1U, kMost);
            Pass pass(storage, fmt::format("EffectChromakey_{}_{}", isScreen ? "screen" : "all", samples), [&] {
                return fmt::format("#version 120\n#define SAMPLES {}\n{}{}", samples,
                                   isScreen ? "#define SCREEN\n" : "", kMeans);
            });
            prepare(pass);
            if (samples > 1) {
                pass.Set("extent", glm::vec2(1.0 / to.GetForm().width, 1.0 / to.GetForm().height));
            }
            pass.Texture("tex", 0, picture).DrawTo(to);
        }

        static void Near(Texture const& from, glm::vec2 const& reach, Texture const& to, ShaderStorage const& storage) {
            Pass(storage, "EffectChromakey_near", kNear).Texture("tex", 0, from).Set("reach", reach).DrawTo(to);
        }

        void Fill(Frame const& picture, Texture const& means, bool isScreen, glm::vec4 const& nothing,
                  Texture const& to, ShaderStorage const& storage) const {
            PooledTexture const sure(to.GetForm());
            Pass(storage, "EffectChromakey_sure", kSure)
                .Texture("tex", 0, means, TextureFilter::Nearest)
                .Texture("near", 1, near.Get(), TextureFilter::Nearest)
                .Set("is_screen", isScreen ? 1.0F : 0.0F)
                .DrawTo(sure.Get());
            // Each is spread over four texels to either side of the one before.
            PooledTexture const fine = Spread(sure.Get(), to.GetForm(), storage);
            PooledTexture const middle = Spread(fine.Get(), GetForm(picture, 1.0 / 4.0), storage);
            PooledTexture const coarse = Spread(middle.Get(), GetForm(picture, 1.0 / 16.0), storage);
            Pass(storage, "EffectChromakey_gather", kGather)
                .Texture("fine", 0, fine.Get(), TextureFilter::Nearest)
                .Texture("middle", 1, middle.Get())
                .Texture("coarse", 2, coarse.Get())
                .Set("nothing", nothing)
                .DrawTo(to);
        }

        static PooledTexture Spread(Texture const& from, TextureForm const& form, ShaderStorage const& storage) {
            PooledTexture const rows(form);
            PooledTexture spread(form);
            glm::vec2 const texel(1.0F / static_cast<float>(form.width), 1.0F / static_cast<float>(form.height));
            Pass(storage, "EffectChromakey_spread", kSpread)
                .Texture("tex", 0, from)
                .Set("local_step", glm::vec2(texel.x, 0.0F))
                .DrawTo(rows.Get());
            Pass(storage, "EffectChromakey_spread", kSpread)
                .Texture("tex", 0, rows.Get())
                .Set("local_step", glm::vec2(0.0F, texel.y))
                .DrawTo(spread.Get());
            return spread;
        }
    };
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectChromakey>();

}  // namespace Kaltor::Ogl

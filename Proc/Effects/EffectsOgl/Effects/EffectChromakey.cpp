// Makes a key colour transparent. The distance from the key in the plane of chroma (Cb, Cr after ITU-R BT.709) decides,
// so that shadows and folds of the screen become transparent as well. Alpha is multiplied.
//
// With `unmix` a pixel is taken for a mix of the screen and the foreground as they are around it:
//
// 1. The picture is halved, and the halved one reduced to maps of 320 texels. One has the means of what shows the bare
//    screen (within `tolerance`, less for a key with less chroma), another those of what is no screen in any light.
// 2. Both are spread over ever larger surroundings, so that each texel knows the screen's colour, lit unevenly as
//    screens are, and the foreground's. What lies next to the other kind counts little for either: it may be a mix.
//    A dark foreground's mix looks like the screen in shadow.
// 3. A pixel's place on the way between the two colours is its alpha. In the halved picture the directions in which the
//    foreground's colours differ count little: luma, since fabric and skin vary in it, and what the maps show, as
//    between a dark and a yellow part. Within two pixels luma counts more, and nearly alone in video with a sample of
//    chroma for each 2 x 2 pixels.
// 4. Its own colour is what is left without the screen's share, in edges with the chroma of the halved picture. Where
//    little is left, that is noise, and the colour of the foreground nearby takes over.
//
// What is far from the key, and from the screen, stays as it is, unless it has just the key's hue: that is glass.
// `spill` removes the screen's reflection: chroma of the key's hue. What is yellow or cyan has hardly any of it.
//
// Without `unmix` each pixel is keyed by itself: up to `tolerance` it is transparent, from `tolerance` + `softness` on
// it stays. A pixel in between is a mix of the key and the foreground. The foreground is mostly nearer to grey than to
// the key, so the part of its chroma in the key's direction shows how much of the key is in the pixel. That much of the
// key is removed, chroma and luma. From opaque pixels `spill` times that much of the key's chroma is removed.

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

constexpr char kHalve[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = texture2D(tex, TexCoord0);
}
)glsl";

// Luma and chroma.
constexpr char kSplit[] = R"glsl(
varying vec2 TexCoord0;
vec3 Split(vec3 c) {
    float luma = dot(c, vec3(0.2126, 0.7152, 0.0722));
    return vec3(luma, (c.br - vec2(luma)) / vec2(1.8556, 1.5748));
}
)glsl";

// How far a colour is from the key: as it is, and in the key's light, for shadows and highlights.
constexpr char kKeyDistance[] = R"glsl(
uniform vec2 key_chroma;
uniform float key_luma;
vec2 Distances(vec3 split) {
    float lit = clamp(split.x / key_luma, 0.45, 1.4);
    return vec2(length(split.yz - key_chroma), length(split.yz / lit - key_chroma));
}
)glsl";

// Means of a map's texel, from SAMPLES x SAMPLES places in it, of what is bare screen or what is surely none. Alpha is
// its share. Mixes with little of the foreground pass for bare screen, such as of thin hair whose chroma is not far
// from the screen's. They are less vivid: where there is both, the vivid places have the screen's colour.
constexpr char kMeans[] = R"glsl(
uniform sampler2D tex;
uniform vec2 extent;   // of a texel of the map
uniform vec2 limits;   // of the distances from the key
// How much it counts for the colour, and for the share.
vec2 Counts(vec4 origin) {
    vec3 split = Split(origin.rgb);
    vec2 distances = Distances(split) / limits;
    float nearest = min(distances.x, distances.y);
#ifdef SCREEN
    float vivid = dot(split.yz, key_chroma) / dot(key_chroma, key_chroma);
    return nearest < 1.0 && origin.a > 0.5 ? vec2(exp(10.0 * (vivid - 1.0)), 1.0) : vec2(0.0);
#else
    return nearest > 1.0 ? vec2(origin.a) : vec2(0.0);
#endif
}
void main() {
    vec4 sum = vec4(0.0);
    float share = 0.0;
    for (int y = 0; y < SAMPLES; ++y) {
        for (int x = 0; x < SAMPLES; ++x) {
            vec2 place = (vec2(float(x), float(y)) + vec2(0.5)) / float(SAMPLES) - vec2(0.5);
            vec4 origin = texture2D(tex, TexCoord0 + place * extent);
            vec2 counts = Counts(origin);
            sum += vec4(origin.rgb, 1.0) * counts.x;
            share += counts.y;
        }
    }
    gl_FragColor = vec4(sum.rgb / max(sum.a, 1.0e-4), share / float(SAMPLES * SAMPLES));
}
)glsl";

// The most of each kind within a few texels, in the maps: the foreground's in red, the screen's in alpha.
constexpr char kNearAlong[] = R"glsl(#version 120
uniform sampler2D front;
uniform sampler2D screen;
uniform vec2 reach;
varying vec2 TexCoord0;
void main() {
    vec2 most = vec2(0.0);
    for (int i = -3; i <= 3; ++i) {
        vec2 place = TexCoord0 + reach * (float(i) / 3.0);
        most = max(most, vec2(texture2D(front, place).a, texture2D(screen, place).a));
    }
    gl_FragColor = most.xxxy;
}
)glsl";
constexpr char kNear[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 reach;
varying vec2 TexCoord0;
void main() {
    vec4 most = vec4(0.0);
    for (int i = -3; i <= 3; ++i) {
        most = max(most, texture2D(tex, TexCoord0 + reach * (float(i) / 3.0)));
    }
    gl_FragColor = most;
}
)glsl";

// What counts in a map, premultiplied: texels all of one kind, apart from the other kind. Between strands of hair,
// where nothing is apart, a little counts nevertheless.
constexpr char kSureScreen[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D near;
varying vec2 TexCoord0;
void main() {
    vec4 mean = texture2D(tex, TexCoord0);
    float apart = 1.0 - 0.999 * smoothstep(0.0, 0.02, texture2D(near, TexCoord0).r);
    gl_FragColor = vec4(mean.rgb, 1.0) * (mean.a * mean.a * apart);
}
)glsl";
constexpr char kSureFront[] = R"glsl(#version 120
uniform sampler2D tex;
uniform sampler2D near;
uniform sampler2D around;   // the share of screen in wider surroundings
varying vec2 TexCoord0;
void main() {
    vec4 mean = texture2D(tex, TexCoord0);
    float apart = 1.0 - smoothstep(0.0, 0.02, texture2D(near, TexCoord0).a);
    gl_FragColor = vec4(mean.rgb, 1.0) * (mean.a * mean.a * apart * exp(-8.0 * texture2D(around, TexCoord0).a));
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

// The nearest surroundings that have anything sure decide. Alpha is whether the screen is near.
constexpr char kGather[] = R"glsl(#version 120
uniform sampler2D fine;
uniform sampler2D middle;
uniform sampler2D coarse;
uniform sampler2D whole;
uniform sampler2D near;
uniform vec3 nothing;
varying vec2 TexCoord0;
void main() {
    vec4 sum = texture2D(fine, TexCoord0) + 0.03 * texture2D(middle, TexCoord0) + 0.001 * texture2D(coarse, TexCoord0) +
               1.0e-5 * texture2D(whole, TexCoord0) + 1.0e-9 * vec4(nothing, 1.0);
    gl_FragColor = vec4(sum.rgb / sum.a, texture2D(near, TexCoord0).a);
}
)glsl";

// Means and products of the foreground's colours, weighted like these. Around grey, where halves are finest.
constexpr char kMoments[] = R"glsl(
uniform sampler2D tex;
void main() {
    vec4 sure = texture2D(tex, TexCoord0);
    vec3 color = Split(sure.rgb / max(sure.a, 1.0e-6)) - vec3(0.5, 0.0, 0.0);
    gl_FragColor = vec4(MOMENTS, 1.0) * sure.a;
}
)glsl";

// What to multiply a colour's difference from the screen's by, for alpha: the way from the screen to the foreground,
// divided by the foreground's covariance. To it comes noise, in luma more.
constexpr char kParts[] = R"glsl(
uniform sampler2D screen;
uniform sampler2D front;
uniform sampler2D means;
uniform sampler2D squares;    // YY, BB, RR
uniform sampler2D products;   // YB, YR, BR
void main() {
    vec3 way = Split(texture2D(front, TexCoord0).rgb) - Split(texture2D(screen, TexCoord0).rgb);
    vec3 mean = texture2D(means, TexCoord0).rgb;
    vec3 own = max(texture2D(squares, TexCoord0).rgb - mean * mean, vec3(0.0)) + vec3(1.0e-3, 1.5e-4, 1.5e-4);
    vec3 both = texture2D(products, TexCoord0).rgb - mean.xxy * mean.yzz;
    // Without the first, then without the second, as in a decomposition after Cholesky.
    float first = both.x / own.x;
    float second = both.y / own.x;
    float blue = max(own.y - first * both.x, 1.5e-4);
    float third = (both.z - first * both.y) / blue;
    float red = max(own.z - second * both.y - third * third * blue, 1.5e-4);
    vec3 part = vec3(way.x, way.y - first * way.x, 0.0);
    part.z = (way.z - second * part.x - third * part.y) / red;
    part.y = part.y / blue - third * part.z;
    part.x = part.x / own.x - first * part.y - second * part.z;
    gl_FragColor = vec4(part / max(dot(way, part), 0.3), 0.0);
}
)glsl";

constexpr char kUnmix[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D halved;
uniform sampler2D screen;
uniform sampler2D front;
uniform sampler2D parts;
uniform vec3 key;
uniform float lean;
uniform float tolerance;
uniform float slope;
uniform float spill;
#if defined(IS_REPEATED)
// Each sample of chroma stands on the left column of its 2 x 2 pixels, and all four have it.
uniform vec2 pixel;
vec3 Halved(float x, float y) {
    return texture2D(halved, TexCoord0 + pixel * vec2(x + 0.5, y)).rgb;
}
vec2 Chroma(vec3 split) {
    return Split(Halved(0.0, 0.0)).yz;
}
vec2 ChromaDetail(vec2 chroma, vec3 smooth_split) {
    vec3 around = Halved(-2.0, 0.0) + Halved(2.0, 0.0) + Halved(0.0, -2.0) + Halved(0.0, 2.0);
    return chroma - Split(0.25 * around).yz;
}
#elif defined(IS_SUBSAMPLED)
// Chroma was enlarged smoothly, and is as smooth as halved luma. About half of its detail is left.
vec2 Chroma(vec3 split) {
    return split.yz;
}
vec2 ChromaDetail(vec2 chroma, vec3 smooth_split) {
    return 2.0 * (chroma - smooth_split.yz);
}
#endif
#ifdef IS_SUBSAMPLED
const float kLumaShare = 12.0;
#else
const float kLumaShare = 2.0;
#endif
vec3 Join(vec3 split) {
    vec2 difference = split.yz * vec2(1.8556, 1.5748);
    return vec3(split.x) + vec3(difference.y, -dot(difference, vec2(0.0722, 0.2126)) / 0.7152, difference.x);
}
float KeyShare(vec2 chroma, float narrow) {
    float across = abs(chroma.x * key_chroma.y - chroma.y * key_chroma.x);
    return (dot(chroma, key_chroma) - narrow * across) * lean;
}
// The least of alpha is the noise of the screen, the most that of the foreground.
float Settle(float alpha) {
    alpha = clamp(alpha, 0.0, 1.0);
    alpha *= smoothstep(0.0, 0.08, alpha);
    return 1.0 - (1.0 - alpha) * smoothstep(0.0, 0.08, 1.0 - alpha);
}
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec4 to = texture2D(front, TexCoord0);
    vec3 from = texture2D(screen, TexCoord0).rgb;
    vec3 split = Split(origin.rgb);
    vec3 smooth_split = Split(texture2D(halved, TexCoord0).rgb);
    vec3 back = Split(from);
    vec3 fine = split - smooth_split;
#ifdef IS_SUBSAMPLED
    vec2 chroma = Chroma(split);
    fine.yz = ChromaDetail(chroma, smooth_split);
    smooth_split.yz = chroma;
#endif
    vec3 broad = smooth_split - back;
    float broad_alpha = clamp(dot(broad, texture2D(parts, TexCoord0).rgb), -1.0, 2.0);
    // The foreground's colour here, as far as enough of it is there to show it.
    vec3 way = mix(Split(to.rgb) - back, broad / clamp(broad_alpha, 0.1, 1.0), smoothstep(0.03, 0.2, broad_alpha));
    vec3 detail = way * vec3(kLumaShare, 1.0, 1.0);
    float alpha = Settle(broad_alpha + dot(fine, detail) / max(dot(way, detail), 1.0e-2));

    vec2 distances = Distances(split);
    float stays = smoothstep(0.0, 1.0, (min(distances.x, distances.y) - tolerance) * slope);
    float mixed = max(max(smoothstep(0.0, 0.02, to.a), 1.0 - stays),
                      smoothstep(0.2, 0.4, KeyShare(smooth_split.yz, 2.5)));
    alpha = mix(1.0, alpha, mixed);
    vec3 own = (split - back * (1.0 - alpha)) / max(alpha, 0.05);
#ifdef IS_SUBSAMPLED
    own.yz = back.yz + way.yz;   // chroma around an opaque pixel is mixed as well
#else
    own.yz = mix(back.yz + way.yz, own.yz, smoothstep(0.7, 1.0, alpha));
#endif
    own = clamp(Join(own), vec3(0.0), max(origin.rgb, vec3(1.0)));
    own = mix(origin.rgb, mix(to.rgb, own, smoothstep(0.02, 0.2, alpha)), mixed);
    float reflected = clamp(KeyShare(Split(own).yz, 1.0), 0.0, 1.0);
    gl_FragColor = vec4(own - (key - vec3(key_luma)) * (reflected * spill), origin.a * alpha);
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
        double const lean = square > kLeastChroma ? 1.0 / square : 0.0;
        double const softness = std::max(settings.softness, kLeastSoftness);
        auto const prepare = [&](Pass& pass, double scale) {
            pass.Texture("tex", 0, picture, TextureFilter::Nearest)
                .Set("key", glm::vec3(key))
                .Set("key_chroma", glm::vec2(chroma))
                .Set("key_luma", luma)
                .Set("lean", lean)
                .Set("tolerance", settings.tolerance * scale)
                .Set("slope", 1.0 / (softness * scale))
                .Set("spill", settings.spill);
        };
        // A grey key has no hue to find its shadows by.
        if (settings.unmix && settings.tolerance > 0.0 && lean > 0.0) {
            // The defaults suit a vivid screen. A dull one is nearer to all other colours.
            constexpr double kVivid = 0.45;
            double const scale = std::min(std::sqrt(square) / kVivid, 1.0);
            Maps const maps(picture, {key, chroma, luma, settings.tolerance * scale, softness * scale}, storage);
            PixFmtDescription const& given = PixFmtDescription::Find(src->FrameData().GetPixFmt());
            bool const isSubsampled = given.chromaXLog2 > 0 && given.chromaYLog2 > 0;
            // The processor repeats samples of chroma, the GPU enlarges them.
            bool const isRepeated = isSubsampled && src->FrameData().IsOnPlanes();
            Pass pass(storage,
                      fmt::format("EffectChromakey_unmix{}", isRepeated     ? "_repeated"
                                                             : isSubsampled ? "_subsampled"
                                                                            : ""),
                      {kGlslVersion, isSubsampled ? "#define IS_SUBSAMPLED\n" : "",
                       isRepeated ? "#define IS_REPEATED\n" : "", kSplit, kKeyDistance, kUnmix});
            prepare(pass, scale);
            if (isRepeated) {
                pass.Set("pixel", glm::vec2(1.0F / static_cast<float>(picture.GetWidth()),
                                            1.0F / static_cast<float>(picture.GetHeight())));
            }
            pass.Texture("halved", 1, maps.halved.Get())
                .Texture("screen", 2, maps.screen.Get())
                .Texture("front", 3, maps.front.Get())
                .Texture("parts", 4, maps.parts.Get())
                .DrawTo(*dst);
            return;
        }
        Pass pass(storage, "EffectChromakey", kFragment);
        prepare(pass, 1.0);
        pass.DrawTo(*dst);
    }

    PixFmt GetOutputFormat(PixFmt srcFormat) const override { return AlphaFormat(srcFormat); }

private:
    struct Key {
        glm::dvec3 color;
        glm::dvec2 chroma;
        double luma, tolerance, softness;
    };

    /// The picture in half its size, and the colours on both sides of the edges, in small pictures.
    struct Maps {
        Maps(Frame const& picture, Key const& key, ShaderStorage const& storage)
            : Maps(picture, GetForm(picture, kTexels), key, storage) {}

        PooledTexture halved;
        PooledTexture screen;  ///< the screen's colour
        PooledTexture front;   ///< the foreground's; alpha: whether the screen is near
        PooledTexture parts;   ///< what makes alpha of a colour's difference from the screen's

    private:
        static constexpr double kTexels = 320.0;  // along the larger side

        /// At most as large as half the picture.
        static TextureForm GetForm(Frame const& picture, double texels) {
            double const larger = std::max(picture.GetWidth(), picture.GetHeight());
            double const scale = std::min(texels / larger, 0.5);
            auto const count = [scale](std::uint32_t pixels) {
                return static_cast<std::uint32_t>(std::max(std::lround(scale * pixels), 1L));
            };
            return {count(picture.GetWidth()), count(picture.GetHeight()),
                    LikeWithAlpha(picture.GetFirstTexture().GetForm().format), false};
        }

        Maps(Frame const& picture, TextureForm const& form, Key const& key, ShaderStorage const& storage)
            : halved(GetHalf(picture)), screen(form), front(form), parts(GetFine(form)) {
            Pass(storage, "EffectChromakey_halve", kHalve).Texture("tex", 0, picture).DrawTo(halved.Get());
            PooledTexture const isFront(form);
            TakeMeans(false, key, glm::dvec2(0.9 * (key.tolerance + key.softness)), isFront.Get(), storage);
            PooledTexture const isScreen(form);
            TakeMeans(true, key, {0.5 * key.tolerance, 0.3 * key.tolerance}, isScreen.Get(), storage);
            PooledTexture const near = FindNear(isFront.Get(), isScreen.Get(), storage);
            PooledTexture const sure(GetFine(form));
            Pass(storage, "EffectChromakey_sure_screen", kSureScreen)
                .Texture("tex", 0, isScreen.Get(), TextureFilter::Nearest)
                .Texture("near", 1, near.Get(), TextureFilter::Nearest)
                .DrawTo(sure.Get());
            Surroundings const around(sure.Get(), storage);
            around.Gather(near.Get(), glm::vec3(key.color), screen.Get(), storage);
            Pass(storage, "EffectChromakey_sure_front", kSureFront)
                .Texture("tex", 0, isFront.Get(), TextureFilter::Nearest)
                .Texture("near", 1, near.Get(), TextureFilter::Nearest)
                .Texture("around", 2, around.middle.Get())
                .DrawTo(sure.Get());
            Surroundings(sure.Get(), storage).Gather(near.Get(), glm::vec3(0.5F), front.Get(), storage);
            FindParts(sure.Get(), near.Get(), storage);
        }

        void FindParts(Texture const& sure, Texture const& near, ShaderStorage const& storage) const {
            // They vary more slowly than the colours themselves.
            TextureForm form = sure.GetForm();
            form.width = std::max(form.width / 2, 1U);
            form.height = std::max(form.height / 2, 1U);
            auto const find = [&](std::string_view name, std::string_view moments) {
                PooledTexture found(form);
                Pass(storage, fmt::format("EffectChromakey_{}", name),
                     [&] { return fmt::format("{}#define MOMENTS {}\n{}{}", kGlslVersion, moments, kSplit, kMoments); })
                    .Texture("tex", 0, sure)
                    .DrawTo(found.Get());
                Surroundings(found.Get(), storage, 2).Gather(near, glm::vec3(0.0F), found.Get(), storage);
                return found;
            };
            PooledTexture const means = find("means", "color");
            PooledTexture const squares = find("squares", "color * color");
            PooledTexture const products = find("products", "color.xxy * color.yzz");
            Pass(storage, "EffectChromakey_parts", {kGlslVersion, kSplit, kParts})
                .Texture("screen", 0, screen.Get(), TextureFilter::Nearest)
                .Texture("front", 1, front.Get(), TextureFilter::Nearest)
                .Texture("means", 2, means.Get())
                .Texture("squares", 3, squares.Get())
                .Texture("products", 4, products.Get())
                .DrawTo(parts.Get());
        }

        /// A picture's copies, each spread over four texels to either side of the one before.
        struct Surroundings {
            Surroundings(Texture const& sure, ShaderStorage const& storage, std::uint32_t factor = 4)
                : fine(Spread(sure, 1, storage)),
                  middle(Spread(fine.Get(), factor, storage)),
                  coarse(Spread(middle.Get(), 4, storage)),
                  whole(Spread(coarse.Get(), 4, storage)) {}

            void Gather(Texture const& near, glm::vec3 const& nothing, Texture const& to,
                        ShaderStorage const& storage) const {
                Pass(storage, "EffectChromakey_gather", kGather)
                    .Texture("fine", 0, fine.Get(), TextureFilter::Nearest)
                    .Texture("middle", 1, middle.Get())
                    .Texture("coarse", 2, coarse.Get())
                    .Texture("whole", 3, whole.Get())
                    .Texture("near", 4, near, TextureFilter::Nearest)
                    .Set("nothing", nothing)
                    .DrawTo(to);
            }

            PooledTexture fine, middle, coarse, whole;
        };

        /// For weights, which may be small, and what is no colour.
        static TextureForm GetFine(TextureForm form) {
            form.format = TexelFormat::Rgba16f;
            return form;
        }

        static TextureForm GetHalf(Frame const& picture) {
            auto const half = [](std::uint32_t pixels) { return (pixels + 1) / 2; };
            return {half(picture.GetWidth()), half(picture.GetHeight()),
                    LikeWithAlpha(picture.GetFirstTexture().GetForm().format), false};
        }

        void TakeMeans(bool isScreen, Key const& key, glm::dvec2 const& limits, Texture const& to,
                       ShaderStorage const& storage) const {
            // Each place is judged by itself: of thin hair and screen, a mean would pass for screen.
            constexpr std::uint32_t kMost = 4;
            std::uint32_t const width = to.GetForm().width;
            std::uint32_t const samples = std::clamp((halved.Get().GetForm().width + width - 1) / width, 1U, kMost);
            Pass pass(storage, fmt::format("EffectChromakey_{}_{}", isScreen ? "screen" : "front", samples), [&] {
                return fmt::format("{}#define SAMPLES {}\n{}{}{}{}", kGlslVersion, samples,
                                   isScreen ? "#define SCREEN\n" : "", kSplit, kKeyDistance, kMeans);
            });
            pass.Set("key_chroma", glm::vec2(key.chroma)).Set("key_luma", key.luma).Set("limits", glm::vec2(limits));
            if (samples > 1) {
                pass.Set("extent", glm::vec2(1.0 / to.GetForm().width, 1.0 / to.GetForm().height));
            }
            pass.Texture("tex", 0, halved.Get()).DrawTo(to);
        }

        /// What is within reach of a pixel of an edge: a part of the larger side.
        static PooledTexture FindNear(Texture const& front, Texture const& screen, ShaderStorage const& storage) {
            constexpr double kReach = 0.01;
            TextureForm const& form = front.GetForm();
            double const texels = kReach * std::max(form.width, form.height);
            PooledTexture const rows(form);
            PooledTexture near(form);
            Pass(storage, "EffectChromakey_near_along", kNearAlong)
                .Texture("front", 0, front)
                .Texture("screen", 1, screen)
                .Set("reach", glm::vec2(texels / form.width, 0.0))
                .DrawTo(rows.Get());
            Pass(storage, "EffectChromakey_near", kNear)
                .Texture("tex", 0, rows.Get())
                .Set("reach", glm::vec2(0.0, texels / form.height))
                .DrawTo(near.Get());
            return near;
        }

        static PooledTexture Spread(Texture const& from, std::uint32_t factor, ShaderStorage const& storage) {
            TextureForm form = from.GetForm();
            form.width = std::max(form.width / factor, 1U);
            form.height = std::max(form.height / factor, 1U);
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

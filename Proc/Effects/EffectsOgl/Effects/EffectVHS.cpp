// A worn video tape, in luma and chroma (Y'IQ, SMPTE 170M) as tape has them. Chroma has a tenth of luma's bandwidth and
// arrives late; luma is soft and rings behind edges. The 240 lines of a field begin where the tape's speed lets them:
// each is a little off, those at the head switch at the bottom are far off, and those in the band of bad tracking that
// drifts upwards are torn, and those above it bend back into place. What the head misses there are streaks with a sharp
// beginning and a long tail. Where oxide is missing the signal drops out for a moment. A field lasts 1/60 s,
// so that each frame of a video shows another one.
//
// Four passes, of which only the last is of the picture's size: the parameters of each line (a texture of 2 x 240), the
// picture as a signal with 480 samples per line, that signal after the tape, and the final picture. Alpha moves with
// the lines.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include <fmt/format.h>

#include "Ogl/Noise.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr int kLines = 240;
constexpr std::uint32_t kSamples = 480;  // per line

// The left texel of a line: its shift (0.5: none), its amount of snow, the remaining part of its chroma. The right
// texel: the start, the length and the brightness of its drop-out.
constexpr char kLineFacts[] = R"glsl(
uniform sampler2D noise;
uniform vec2 field;        // where the field's random numbers are
uniform float jitter;
uniform float sway;        // place of the slow sway
uniform float tracking;
uniform float band;        // where the middle of the tracking band is
uniform float tear;        // how far the lines above it are off
uniform float switching;   // where the head switch is
uniform float drop;        // drop-outs a line
varying vec2 TexCoord0;
void main() {
    float y = TexCoord0.y;
    float line = floor(y * 240.0);
    vec4 random = texture2D(noise, (vec2(line, 0.0) + field + vec2(0.5)) / kNoiseSize);
    vec4 more = texture2D(noise, (vec2(line, 7.0) + field + vec2(0.5)) / kNoiseSize);
    vec4 quick = texture2D(noise, vec2(line * 0.17 + field.x, field.y + 13.5) / kNoiseSize);
    vec4 slow = texture2D(noise, vec2(line * 0.021 + sway, 3.5) / kNoiseSize);

    float away = (y - band) / 0.05 + (random.w - 0.5) * 0.3;
    float lost = tracking * exp(-away * away);
    float above = y - band;
    float torn = tracking * (above > 0.0 ? exp(-above / 0.05) : exp(above / 0.012)) * tear;
    float behind = clamp((switching - y) / switching, 0.0, 1.0) * tracking;

    float shift = jitter * ((random.x - 0.5) * 0.0022 + (quick.x - 0.5) * 0.004 + (slow.x - 0.5) * 0.006);
    shift += lost * ((random.y - 0.5) * 0.006 + (quick.y - 0.5) * 0.06) + torn * (0.7 + 0.6 * slow.y);
    shift += behind * (0.06 + 0.09 * behind + (random.y - 0.5) * 0.03) + step(0.001, behind) * (quick.z - 0.5) * 0.04 * tracking;
    float snow = max(lost * smoothstep(0.35, 0.9, random.z + 0.2 * lost),
                     min(behind * 1.6, 0.9) * smoothstep(0.05, 0.8, random.z));
    float chroma = (1.0 - 0.8 * lost) * (1.0 - 0.7 * min(behind * 2.0, 1.0));

    float drops = 1.0 - step(drop + 0.12 * lost * drop * 20.0, 1.0 - more.x);
    vec4 out_of = vec4(more.y, 0.04 + 0.5 * more.z * more.z * more.z, drops * (0.55 + 0.45 * more.w), 1.0);
    gl_FragColor = TexCoord0.x < 0.5 ? vec4(shift + 0.5, snow, chroma, 1.0) : out_of;
}
)glsl";

// Means over a sample, of premultiplied colours.
constexpr char kSignal[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 extent;   // of a sample
varying vec2 TexCoord0;
void main() {{
    vec4 sum = vec4(0.0);
    for (int j = 0; j < {1}; ++j) {{
        for (int i = 0; i < {0}; ++i) {{
            sum += texture2D(tex, TexCoord0 + extent * ((vec2(float(i), float(j)) + vec2(0.5)) / vec2({0}.0, {1}.0) - vec2(0.5)));
        }}
    }}
    sum *= 1.0 / {2}.0;
    float y = dot(sum.rgb, vec3(0.299, 0.587, 0.114));
    float i = dot(sum.rgb, vec3(0.5959, -0.2746, -0.3213));
    float q = dot(sum.rgb, vec3(0.2115, -0.5227, 0.3112));
    gl_FragColor = vec4(y, 0.5 + 0.8 * i, 0.5 + 0.8 * q, sum.a);
}}
)glsl";

constexpr char kPicture[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D tape;
uniform sampler2D lines;
uniform sampler2D noise;
uniform vec4 field;
uniform vec2 soft;          // share of the tape's luma, of its chroma
uniform float delay;
uniform vec2 noisy;         // luma, chroma
uniform vec2 scan;          // how dark the gaps are: their mean, and how far they go around it
varying vec2 TexCoord0;
// What a head reads that has lost its track: how much, and how bright, in x and y. At most one streak a cell.
vec2 Streak(float cells, float line, float amount, vec2 where) {
    float at = TexCoord0.x * cells + line * 0.37;
    float cell = floor(at);
    vec4 random = texture2D(noise, (vec2(cell, line) + where + vec2(0.5)) / kNoiseSize);
    float behind = at - cell - 0.6 * random.x;
    float tail = exp(-max(behind, 0.0) / (0.04 + 0.35 * random.y * random.y)) * (1.0 - smoothstep(0.7, 1.0, at - cell));
    return vec2(behind < 0.0 ? 0.0 : tail * (1.0 - step(amount, 1.0 - random.z)), random.w < 0.3 ? 0.1 : 0.75 + 0.25 * random.w);
}
void main() {
    float y = TexCoord0.y;
    float line = floor(y * 240.0 + 0.001);  // rows of pixels that lie between two lines belong to one as a whole
    float at = (line + 0.5) / 240.0;
    vec4 facts = texture2D(lines, vec2(0.25, at));
    vec4 drop = texture2D(lines, vec2(0.75, at));
    vec2 place = vec2(TexCoord0.x - (facts.x - 0.5), y);

    vec4 origin = texture2D(tex, place);
    float luma = dot(origin.rgb, vec3(0.299, 0.587, 0.114));
    vec2 chroma = vec2(dot(origin.rgb, vec3(0.5959, -0.2746, -0.3213)), dot(origin.rgb, vec3(0.2115, -0.5227, 0.3112)));
    vec2 late = (texture2D(tape, vec2(place.x - delay, y)).gb - vec2(0.5)) * 1.25;
    luma = mix(luma, texture2D(tape, place).r, soft.x);
    chroma = mix(chroma, late, soft.y) * facts.z;

    vec4 fine = texture2D(noise, (vec2(TexCoord0.x * 210.0, line + 0.5) + field.xy) / kNoiseSize) - vec4(0.5);
    vec4 coarse = texture2D(noise, (vec2(TexCoord0.x * 16.0, line * 0.45 + 0.5) + field.zw) / kNoiseSize) - vec4(0.5);
    luma += (fine.r + fine.g + coarse.r) * noisy.x;
    chroma += coarse.gb * noisy.y;

    float snow = facts.y * step(0.004, facts.y);
    vec2 long_one = Streak(7.0, line, 0.8 * snow, field.zw);
    vec2 short_one = Streak(41.0, line, 0.55 * snow, field.xy);
    float hiss = max(long_one.x, short_one.x);
    luma = mix(luma, (long_one.x > short_one.x ? long_one.y : short_one.y) + 0.3 * fine.a, hiss);
    float gone = TexCoord0.x - drop.x;
    gone = gone < 0.0 ? 0.0 : clamp(exp(-gone / (drop.y * 0.25)) * 1.7 - 0.5 + fine.b * 0.5, 0.0, 1.0) * drop.z;
    luma = mix(luma, 0.97, gone);
    chroma *= (1.0 - hiss) * (1.0 - gone);

    float gap = scan.x + scan.y * cos(fract(y * 240.0) * 6.2831853);
    vec3 color = vec3(luma) + mat3(0.956, -0.272, -1.106, 0.619, -0.647, 1.703, 0.0, 0.0, 0.0) * vec3(chroma, 0.0);
    gl_FragColor = vec4(color * (1.0 - gap), origin.a);
}
)glsl";

/// The tape: luma through a low-pass that peaks and rings behind an edge, chroma through one of a tenth of the
/// bandwidth and from this line and the next. Divides by alpha.
std::string MakeTape() {
    auto const bell = [](double x, double deviation) {
        return std::exp(-0.5 * std::pow(x / deviation, 2.0)) / deviation;
    };
    std::string source = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 next;   // to the next sample, to the next line
varying vec2 TexCoord0;
void main() {
    vec2 luma = vec2(0.0);
    vec3 chroma = vec3(0.0);
)glsl";
    auto const addTaps = [&source](int reach, int stride, char const* format, auto const& weigh) {
        double sum = 0.0;
        for (int i = -reach; i <= reach; ++i) {
            sum += weigh(i);
        }
        for (int i = -reach; i <= reach; ++i) {
            source += fmt::format(fmt::runtime(format), i * stride, (i & 1) != 0 ? 1 : 0, weigh(i) / sum);
        }
    };
    addTaps(5, 1, "    luma += texture2D(tex, TexCoord0 + next * vec2({0}.0, 0.0)).ra * {2:.6f};\n", [&](int i) {
        // The ringing comes from the left: the tap reads the edge that has passed.
        return 1.5 * bell(i, 1.0) - 0.34 * bell(i + 2.6, 1.0) - 0.12 * bell(i - 2.2, 1.0) + 0.1 * bell(i + 4.6, 1.0);
    });
    addTaps(7, 2, "    chroma += texture2D(tex, TexCoord0 + next * vec2({0}.0, {1}.0)).gba * {2:.6f};\n",
            [&](int i) { return bell(i, 3.0); });
    return source + R"glsl(
    gl_FragColor = vec4(luma.x / max(luma.y, 1.0e-3), vec2(0.5) + (chroma.xy - vec2(0.5)) / max(chroma.z, 1.0e-3), 1.0);
}
)glsl";
}

}  // namespace

class EffectVHS final : public EffectWithSettings<Proc::SettingsEffectVHS> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const strength = settings.strength;
        if (strength <= 0.0 && settings.noise <= 0.0 && settings.tracking <= 0.0 && settings.scanlines <= 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        constexpr double kRate = 60.0;
        std::uint32_t const field = GetFilmFrame(time, kRate);
        auto const random = [field](std::uint32_t which) { return HashToUnit(field, which, 0x7A9EU); };
        auto const begin = [&random](std::uint32_t which) { return std::floor(random(which) * kNoiseSize); };

        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        PooledTexture const lines(TextureForm{2, kLines, TexelFormat::Rgba16, false});
        // The band takes 9 s to drift through, and is out of sight for a third of them.
        double const turn = time / 9.0;
        Pass(storage, "EffectVHS_lines", {kGlslVersion, kNoiseSizeGlsl, kLineFacts})
            .Texture("noise", 0, storage.Noise())
            .Set("field", glm::vec2(begin(0), begin(1)))
            .Set("jitter", strength)
            .Set("sway", static_cast<float>(std::fmod(time * 2.3, static_cast<double>(kNoiseSize))))
            .Set("tracking", std::pow(settings.tracking, 0.7))
            .Set("band", (turn - std::floor(turn)) * 1.6 - 0.2)
            .Set("tear", 0.09 * (random(7) - 0.3))
            .Set("switching", 0.03 + 0.008 * random(2))
            .Set("drop", settings.noise * 0.03)
            .DrawTo(lines.Get());

        Premultiplied const source(picture, storage);
        TextureForm const form{kSamples, std::min(picture.GetHeight(), 2U * kLines),
                               LikeWithAlpha(picture.GetFirstTexture().GetForm().format), false};
        PooledTexture const signal(form);
        PooledTexture const tape(form);
        if (strength > 0.0) {
            // A linear sample reads two texels along each axis.
            auto const count = [](std::uint32_t from, std::uint32_t to) {
                return std::clamp((from + 2 * to - 1) / (2 * to), 1U, 8U);
            };
            std::uint32_t const across = count(picture.GetWidth(), form.width);
            std::uint32_t const down = count(picture.GetHeight(), form.height);
            Pass pass(storage, fmt::format("EffectVHS_signal_{}x{}", across, down),
                      [&] { return fmt::format(kSignal, across, down, across * down); });
            if (across * down > 1) {
                pass.Set("extent", glm::vec2(1.0 / form.width, 1.0 / form.height));
            }
            pass.Texture("tex", 0, source.Get()).DrawTo(signal.Get());
            double const texelsALine = std::max(std::round(static_cast<double>(form.height) / kLines), 1.0);
            Pass(storage, "EffectVHS_tape", &MakeTape)
                .Texture("tex", 0, signal.Get(), TextureFilter::Nearest)
                .Set("next", glm::vec2(1.0 / form.width, texelsALine / form.height))
                .DrawTo(tape.Get());
        }

        // Gaps finer than the pixels are as visible as their mean over a pixel.
        double const pitch = static_cast<double>(kLines) / picture.GetHeight() * std::numbers::pi;
        double const seen = pitch < std::numbers::pi ? std::sin(pitch) / pitch : 0.0;
        constexpr glm::dvec2 kGap(0.35, 0.5);  // the lines bloom a little in return
        Pass(storage, "EffectVHS", {kGlslVersion, kNoiseSizeGlsl, kPicture})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("tape", 1, tape.Get())
            .Texture("lines", 2, lines.Get(), TextureFilter::Nearest)
            .Texture("noise", 3, storage.Noise())
            .Set("field", glm::vec4(begin(3), begin(4), begin(5), begin(6)))
            .Set("soft", glm::vec2(std::min(1.0, 1.5 * strength), 1.0 - std::pow(1.0 - strength, 2.0)))
            .Set("delay", 0.008 * strength)
            .Set("noisy", glm::vec2(0.17, 0.2) * static_cast<float>(settings.noise))
            .Set("scan", glm::vec2(kGap * settings.scanlines * glm::dvec2(1.0, seen)))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectVHS>();

}  // namespace Kaltor::Ogl

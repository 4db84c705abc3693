// Each pixel is the mean of samples spread evenly over its disc. Two copies are made: a coarse one, for large discs,
// and a fine one, for discs up to a third of the largest radius; the smallest discs are mixed with the sharp picture.
// Each samples a picture so small that a few dozen samples cover the disc without gaps.
//
// Light is c * c, a good likeness of displays, divided by 1 - k * max(c): a curve that brings highlights beyond white,
// and has an inverse, so that even areas keep their colours.

#include "Proc/Effects/EffectsOgl/Effects/DiscBlur.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Proc/Effects/Shared/Blend.h"

namespace Kaltor::Ogl {
namespace {

constexpr double kFineShare = 0.34;  ///< of the largest radius: up to this the fine copy is used
constexpr double kCoarseRadius = 6.0;
constexpr double kFineRadius = 4.5;  ///< texels of what is sampled
constexpr int kCoarseTaps = 48;
constexpr int kFineTaps = 28;

constexpr char kToLight[] = R"glsl(#version 120
uniform sampler2D tex;     // premultiplied
uniform float k;
uniform vec2 half_step;    // half a texel of the target
varying vec2 TexCoord0;
vec4 Light(vec2 uv) {
    vec4 color = texture2D(tex, uv);
    vec3 straight = color.rgb / max(color.a, 1.0e-4);
    vec3 light = straight * straight;
    return vec4(light * (color.a / (1.0 - k * min(max(light.r, max(light.g, light.b)), 1.0))), color.a);
}
void main() {
    vec2 across = vec2(half_step.x, -half_step.y);
    gl_FragColor = 0.25 * (Light(TexCoord0 - half_step) + Light(TexCoord0 + half_step) + Light(TexCoord0 - across) +
                           Light(TexCoord0 + across));
}
)glsl";

constexpr char kHalveLight[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 half_step;
varying vec2 TexCoord0;
void main() {
    vec2 across = vec2(half_step.x, -half_step.y);
    gl_FragColor = 0.25 * (texture2D(tex, TexCoord0 - half_step) + texture2D(tex, TexCoord0 + half_step) +
                           texture2D(tex, TexCoord0 - across) + texture2D(tex, TexCoord0 + across));
}
)glsl";

constexpr char kGatherBegin[] = R"glsl(
uniform sampler2D tex;
uniform vec2 radius;       // of the largest disc, texture coordinates
uniform float most;        // the greatest amount that is drawn
varying vec2 TexCoord0;
void main() {
    vec2 reach = radius * min(Amount(TexCoord0), most);
    vec4 sum = vec4(0.0);
)glsl";

// The inverse of the curve of light; alpha stays the picture's. Each part of the picture has the copies that can show
// there.
constexpr char kMixture[] = R"glsl(
#ifdef FINE
uniform sampler2D fine;
uniform vec4 shares;   // of the amount: where the fine copy begins and ends to show, where the coarse one does
#endif
#ifdef COARSE
uniform sampler2D coarse;
#endif
#if defined(FINE) || defined(COARSE)
uniform float k;
#endif
vec4 Blurred(vec4 origin, vec2 uv, float amount) {
#if defined(FINE) && defined(COARSE)
    vec4 sum = mix(texture2D(fine, uv), texture2D(coarse, uv), smoothstep(shares.z, shares.w, amount));
#elif defined(FINE)
    vec4 sum = texture2D(fine, uv);
#elif defined(COARSE)
    vec4 sum = texture2D(coarse, uv);
#else
    return origin;
#endif
#if defined(FINE) || defined(COARSE)
    vec3 light = sum.rgb / max(sum.a, 1.0e-4);
    light /= 1.0 + k * max(light.r, max(light.g, light.b));
    float share = 1.0;
#ifdef FINE
    share = smoothstep(shares.x, shares.y, amount);
#endif
    return vec4(mix(origin.rgb, sqrt(light), share * step(1.0e-3, sum.a)), origin.a);
#endif
}
)glsl";

/// Samples at points spread evenly over the disc of radius 1.
std::string MakeGather(std::string_view amount, int taps) {
    std::string text = fmt::format("#version 120\n{}{}", amount, kGatherBegin);
    constexpr double kGolden = 2.399963229728653;
    for (int i = 0; i < taps; ++i) {
        double const place = std::sqrt((i + 0.5) / taps);
        text += fmt::format("    sum += texture2D(tex, TexCoord0 + reach * vec2({:.5f}, {:.5f}));\n",
                            place * std::cos(i * kGolden), place * std::sin(i * kGolden));
    }
    return text + fmt::format("    gl_FragColor = sum * {:.8f};\n}}\n", 1.0 / taps);
}

TextureForm MakeForm(Texture const& texture, double factor) {
    auto const scale = [factor](std::uint32_t length) {
        return static_cast<std::uint32_t>(std::max(std::lround(length * std::min(factor, 1.0)), 1L));
    };
    TextureForm const& form = texture.GetForm();
    return {scale(form.width), scale(form.height), TexelFormat::Rgba16f, false};
}

glm::vec2 GetHalfStep(TextureForm const& form) {
    return {0.5 / form.width, 0.5 / form.height};
}

/// Six steps of exposure at most.
double GetCurve(double highlights) {
    return 1.0 - std::exp2(-6.0 * highlights);
}

}  // namespace

DiscBlur::DiscBlur(Frame const& pictureToBlur, Lens const& lensOfPicture, std::string_view programName,
                   std::string_view amountFunction, AmountCells const& amountCells, Preparation const& prepareAmount,
                   ShaderStorage const& shaderStorage)
    : lens(lensOfPicture),
      name(programName),
      amount(amountFunction),
      cells(amountCells),
      prepare(prepareAmount),
      storage(shaderStorage),
      picture(pictureToBlur, storage),
      side(std::max(pictureToBlur.GetWidth(), pictureToBlur.GetHeight())) {
    // Texels along the longer side of what each copy samples.
    double const fineSide = std::min(kFineRadius / (kFineShare * lens.radius), side);
    double const coarseSide = std::min(kCoarseRadius / lens.radius, fineSide);
    TextureForm const form = MakeForm(picture.Get(), std::max(fineSide / side, 0.5));
    std::optional<PooledTexture> light(form);
    Pass(storage, "DiscBlur_light", kToLight)
        .Texture("tex", 0, picture.Get())
        .Set("k", GetCurve(lens.highlights))
        .Set("half_step", form.width < picture.Get().GetForm().width ? 0.5F * GetHalfStep(form) : glm::vec2(0.0F))
        .DrawTo(light->Get());
    double now = std::max(fineSide, 0.5 * side);
    auto const reduce = [&](double wanted) {
        while (now > wanted + 0.5) {
            double const next = std::max(wanted, 0.5 * now);
            PooledTexture smaller(MakeForm(picture.Get(), next / side));
            Pass(storage, "DiscBlur_halve", kHalveLight)
                .Texture("tex", 0, light->Get())
                .Set("half_step", 0.5F * GetHalfStep(smaller.Get().GetForm()))
                .DrawTo(smaller.Get());
            light.emplace(std::move(smaller));
            now = next;
        }
    };
    reduce(fineSide);
    fine.emplace(MakeLevel(light->Get(), 1.5 * fineSide / side, kFineShare * 1.2, kFineTaps, [this](std::size_t cell) {
        glm::dvec2 const& range = cells.GetRange(cell);
        return range.y > 0.0 && range.x < 1.2 * kFineShare;
    }));
    reduce(coarseSide);
    coarse.emplace(MakeLevel(light->Get(), 1.25 * coarseSide / side, 1.0, kCoarseTaps,
                             [this](std::size_t cell) { return cells.GetRange(cell).y > 0.8 * kFineShare; }));
}

PooledTexture DiscBlur::MakeLevel(Texture const& source, double scale, double most, int taps,
                                  AmountCells::Predicate const& isWanted) const {
    PooledTexture level(MakeForm(picture.Get(), scale));
    TextureForm const& form = picture.Get().GetForm();
    Pass pass(storage, fmt::format("{}_gather_{}", name, taps), [&] { return MakeGather(amount, taps); });
    prepare(pass);
    pass.Texture("tex", 0, source)
        .Set("radius", glm::vec2(lens.radius * side / form.width, lens.radius * side / form.height))
        .Set("most", most);
    storage.FBO().Attach(level.Get());
    glClearColor(0.0F, 0.0F, 0.0F, 0.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    pass.Draw(cells.MakeMesh(isWanted));
    return level;
}

void DiscBlur::DrawTo(DataVideoOGL& target, std::string_view program, Preparation const& prepareProgram) const {
    // The first sizes that the fine copy can show, in halves of the texels that it samples.
    double const texel = 1.0 / (lens.radius * std::min(2.0 * kFineRadius / (kFineShare * lens.radius), side));
    glm::dvec2 const sharp(std::min(0.4 * texel, 0.5), std::min(1.4 * texel, 1.0));
    for (bool const hasFine : {false, true}) {
        for (bool const hasCoarse : {false, true}) {
            Pass pass(storage, fmt::format("{}_disc{}{}", name, hasFine ? "_fine" : "", hasCoarse ? "_coarse" : ""),
                      [&] {
                          return fmt::format("#version 120\n{}{}{}{}{}", hasFine ? "#define FINE\n" : "",
                                             hasCoarse ? "#define COARSE\n" : "", amount, kMixture, program);
                      });
            prepareProgram(pass);
            if (hasFine) {
                prepare(pass);
                pass.Texture("fine", 1, fine->Get())
                    .Set("shares", glm::vec4(sharp, 0.8 * kFineShare, 1.2 * kFineShare));
            }
            if (hasCoarse) {
                pass.Texture("coarse", 2, coarse->Get());
            }
            if (hasFine || hasCoarse) {
                pass.Set("k", GetCurve(lens.highlights));
            }
            pass.DrawTo(target, cells.MakeMesh([&](std::size_t cell) {
                glm::dvec2 const& range = cells.GetRange(cell);
                bool const showsCoarse = range.y > 0.8 * kFineShare;
                bool const showsFine = range.y > sharp.x && range.x < std::max(1.2 * kFineShare, sharp.y);
                return showsFine == hasFine && showsCoarse == hasCoarse;
            }));
        }
    }
}

}  // namespace Kaltor::Ogl

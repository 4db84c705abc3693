// Mixing a sharp picture with a much blurred one shows both, one as a veil over the other. Between copies whose widths
// are only a factor of 2 apart the mixture looks like the blur that lies between them: its variance is the mean of
// their variances. Each copy is made from a picture that is reduced until a few taps are enough, so the cost hardly
// depends on the width. Each copy is drawn only around the parts that show it. The blur's taps stand two texels apart,
// so detail of two texels must not reach the blur: each reduction takes the mean of two texels along each axis of the
// reduced picture, which removes it.

#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurKernel.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kReduce[] = R"glsl(#version 120
uniform sampler2D tex;
uniform vec2 half_step;   // half a texel of the target
varying vec2 TexCoord0;
void main() {
    vec2 across = vec2(half_step.x, -half_step.y);
    gl_FragColor = (texture2D(tex, TexCoord0 - half_step) + texture2D(tex, TexCoord0 + half_step)
                  + texture2D(tex, TexCoord0 - across) + texture2D(tex, TexCoord0 + across)) * 0.25;
}
)glsl";

constexpr int kPairs = 4;  ///< pairs of taps where the picture was reduced

/// A scale that gives `EffectBlur` this many pairs of taps in a picture with this larger side.
double GetScale(int pairs, double side) {
    return (pairs + 0.5) / side;
}

/// Square texels.
double GetVariance(BlurKernel const& kernel) {
    double sum = 0.0;
    for (int i = 1; i <= kernel.size; ++i) {
        sum += 2.0 * std::pow(2.0 * i, 2.0) * std::exp(static_cast<double>(kernel.sigma) * i * i);
    }
    return sum * kernel.norm;
}

/// The average effect of linear interpolation.
constexpr double kLinearVariance = 1.0 / 6.0;
constexpr double kReduceVariance = 0.25;

double GetSide(Frame const& frame) {
    return std::max(frame.GetWidth(), frame.GetHeight());
}

/// Texels of a copy that are needed around its wanted part: for its taps, and for the reduction to it.
constexpr double kMargin = 12.0;

}  // namespace

/// Copies of the picture, each reduced from the one before.
class BlurLevels::Reduction {
public:
    explicit Reduction(BlurLevels const& owner)
        : levels(owner), pictureSide(Ogl::GetSide(owner.picture)), side(pictureSide), last(&owner.source.Get()) {}

    /// Texels along the larger side of the last copy; at first those of the picture.
    double GetSide() const { return side; }
    /// The variance that reducing to the last copy adds, in squares of the picture's larger side.
    double GetVariance() const { return variance; }

    /// The next copy, `wanted` texels along the larger side, drawn where the picture is blurred, with `margin` (sides
    /// of the picture) around that.
    Src Reduce(double wanted, double margin) {
        double const ratio = wanted / pictureSide;
        auto const shorten = [ratio](std::uint32_t length) {
            return std::max(static_cast<std::uint32_t>(std::lround(length * ratio)), 1U);
        };
        Frame const& picture = levels.picture;
        Conf::FrameInfo const info{shorten(picture.GetWidth()), shorten(picture.GetHeight())};
        Src smaller = DataVideoOGL::Create(picture.GetPixFmt(), info);
        levels.Cut([this](std::size_t cell) { return levels.cells.GetRange(cell).y > 0.0; }, margin, info);
        Pass(levels.storage, "BlurLevels_reduce", kReduce)
            .Texture("tex", 0, *last)
            .Set("half_step", glm::vec2(0.5 / info.width, 0.5 / info.height))
            .DrawTo(*smaller);
        variance += kReduceVariance / std::pow(wanted, 2.0) + kLinearVariance / std::pow(side, 2.0);
        kept = smaller->FrameData();
        last = &kept.GetFirstTexture();
        side = Ogl::GetSide(kept);
        return smaller;
    }

private:
    BlurLevels const& levels;
    double pictureSide;
    double side;
    double variance = 0.0;
    Texture const* last;
    Frame kept;  ///< the frame that owns `last`, unless that is the picture
};

BlurLevels::BlurLevels(Frame const& pictureToBlur, double scale, AmountCells const& amountCells,
                       ShaderStorage const& shaderStorage)
    : picture(pictureToBlur), source(picture, shaderStorage), cells(amountCells), storage(shaderStorage) {
    EnableState const scissor(GL_SCISSOR_TEST);
    std::array<Copy, kCount> const copies = MakeCopies(scale);
    for (std::size_t cell = 0; cell < cells.GetCount(); ++cell) {
        spans.push_back(FindSpan(cells.GetRange(cell)));
    }
    for (std::size_t i = 0; i < kCount; ++i) {
        auto const isWanted = [this, i](std::size_t cell) {
            return spans[cell].first <= i + 1 && i < spans[cell].last;
        };
        if (copies[i].reduced && cells.GetBounds(isWanted)) {
            levels[i] = MakeLevel(copies[i], isWanted);
        }
    }
}

std::array<BlurLevels::Copy, BlurLevels::kCount> BlurLevels::MakeCopies(double scale) {
    double const side = GetSide(picture);
    double const full = scale * 2.0 / 3.0;  // standard deviation; `EffectBlur` reaches 3 of them
    BlurKernel const kernel(1, 1, GetScale(kPairs, 1.0));
    double const reducedDeviation = std::sqrt(GetVariance(kernel) + kReduceVariance + 2.0 * kLinearVariance);
    double const margin = kMargin * full / reducedDeviation + 2.0 / side;

    Reduction reduction(*this);
    std::array<Copy, kCount> copies;
    for (std::size_t i = 0; i < kCount; ++i) {
        double const deviation = full / std::pow(2.0, static_cast<double>(kCount - 1 - i));
        double const wanted = std::min(reducedDeviation / deviation, side);
        double const pixels = deviation * side;
        if (pixels < std::sqrt(kReduceVariance)) {
            continue;  // no visible blur yet
        }
        while (reduction.GetSide() > 2.0 * wanted + 1.0) {
            reduction.Reduce(std::ceil(reduction.GetSide() / 2.0), margin);
        }
        copies[i].reduced = reduction.Reduce(wanted, margin);
        int& pairs = copies[i].pairs;
        pairs = wanted < side
                    ? kPairs
                    : static_cast<int>(std::lround(
                          1.5 * std::sqrt(std::max(pixels * pixels - kReduceVariance - kLinearVariance, 0.0))));
        double const squareTexels = std::pow(reduction.GetSide(), 2.0);
        double variance = reduction.GetVariance() + kLinearVariance / squareTexels;
        if (pairs > 0) {
            variance += GetVariance(BlurKernel(1, 1, GetScale(pairs, 1.0))) / squareTexels;
        }
        variances[static_cast<int>(i)] = static_cast<float>(variance / (full * full));
    }
    return copies;
}

Frame BlurLevels::MakeLevel(Copy const& copy, AmountCells::Predicate const& isWanted) const {
    Frame const reduced = copy.reduced->FrameData();
    if (copy.pairs == 0) {
        return reduced;
    }
    double const side = GetSide(reduced);
    EffectBlur const blur(GetScale(copy.pairs, side));
    Conf::FrameInfo const info = copy.reduced->GetFrameInfo();
    Src const blurred = DataVideoOGL::Create(picture.GetPixFmt(), info);
    Cut(isWanted, kMargin / side, info);
    std::optional<Interlude> whole;
    if (OglManager::GetInstance().GetStrategy().filtersOnCpu) {
        whole.emplace();  // the processor blurs all of it in less time than a part of it is drawn in
    }
    blur.Processing(blurred.get(), copy.reduced, 0.0, 0.0, storage, nullptr);
    return blurred->FrameData();
}

void BlurLevels::Cut(AmountCells::Predicate const& isWanted, double margin, Conf::FrameInfo const& info) const {
    double const around = margin * GetSide(picture) / std::min(picture.GetWidth(), picture.GetHeight());
    glm::dvec4 const bounds = cells.GetBounds(isWanted).value_or(glm::dvec4(0.0));
    glm::dvec4 const area = glm::clamp(bounds + glm::dvec4(-around, -around, around, around), 0.0, 1.0);
    // All pixels that the rectangle touches.
    auto const floor = [](double at, std::uint32_t length) { return static_cast<GLint>(std::floor(at * length)); };
    auto const ceil = [](double at, std::uint32_t length) { return static_cast<GLint>(std::ceil(at * length)); };
    GLint const left = floor(area.x, info.width);
    GLint const bottom = floor(area.y, info.height);
    glScissor(left, bottom, std::max(ceil(area.z, info.width) - left, 0),
              std::max(ceil(area.w, info.height) - bottom, 0));
}

BlurLevels::Span BlurLevels::FindSpan(glm::dvec2 const& range) const {
    Span span{0, kCount, range.x >= 1.0};
    for (std::size_t i = kCount; i-- > 0;) {
        auto const variance = static_cast<double>(variances[static_cast<int>(i)]);
        if (range.y * range.y <= variance || range.y == 0.0) {
            span.last = i + 1;
        }
        if (span.first == 0 && variance > 0.0 && range.x * range.x >= variance) {
            span.first = i + 1;
        }
    }
    span.last = range.y == 0.0 ? 0 : std::max(span.first, span.last);
    return span;
}

std::string BlurLevels::MakeFunction(Span const& span) const {
    std::string text = "uniform vec4 blur_from;\nuniform vec4 blur_slope;\n";
    for (std::size_t level = std::max<std::size_t>(span.first, 1); level <= span.last; ++level) {
        text += fmt::format("uniform sampler2D blur_{};\n", level);
    }
    text += "vec4 Blurred(vec4 origin, vec2 uv, float amount) {\n";
    if (span.last == 0) {
        return text + "    return origin;\n}\n";
    }
    if (span.first > 0) {
        text += fmt::format("    vec4 sum = texture2D(blur_{}, uv);\n", span.first);
    } else {
        text += "    vec4 sum = vec4(origin.rgb * origin.a, origin.a);\n";
    }
    if (span.first < span.last) {
        text += span.isFull ? "    amount = 1.0;\n" : "";
        text += "    vec4 share = clamp((vec4(amount * amount) - blur_from) * blur_slope, vec4(0.0), vec4(1.0));\n";
    }
    for (std::size_t level = span.first + 1; level <= span.last; ++level) {
        text += fmt::format("    sum = mix(sum, texture2D(blur_{}, uv), share.{});\n", level, "xyzw"[level - 1]);
    }
    // Where coverage is close to zero, the pixel's own colour is as good as any.
    text += "    vec3 color = (sum.rgb + origin.rgb * 0.001) / (sum.a + 0.001);\n";
    text += "    return vec4(origin.a > 0.0 ? color : origin.rgb, origin.a);\n}\n";
    return text;
}

void BlurLevels::DrawTo(DataVideoOGL& target, std::string_view name, std::string_view program,
                        Preparation const& prepare) const {
    constexpr int kFirstUnit = 1;
    glm::vec4 const from(0.0F, variances.x, variances.y, variances.z);
    for (Span const& span : std::set<Span>(spans.begin(), spans.end())) {
        Pass pass(storage, fmt::format("{}_{}_{}{}", name, span.first, span.last, span.isFull ? "_full" : ""),
                  [&] { return fmt::format("#version 120\n{}{}", MakeFunction(span), program); });
        for (std::size_t level = std::max<std::size_t>(span.first, 1); level <= span.last; ++level) {
            Frame const& frame = levels[level - 1];
            pass.Texture(fmt::format("blur_{}", level), kFirstUnit + static_cast<int>(level) - 1,
                         frame.IsValid() ? frame.GetFirstTexture() : source.Get());
        }
        bool const isMixed = span.first < span.last;
        if (isMixed) {
            pass.Set("blur_from", from).Set("blur_slope", 1.0F / glm::max(variances - from, glm::vec4(1e-6F)));
        }
        prepare(pass, isMixed && !span.isFull);
        pass.DrawTo(target, cells.MakeMesh([&](std::size_t cell) { return spans[cell] == span; }));
    }
}

}  // namespace Kaltor::Ogl

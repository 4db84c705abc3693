// The picture, smaller, in a frame of its own: over a background of one colour or of itself, enlarged and blurred, with
// a border and the shadow that it throws as a card would. Picture, border and background are mixed at each pixel by the
// part of it that each covers. The shadow is the card's rectangle under a Gaussian, which is a product of two
// differences of error functions.
//
// The strongly blurred background is drawn small and enlarged with a smooth kernel; noise below one step of colour
// keeps its slow gradients free of bands.

#include <algorithm>
#include <cmath>
#include <string>

#include <glm/vec4.hpp>

#include "Ogl/GlState.h"
#include "Ogl/Noise.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/EffectsOgl/Effects/View.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsGeometryEffects.h"

namespace Kaltor::Ogl {
namespace {

// Rectangles are left, bottom, right, top, in pixels. Backgrounds are premultiplied.
constexpr char kFragment[] = R"glsl(
uniform sampler2D picture;
uniform vec2 size;    // pixels
uniform vec4 inner;   // the picture
uniform vec4 outer;   // the border
uniform vec4 shade;
uniform vec2 sharpness;  // 1 / (sqrt(2) sigma)
uniform float shadow;
uniform vec4 border_color;
varying vec2 TexCoord0;

float Cover(vec2 pixel, vec4 box) {
    vec2 side = clamp(min(pixel + vec2(0.5), box.zw) - max(pixel - vec2(0.5), box.xy), 0.0, 1.0);
    return side.x * side.y;
}

// M. Abramowitz, I. Stegun, "Handbook of Mathematical Functions", 7.1.27: within 0.0005.
vec4 Erf(vec4 x) {
    vec4 a = abs(x);
    vec4 p = vec4(1.0) + a * (vec4(0.278393) + a * (vec4(0.230389) + a * (vec4(0.000972) + a * 0.078108)));
    p *= p;
    return sign(x) * (vec4(1.0) - vec4(1.0) / (p * p));
}

void main() {
    vec2 pixel = TexCoord0 * size;
    float framed = Cover(pixel, outer);
    float shown = min(Cover(pixel, inner), framed);
    vec4 color = texture2D(picture, TexCoord0);
    vec4 edge = Erf((shade - pixel.xyxy) * sharpness.xyxy);
    float dark = shadow * (1.0 - framed) * 0.25 * (edge.z - edge.x) * (edge.w - edge.y);
    float card = color.a * shown;
    float frame = border_color.a * (framed - shown);
    vec4 back = Background(TexCoord0);
    back = vec4(back.rgb * (1.0 - dark), mix(back.a, 1.0, dark));
    vec3 sum = color.rgb * card + border_color.rgb * frame + back.rgb * (1.0 - card - frame);
    float alpha = card + frame + back.a * (1.0 - card - frame);
    gl_FragColor = vec4(sum / max(alpha, 1.0e-6), alpha);
}
)glsl";

constexpr char kColor[] = R"glsl(
uniform vec4 color;
vec4 Background(vec2 at) {
    return vec4(color.rgb * color.a, color.a);
}
)glsl";

// The mean of 2 x 2 texels also joins the even and the odd ones, which the blur keeps apart.
constexpr char kBlurred[] = R"glsl(
uniform sampler2D blurred;
uniform sampler2D noise;
uniform vec2 half_texel;
vec4 Background(vec2 at) {
    vec2 other = vec2(half_texel.x, -half_texel.y);
    vec4 sum = texture2D(blurred, at + half_texel) + texture2D(blurred, at - half_texel)
             + texture2D(blurred, at + other) + texture2D(blurred, at - other);
    return 0.25 * sum + vec4((texture2D(noise, gl_FragCoord.xy / kNoiseSize).rgb - vec3(0.5)) / 255.0, 0.0);
}
)glsl";

using Background = Proc::SettingsEffectSubFrame::Background;
constexpr std::uint8_t kOpaque = 255;

}  // namespace

class EffectSubFrame final : public EffectWithSettings<Proc::SettingsEffectSubFrame> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        double const zoom = settings.size;
        glm::dvec2 const centre{settings.x, settings.y};
        View const view{0.5 - (centre - 0.5) / zoom, zoom};
        if (view == View()) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Frame const shown = MakeView(picture, view, storage);

        glm::dvec2 const size{picture.GetWidth(), picture.GetHeight()};
        // The larger side as it is shown, in pixels along either axis.
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        glm::dvec2 const larger = size * glm::dvec2(std::max(1.0 / aspect, 1.0), std::max(aspect, 1.0));
        ViewBorders const inner(view, size);
        glm::dvec2 const border = larger * settings.border;
        constexpr double kSoftness = 0.03;  // the shadow's sigma, of a card as large as the frame
        constexpr glm::dvec2 kFall{0.006, -0.02};
        auto const box = [](ViewBorders const& borders, glm::dvec2 const& wider, glm::dvec2 const& shift) {
            return glm::vec4(glm::vec2(borders.low - wider + shift), glm::vec2(borders.high + wider + shift));
        };

        bool const isBlurred = settings.background != Background::Color;
        Src const blurred = isBlurred ? Blur(*src, picture, aspect, storage) : Src();
        Frame const back = isBlurred ? blurred->FrameData() : picture;
        Pass pass(storage, isBlurred ? "EffectSubFrame_blurred" : "EffectSubFrame_color",
                  {kGlslVersion, kNoiseSizeGlsl, isBlurred ? kBlurred : kColor, kFragment});
        pass.Texture("picture", 0, shown, TextureFilter::Nearest)
            .Set("size", glm::vec2(size))
            .Set("inner", box(inner, {}, {}))
            .Set("outer", box(inner, border, {}))
            .Set("shade", box(inner, border, larger * zoom * kFall))
            .Set("sharpness", glm::vec2(1.0 / (std::sqrt(2.0) * kSoftness * zoom * larger)))
            .Set("shadow", settings.shadow)
            .Set("border_color", settings.borderColor);
        if (isBlurred) {
            pass.Texture("blurred", 1, back)
                .Texture("noise", 2, storage.Noise(), TextureFilter::Nearest)
                .Set("half_texel", 0.5F / static_cast<float>(back.GetWidth()),
                     0.5F / static_cast<float>(back.GetHeight()));
        } else {
            pass.Set("color", settings.color);
        }
        pass.DrawTo(*dst);
    }

    /// The output has alpha also over a translucent colour.
    PixFmt GetOutputFormat(PixFmt srcFormat) const override {
        bool const isClear = settings.background == Background::Color && settings.color.alpha < kOpaque;
        return isClear ? AlphaFormat(srcFormat) : OutputFormat(srcFormat);
    }

private:
    /// The picture enlarged about its middle and blurred, small and premultiplied.
    Src Blur(DataVideoOGL const& src, Frame const& picture, double aspect, ShaderStorage const& storage) const {
        constexpr double kLargestSide = 240.0;
        constexpr double kSmaller = 0.6;  // at least, so that what is enlarged is still reduced: by means over alpha
        constexpr double kCrop = 0.125;
        double const side = std::min(kLargestSide, kSmaller * std::max(picture.GetWidth(), picture.GetHeight()));
        auto const scale = [side](double share) {
            return static_cast<std::uint32_t>(std::max(1L, std::lround(side * std::min(share, 1.0))));
        };
        Conf::FrameInfo const info{scale(aspect), scale(1.0 / aspect), 1, 1};
        PixFmt const format = OutputFormat(src.GetPixFmt());
        Src const small = DataVideoOGL::Create(format, info);
        Src blurred = DataVideoOGL::Create(format, info);
        constexpr float kLow = kCrop;
        constexpr float kHigh = 1.0 - kCrop;
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners({kLow, kLow, -1, -1, kHigh, kLow, 1, -1, kHigh, kHigh, 1, 1, kLow, kHigh, -1, 1});
        AttachTarget(*small, storage);
        {
            EnableState const blend(GL_BLEND);
            glBlendFuncSeparate(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);
            picture.Draw(quad, storage);
        }
        blur.Processing(blurred.get(), small, 0.0, 0.0, storage, nullptr);
        return blurred;
    }

    EffectBlur blur{0.05};
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectSubFrame>();

}  // namespace Kaltor::Ogl

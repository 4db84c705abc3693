#include "Proc/Effects/EffectsOgl/Effects/View.h"

#include <glm/common.hpp>
#include <glm/vector_relational.hpp>

#include "Ogl/Noise.h"
#include "Proc/Effects/EffectsOgl/Effects/Backdrop.h"
#include "Proc/Effects/EffectsOgl/Effects/CubicView.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {
namespace {

// Mixes each pixel by the part of it that the picture covers.
constexpr char kAround[] = R"glsl(
uniform sampler2D tex;
uniform vec2 size;  // pixels
uniform vec2 low;
uniform vec2 high;
#ifdef IS_BLURRED
uniform sampler2D back;   // premultiplied
uniform sampler2D noise;
vec4 around;
#else
uniform vec4 around;
#endif
varying vec2 TexCoord0;
void main() {
#ifdef IS_BLURRED
    vec4 behind = texture2D(back, TexCoord0);
    float grain = texture2D(noise, gl_FragCoord.xy / kNoiseSize).r - 0.5;  // against bands
    around = vec4(0.6 * behind.rgb / max(behind.a, 1.0e-4) + vec3(grain / 255.0), behind.a);
#endif
    vec2 pixel = TexCoord0 * size;
    vec2 covered = clamp(min(pixel + vec2(0.5), high) - max(pixel - vec2(0.5), low), 0.0, 1.0);
    vec4 color = texture2D(tex, TexCoord0);
    float share = covered.x * covered.y;
    float inside = share * color.a;
    float alpha = mix(around.a, color.a, share);
    gl_FragColor = vec4(mix(around.rgb, color.rgb, inside / max(alpha, 1.0e-6)), alpha);
}
)glsl";

Placement Place(View const& view) {
    return {glm::mat2(static_cast<float>(1.0 / view.zoom)), glm::vec2(view.centre - 0.5 / view.zoom)};
}

glm::dvec2 GetSize(Frame const& frame) {
    return {frame.GetWidth(), frame.GetHeight()};
}

}  // namespace

bool FillsFrame(View const& view, glm::dvec2 const& size) {
    constexpr double kDrift = 1e-6;
    ViewBorders const borders(view, size);
    return glm::all(glm::lessThan(borders.low, glm::dvec2(kDrift))) &&
           glm::all(glm::greaterThan(borders.high, size - kDrift));
}

Frame MakeView(Frame const& picture, View const& view, ShaderStorage const& storage) {
    Frame result;
    result.Allocate(picture.GetPixFmt(), picture.GetWidth(), picture.GetHeight());
    if (view.zoom >= kLeastCubicScale) {
        DrawCubic(picture, Place(view), view.zoom, result.GetFirstTexture(), storage);
        return result;
    }
    // In whole pixels, including those that the border cuts.
    glm::dvec2 const size = GetSize(picture);
    ViewBorders const borders(view, size);
    glm::dvec2 const low = glm::floor(borders.low) / size;
    glm::dvec2 const high = glm::ceil(borders.high) / size;
    auto const toPicture = [&view](glm::dvec2 const& at) { return glm::vec2(view.centre + (at - 0.5) / view.zoom); };
    auto const toClip = [](glm::dvec2 const& at) { return glm::vec2(2.0 * at - 1.0); };
    glm::vec2 const from = toPicture(low);
    glm::vec2 const to = toPicture(high);
    glm::vec2 const begin = toClip(low);
    glm::vec2 const end = toClip(high);
    Quad quad(GL_DYNAMIC_DRAW);
    quad.SetCorners({from.x, from.y, begin.x, begin.y, to.x, from.y, end.x, begin.y,  //
                     to.x, to.y, end.x, end.y, from.x, to.y, begin.x, end.y});
    storage.FBO().Attach(result.GetFirstTexture());
    picture.Draw(quad, storage);
    return result;
}

void DrawView(DataVideoOGL& dst, boost::intrusive_ptr<DataVideoOGL> const& src, View const& view,
              std::optional<Proc::Color> const& wanted, ShaderStorage const& storage) {
    if (view == View()) {
        DrawUnchanged(dst, *src, storage);
        return;
    }
    if (IsOnPlanes(dst)) {
        DrawCubicOnPlanes(*src, Place(view), dst, storage);
        return;
    }
    Frame const picture = src->FrameData().ConvertToRGBA(storage);
    Texture const& target = dst.FrameData().GetFirstTexture();
    glm::dvec2 const size = GetSize(picture);
    ViewBorders const borders(view, size);
    if (FillsFrame(view, size)) {
        DrawCubic(picture, Place(view), view.zoom, target, storage);
        return;
    }
    constexpr std::uint8_t kOpaque = 255;
    Frame const drawn = MakeView(picture, view, storage);
    // A cut-out keeps its surroundings.
    std::optional<Proc::Color> const around =
        wanted || target.IsOpaque() ? wanted : std::optional(Proc::Color{0, 0, 0, 0});
    Src const back = around ? Src() : MakeBackdrop(*src, picture, storage);
    Pass pass(storage, around ? "View_around" : "View_blurred",
              {kGlslVersion, kNoiseSizeGlsl, around ? "" : "#define IS_BLURRED\n", kAround});
    pass.Texture("tex", 0, drawn, TextureFilter::Nearest)
        .Set("size", glm::vec2(size))
        .Set("low", glm::vec2(borders.low))
        .Set("high", glm::vec2(borders.high));
    if (around) {
        pass.Set("around",
                 target.IsOpaque() ? Proc::Color{around->red, around->green, around->blue, kOpaque} : *around);
    } else {
        pass.Texture("back", 1, back->FrameData()).Texture("noise", 2, storage.Noise(), TextureFilter::Nearest);
    }
    pass.DrawTo(target);
}

}  // namespace Kaltor::Ogl

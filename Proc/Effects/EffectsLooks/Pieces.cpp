#include "Proc/Effects/EffectsLooks/Pieces.h"

#include <algorithm>
#include <cmath>
#include <list>

#include "Proc/Effects/EffectsLooks/Easing.h"
#include "Proc/Effects/Shared/Aspect.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kCloudFragment[] = R"glsl(
uniform vec2 scale;
uniform vec2 offset;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = Clouds(TexCoord0 * scale + offset);
}
)glsl";

// All octaves of the clouds repeat together after so many cells: 100 of the noise's periods, as their frequencies are
// whole hundredths.
constexpr double kCloudPeriod = 51200.0;

TextureForm MakeMapForm(glm::vec2 sides) {
    constexpr float kSide = 640.0F;
    auto const count = [](float side) { return static_cast<std::uint32_t>(std::max(std::ceil(kSide * side), 1.0F)); };
    return {count(sides.x), count(sides.y), TexelFormat::Rgba16, false};
}

}  // namespace

Pictures::Pictures(Src const& first, Src const& second, ShaderStorage const& storage)
    : outgoing(first->FrameData().ConvertToRGBA(storage)),
      incoming(second->FrameData().ConvertToRGBA(storage)),
      from(outgoing, storage),
      to(incoming, storage),
      sides(GetSides(GetDisplayAspect(first->GetFrameInfo()))) {}

Pass& Pictures::GiveTo(Pass& pass) const {
    return pass.Texture("tex1", 0, from.Get()).Texture("tex2", 1, to.Get());
}

double Pictures::GetPixels() const {
    return std::max(outgoing.GetWidth(), outgoing.GetHeight());
}

CloudMap::CloudMap(glm::vec2 sides, double cells, glm::dvec2 offset, ShaderStorage const& storage)
    : map(MakeMapForm(sides)) {
    Pass(storage, "Looks_Clouds", {kGlslVersion, kNoiseFunctions, kCloudFragment})
        .Texture("noise", 0, storage.Noise())
        .Set("scale", sides * static_cast<float>(cells))
        .Set("offset", glm::vec2(glm::dvec2(std::fmod(offset.x, kCloudPeriod), std::fmod(offset.y, kCloudPeriod))))
        .DrawTo(map.Get());
}

void DrawStreaks(Texture const& colors, Texture const& target, double pixels, StreakForm const& form,
                 std::function<void(StreakPass const&)> const& draw) {
    constexpr double kShort = 24.0;
    constexpr int kMostOfShort = 14;
    if (pixels <= kShort) {
        draw({colors, target, 1.0, static_cast<double>(CountSamples(pixels, kMostOfShort)), true, true});
        return;
    }
    double const count =
        std::clamp(std::ceil(std::pow(pixels / form.between, 1.0 / form.passes)), form.least, form.most);
    TextureForm const& size = colors.GetForm();
    TexelFormat const format = colors.IsOpaque() ? LikeWithAlpha(size.format) : FinerWithAlpha(size.format);
    std::list<PooledTexture> fine;
    for (int left = form.passes - 1; left >= 0; --left) {
        Texture const& from = fine.empty() ? colors : fine.back().Get();
        bool const isFirst = fine.empty();
        if (left > 0) {
            fine.emplace_back(TextureForm{size.width, size.height, format, false});
        }
        draw({from, left > 0 ? fine.back().Get() : target, std::pow(count, -left), count, isFirst, left == 0});
    }
}

}  // namespace Kaltor::Ogl

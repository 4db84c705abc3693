#include "Proc/Effects/EffectsOgl/Effects/CubicView.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorCubic.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Planes.h"

namespace Kaltor::Ogl {
namespace {

// The weights of the texels -1, 0, 1, 2 for a point at `x` between the texels 0 and 1.
constexpr char kWeights[] = R"glsl(
uniform sampler2D tex;
uniform vec2 size;        // texels
uniform mat2 matrix;
uniform vec2 origin;
uniform float footprint;  // texels that a pixel covers along an axis, 1 to 1.25
uniform float share;      // of the mean over these
varying vec2 TexCoord0;

vec4 Weigh(float x) {
    vec4 cubic = mat4(0.0, 1.0, 0.0, 0.0, -0.5, 0.0, 0.5, 0.0, 1.0, -2.5, 2.0, -0.5, -0.5, 1.5, -1.5, 0.5)
               * vec4(1.0, x, x * x, x * x * x);
    vec4 mean = clamp(vec4(0.5 + 0.5 * footprint) - abs(vec4(-1.0, 0.0, 1.0, 2.0) - vec4(x)), 0.0, 1.0) / footprint;
    return mix(cubic, mean, share);
}
)glsl";

// One linear sample reads the two texels in the middle, which weigh most, if both have weight.
constexpr char kOpaque[] = R"glsl(
vec3 Row(float y, vec3 x, vec3 weights) {
    return texture2D(tex, vec2(x.x, y)).rgb * weights.x + texture2D(tex, vec2(x.y, y)).rgb * weights.y
         + texture2D(tex, vec2(x.z, y)).rgb * weights.z;
}

void main() {
    vec2 place = (matrix * TexCoord0 + origin) * size - vec2(0.5);
    vec2 first = floor(place);
    vec4 wx = Weigh(place.x - first.x);
    vec4 wy = Weigh(place.y - first.y);
    vec3 w = vec3(wx.x, wx.y + wx.z, wx.w);
    vec3 v = vec3(wy.x, wy.y + wy.z, wy.w);
    vec3 x = (vec3(first.x) + vec3(-0.5, 0.5 + wx.z / w.y, 2.5)) / size.x;
    vec3 y = (vec3(first.y) + vec3(-0.5, 0.5 + wy.z / v.y, 2.5)) / size.y;
    gl_FragColor = vec4(Row(y.x, x, w) * v.x + Row(y.y, x, w) * v.y + Row(y.z, x, w) * v.z, 1.0);
}
)glsl";

constexpr char kWithAlpha[] = R"glsl(
vec4 Texel(float x, float y) {
    vec4 color = texture2D(tex, vec2(x, y));
    return vec4(color.rgb * color.a, color.a);
}

vec4 Row(float y, vec4 x, vec4 weights) {
    return Texel(x.x, y) * weights.x + Texel(x.y, y) * weights.y + Texel(x.z, y) * weights.z
         + Texel(x.w, y) * weights.w;
}

void main() {
    vec2 place = (matrix * TexCoord0 + origin) * size - vec2(0.5);
    vec2 first = floor(place);
    vec4 wx = Weigh(place.x - first.x);
    vec4 wy = Weigh(place.y - first.y);
    vec4 x = (vec4(first.x) + vec4(-0.5, 0.5, 1.5, 2.5)) / size.x;
    vec4 y = (vec4(first.y) + vec4(-0.5, 0.5, 1.5, 2.5)) / size.y;
    vec4 sum = Row(y.x, x, wx) * wy.x + Row(y.y, x, wx) * wy.y + Row(y.z, x, wx) * wy.z + Row(y.w, x, wx) * wy.w;
    gl_FragColor = Straight(sum.rgb / sum.a, min(sum.a, 1.0));  // what overshoots is no more than opaque
}
)glsl";

/// The weights of `kWeights` for `count` pixels along one axis of the target.
std::vector<CubicTaps> MakeCubicTaps(std::uint32_t count, std::uint32_t texels, double scale, double origin,
                                     double footprint, double share) {
    constexpr double kFarthest = 1e6;
    std::vector<CubicTaps> taps;
    taps.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        double const place = ((i + 0.5) / count * scale + origin) * texels - 0.5;
        double const first = std::floor(std::clamp(place, -kFarthest, kFarthest));
        double const x = std::clamp(place - first, 0.0, 1.0);
        auto const mix = [&](double cubic, double at) {
            double const mean = std::clamp(0.5 + 0.5 * footprint - std::fabs(at - x), 0.0, 1.0) / footprint;
            return cubic + (mean - cubic) * share;
        };
        taps.push_back({static_cast<int>(first), mix(x * (-0.5 + x * (1.0 - 0.5 * x)), -1.0),
                        mix(x * (0.5 + x * (2.0 - 1.5 * x)), 1.0), mix(x * x * (-0.5 + 0.5 * x), 2.0)});
    }
    return taps;
}

/// For chroma of half the size, `count` samples: the weights of the pixels that share each. Enlarged, these reach over
/// three samples at most.
std::vector<CubicTaps> HalveTaps(std::vector<CubicTaps> const& pixels, int count) {
    int const texels = static_cast<int>(pixels.size());
    std::vector<CubicTaps> taps;
    for (int i = 0; i < count; ++i) {
        int const end = std::min(2 * i + 2, texels);
        auto const toSample = [texels](int texel) { return std::clamp(texel, 0, texels - 1) / 2; };
        int const first = toSample(pixels[static_cast<std::size_t>(2 * i)].first - 1);
        std::array<double, 4> weights{};
        for (int pixel = 2 * i; pixel < end; ++pixel) {
            CubicTaps const& tap = pixels[static_cast<std::size_t>(pixel)];
            std::array<double, 4> const own{tap.before, 1.0 - tap.before - tap.behind - tap.last, tap.behind, tap.last};
            for (int k = 0; k < static_cast<int>(own.size()); ++k) {
                weights.at(static_cast<std::size_t>(toSample(tap.first - 1 + k) - first)) +=
                    own[static_cast<std::size_t>(k)] / (end - 2 * i);
            }
        }
        taps.push_back({first + 1, weights[0], weights[2], weights[3]});
    }
    return taps;
}

}  // namespace

Placement Move(double aspect, glm::dvec2 const& shift, double roll, double zoom) {
    glm::dvec2 const sides = GetSides(aspect);
    double const cosine = std::cos(roll) / zoom;
    double const sine = std::sin(roll) / zoom;
    glm::dmat2 const back(cosine, -sine * sides.x / sides.y, sine * sides.y / sides.x, cosine);
    return {glm::mat2(back), glm::vec2(0.5 - back * (0.5 + shift / sides))};
}

double HideBorders(double aspect, double shift, double roll) {
    glm::dvec2 const sides = GetSides(aspect);
    // Along each side, the extent of the turned frame depends on both of its sides.
    auto const along = [&](double side, double other) {
        double const worst = std::min(roll, std::atan(other / side));
        return std::cos(worst) + other / side * std::sin(worst) + 2.0 * shift / side;
    };
    return std::max(along(sides.x, sides.y), along(sides.y, sides.x));
}

void DrawCubic(Frame const& picture, Placement const& placement, double scale, Texture const& target,
               ShaderStorage const& storage) {
    bool const isOpaque = picture.GetFirstTexture().IsOpaque();
    double const footprint = std::clamp(1.0 / scale, 1.0, 1.0 / kLeastCubicScale);
    double const share = (footprint - 1.0) / (1.0 / kLeastCubicScale - 1.0);
    Texture const& source = picture.GetFirstTexture();
    glm::mat2 const& matrix = placement.matrix;
    if (isOpaque && matrix[0][1] == 0.0F && matrix[1][0] == 0.0F && FiltersOnCpu(source, target)) {
        Samples const from = ReadSamples(source, 0, storage);
        Samples const to = TakeSamples(target, 1, storage);
        DrawCubicOnProcessor(
            from, to,
            MakeCubicTaps(picture.GetWidth(), picture.GetWidth(), matrix[0][0], placement.origin.x, footprint, share),
            MakeCubicTaps(picture.GetHeight(), picture.GetHeight(), matrix[1][1], placement.origin.y, footprint, share),
            storage.Processor());
        WriteSamples(to, target, storage);
        return;
    }
    Pass(storage, isOpaque ? "Cubic_opaque" : "Cubic_alpha",
         {kGlslVersion, kStraightAlpha, kWeights, isOpaque ? kOpaque : kWithAlpha})
        .Texture("tex", 0, picture, isOpaque ? TextureFilter::Linear : TextureFilter::Nearest)
        .Set("size", static_cast<float>(picture.GetWidth()), static_cast<float>(picture.GetHeight()))
        .Set("matrix", placement.matrix)
        .Set("origin", placement.origin)
        .Set("footprint", footprint)
        .Set("share", share)
        .DrawTo(target);
}

void DrawCubicOnPlanes(DataVideoOGL& picture, Placement const& placement, DataVideoOGL& target,
                       ShaderStorage const& storage) {
    PlaneSource const source(picture);
    Planes const& from = source.Get();
    auto const width = static_cast<std::uint32_t>(from[0].width);
    auto const height = static_cast<std::uint32_t>(from[0].height);
    double const scaleY = placement.matrix[1][1];
    // Rows are counted from the top here.
    double const top = 1.0 - scaleY - placement.origin.y;
    std::vector<CubicTaps> columns = MakeCubicTaps(width, width, placement.matrix[0][0], placement.origin.x, 1.0, 0.0);
    std::vector<CubicTaps> rows = MakeCubicTaps(height, height, scaleY, top, 1.0, 0.0);
    DrawPlanes(target, [&](Planes const& to) {
        for (std::size_t plane = 0; plane < to.size(); ++plane) {
            if (plane == 1) {
                columns = HalveTaps(columns, to[1].width);
                rows = HalveTaps(rows, to[1].height);
            }
            DrawCubicOnProcessor(from[plane], to[plane], columns, rows, storage.Processor());
        }
    });
}

}  // namespace Kaltor::Ogl

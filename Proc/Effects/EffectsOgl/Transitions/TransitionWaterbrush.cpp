// A wide wet brush goes back and forth across the picture and paints the incoming picture over the outgoing one. A
// table of strokes gives for each pixel when the brush passes and how dense its paint is there. Strokes are bent a
// little; their ends and their density are noisy. The last tenth fades to the pure incoming picture.

#include "Proc/Effects/EffectsOgl/Transitions/TransitionWaterbrush.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D rectex;
uniform float rectex_offset;
uniform float arc_factor;
uniform mat2 rot_mat;
uniform float t;
uniform float t_fade;
uniform float step;
varying vec2 TexCoord0;

float row(float column, float at) {
    return texture2D(rectex, vec2(column, at)).r;
}

void main() {
    vec2 place = rot_mat * TexCoord0;
    float straight = (place.x + rectex_offset) * step;
    float dist = (row(straight, 0.3) - place.y) * (place.y - row(straight, 0.1));
    float column = (place.x + rectex_offset + arc_factor * dist) * step;
    float y_begin = row(column, 0.1);
    float y_end = row(column, 0.3);
    float t_offset = row(column, 0.5);
    float t_sign = row(column, 0.7);
    float weight = t_fade;
    if (y_begin <= place.y && place.y <= y_end && t > t_offset + t_sign * place.y) {
        weight = row(column, 0.9) * (1.0 - t_fade) + t_fade;
    }
    gl_FragColor = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), weight);
}
)glsl";

constexpr std::size_t kTableRows = 5;
constexpr float kNoStroke = -1.0F;

/// Noise at the integers, -1 to 1: a hash that wraps around in 32 bits.
double HashNoise(std::uint32_t m) {
    std::uint32_t const q = (m << 13U) ^ m;
    std::uint32_t const hash = (q * (q * q * 15731U + 789221U) + 1376312589U) & 0x7fffffffU;
    constexpr double kScale = 9.313225746154785e-10;  // 2^-30
    return 1.0 - hash * kScale;
}

/// Between the integers with the quintic whose first two derivatives vanish there (Perlin, "Improving Noise", 2002).
double ValueNoise(double x) {
    double const floor = std::floor(x);
    auto const cell = static_cast<std::uint32_t>(static_cast<std::uint64_t>(floor));  // wraps around
    double const f = x - floor;
    double const low = HashNoise(cell);
    double const high = HashNoise(cell + 1U);
    return low + (high - low) * (f * f * f * (f * (6.0 * f - 15.0) + 10.0));
}

/// Eight octaves, -2 to 2. `x` is not negative.
double FractalNoise(double x) {
    constexpr int kOctaves = 8;
    double sum = 0.0;
    double amplitude = 1.0;
    for (int octave = 0; octave < kOctaves; ++octave) {
        sum += amplitude * ValueNoise(x);
        amplitude /= 2.0;
        x *= 2.0;
    }
    return sum;
}

using Point = glm::dvec2;

/// The strokes, each from its lower to its upper end, one after the other along one path. Adds the path's length to
/// `path`.
std::vector<TransitionWaterbrush::CacheImpl::segment> LayOut(std::array<Point, 4> const& area, double low, double high,
                                                             int strokes, double& path) {
    std::vector<TransitionWaterbrush::CacheImpl::segment> segments;
    segments.reserve(static_cast<std::size_t>(strokes));
    for (int k = 0; k < strokes; ++k) {
        double const x = (k + 0.5) / strokes * (high - low) + low;
        std::vector<double> crossings;
        for (std::size_t corner = 0; corner < area.size(); ++corner) {
            Point const& from = area[corner];
            Point const& to = area[(corner + 1) % area.size()];
            double const before = from.x - x;
            double const after = to.x - x;
            if ((before > 0.0) != (after > 0.0)) {
                crossings.push_back(from.y + (to.y - from.y) * before / (before - after));
            }
        }
        if (crossings.size() == 2) {
            auto const [lower, upper] = std::minmax(crossings[0], crossings[1]);
            segments.push_back({glm::vec2(x, lower), glm::vec2(x, upper), path});
            path += upper - lower;
        }
    }
    return segments;
}

}  // namespace

void TransitionWaterbrush::CacheImpl::Reset(int pictureWidth, int pictureHeight, double angle, int strokes,
                                            double margin, double rough) {
    auto const w = static_cast<double>(pictureWidth);
    auto const h = static_cast<double>(pictureHeight);
    double const c = std::cos(angle);
    double const s = std::sin(angle);
    auto const turn = [&](double u, double v) { return Point(u * w * c + v * h * s, v * h * c - u * w * s); };
    std::array<Point, 4> const area{turn(margin, margin), turn(1.0 - margin, margin), turn(1.0 - margin, 1.0 - margin),
                                    turn(margin, 1.0 - margin)};
    bool const isLeaningRight = angle >= 0.0;
    double const low = area[isLeaningRight ? 0 : 3].x;
    double const high = area[isLeaningRight ? 2 : 1].x;
    auto const offset = static_cast<float>(isLeaningRight ? 0.0 : -h * s);
    double path = 0.0;
    std::vector<segment> const segments = LayOut(area, low, high, strokes, path);

    auto const fw = static_cast<float>(pictureWidth);
    auto const fh = static_cast<float>(pictureHeight);
    auto const count = static_cast<std::size_t>(std::ceil(std::sqrt(fw * fw + fh * fh)));
    std::vector<float> values(kTableRows * count);
    auto const at = [&](std::size_t row, std::size_t column) -> float& { return values[row * count + column]; };
    for (std::size_t i = 0; i < count; ++i) {
        double const x = static_cast<double>(i) - offset;
        // The last stroke ends before `high`, whatever the division rounds to.
        std::size_t const k =
            x > low && x < high
                ? std::min(static_cast<std::size_t>((x - low) * strokes / (high - low)), segments.size() - 1)
                : segments.size();
        if (k >= segments.size()) {
            at(0, i) = kNoStroke;
            at(1, i) = kNoStroke;
            continue;
        }
        segment const& stroke = segments[k];
        constexpr double kColumnsPerCell = 20.0;
        constexpr double kCellsPerStroke = 1000.0;
        constexpr double kFray = 20.0;  // pixels
        double const noise =
            FractalNoise(static_cast<double>(i) / kColumnsPerCell + static_cast<double>(k) * kCellsPerStroke);
        bool const isUpwards = k % 2 == 0;
        at(0, i) = static_cast<float>(stroke.begin.y + kFray * noise);
        at(1, i) = static_cast<float>(stroke.end.y + kFray * noise);
        at(2, i) = static_cast<float>(isUpwards ? stroke.start - at(0, i) : at(1, i) + stroke.start);
        at(3, i) = isUpwards ? 1.0F : -1.0F;
        at(4, i) = static_cast<float>(rough * (noise * 0.5 + 1.0) * 0.5 + (1.0 - rough));
    }

    table = Texture(static_cast<std::uint32_t>(count), kTableRows, values.data());
    width = pictureWidth;
    height = pictureHeight;
    columns = static_cast<int>(count);
    rectex_offset = offset;
    pathLength = path;
    rot_mat = glm::mat2(w * c, h * s, -w * s, h * c);
}

void TransitionWaterbrush::Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                                      ShaderStorage const& storage, OglCache* cache) const {
    Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
    Frame const incoming = second->FrameData().ConvertToRGBA(storage);
    bool const isPlain = settings.GetType() == Proc::SettingsTransitionWaterbrush::Type::Plain;
    double const p = isPlain ? progress * 0.825 + 0.05 : progress;
    constexpr double kPainted = 0.9;
    double const fade = p > kPainted ? std::min((p - kPainted) / 0.1, 1.0) : 0.0;

    auto& brush = GetCache<CacheImpl>(cache);
    auto const width = static_cast<int>(outgoing.GetWidth());
    auto const height = static_cast<int>(outgoing.GetHeight());
    if (brush.width != width || brush.height != height) {
        brush.Reset(width, height, settings.GetAngle() * std::numbers::pi / 180.0, settings.GetSize(),
                    isPlain ? -0.15 : 0.01, settings.GetRough() / 100.0);
    }
    Pass(storage, "TransitionWaterbrush", kFragment)
        .Texture("tex1", 0, outgoing, TextureFilter::Nearest)
        .Texture("tex2", 1, incoming, TextureFilter::Nearest)
        .Texture("rectex", 2, brush.table)
        .Set("rectex_offset", brush.rectex_offset)
        .Set("arc_factor", 0.5F / static_cast<float>(3 * width))
        .Set("rot_mat", brush.rot_mat, true)
        .Set("t", std::min(1.0, p / kPainted) * brush.pathLength)
        .Set("t_fade", fade)
        .Set("step", 1.0 / brush.columns)
        .DrawTo(*dst);
}

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionWaterbrush>();

}  // namespace Kaltor::Ogl

// Inside or outside an ellipse or a rectangle the picture is blurred, filled with a colour or made transparent. The
// amount depends on the distance to the outline as it is seen: the soft edge is equally wide all around and lies half
// inside, half outside; it is never sharper than a pixel. Only the parts that the mask touches are processed.
//
// The nearest point of an ellipse is found by iteration: from the centre of curvature at the current guess, a ray
// through the point meets the ellipse at the next guess; it converges from anywhere, for circles and for very flat
// ellipses too.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include <fmt/format.h>
#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/EffectsOgl/Effects/BlurLevels.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {
namespace {

// Lengths are parts of the shorter side. Negative inside.
constexpr char kEllipse[] = R"glsl(
float GetDistance(vec2 p, vec2 radius) {
    p = abs(p);
    float curved = radius.x * radius.x - radius.y * radius.y;
    vec2 guess = vec2(0.70710678);
    for (int i = 0; i < 3; ++i) {
        vec2 centre = vec2(curved, -curved) * guess * guess * guess / radius;
        vec2 toOutline = radius * guess - centre;
        vec2 toPoint = p - centre;
        vec2 at = toPoint * (length(toOutline) / max(length(toPoint), 1.0e-9)) + centre;
        guess = clamp(at / radius, 0.0, 1.0);
        guess /= max(length(guess), 1.0e-9);
    }
    vec2 scaled = p / radius;
    return distance(p, radius * guess) * (dot(scaled, scaled) < 1.0 ? -1.0 : 1.0);
}
)glsl";

constexpr char kRectangle[] = R"glsl(
float GetDistance(vec2 p, vec2 radius) {
    vec2 beyond = abs(p) - radius;
    return length(max(beyond, vec2(0.0))) + min(max(beyond.x, beyond.y), 0.0);
}
)glsl";

constexpr char kMain[] = R"glsl(
uniform sampler2D tex;
uniform mat2 turn;       // from texture coordinates to lengths along the shape's axes
uniform vec2 begin;
uniform vec2 radius;
uniform float slope;     // 1 / width of the soft edge; its sign: outside or inside
uniform vec4 color;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float share = clamp(GetDistance(turn * TexCoord0 + begin, radius) * slope + 0.5, 0.0, 1.0);
    share = share * share * (3.0 - 2.0 * share);
)glsl";

using Shape = Proc::SettingsEffectMask::Shape;
using Action = Proc::SettingsEffectMask::Action;

/// Without the version.
std::string MakeFragment(Shape shape, Action action) {
    std::string source = shape == Shape::Ellipse ? std::string(kEllipse) : std::string(kRectangle);
    source += kMain;
    switch (action) {
        case Action::Blur:
            source += "    gl_FragColor = Blurred(origin, TexCoord0, share);\n";
            break;
        case Action::Fill:
            source += "    gl_FragColor = vec4(mix(origin.rgb, color.rgb, share * color.a), origin.a);\n";
            break;
        default:
            source += "    gl_FragColor = vec4(origin.rgb, origin.a * (1.0 - share));\n";
    }
    return source + "}\n";
}

/// Bounds of the distance, negative inside, from an outline to points no farther than `reach` from `p`.
glm::dvec2 BoundDistance(glm::dvec2 const& p, glm::dvec2 const& radius, double reach, bool isEllipse) {
    if (!isEllipse) {
        glm::dvec2 const beyond = glm::abs(p) - radius;
        double const distance =
            glm::length(glm::max(beyond, glm::dvec2(0.0))) + std::min(std::max(beyond.x, beyond.y), 0.0);
        return {distance - reach, distance + reach};
    }
    // `scaled` changes by at most 1 / `least` per unit of length, so the outline is at least that far away. It is no
    // farther than the point where the ray through p meets it.
    double const least = std::min(radius.x, radius.y);
    double const scaled = glm::length(p / radius);
    double const byScale = (scaled - 1.0) * least;
    double const alongRay = scaled > 0.0 ? glm::length(p) * (1.0 - 1.0 / scaled) : -least;
    return scaled < 1.0 ? glm::dvec2(std::max(alongRay, -least) - reach, byScale + reach)
                        : glm::dvec2(byScale - reach, alongRay + reach);
}

}  // namespace

class EffectMask final : public EffectWithSettings<Proc::SettingsEffectMask> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        bool const isEmpty = settings.width <= 0.0 || settings.height <= 0.0;
        if (IsNeutral() || (isEmpty && settings.inverted)) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        double const aspect = GetDisplayAspect(src->GetFrameInfo());
        glm::dvec2 const extent(std::max(aspect, 1.0), std::max(1.0 / aspect, 1.0));
        glm::dvec2 const pixels = extent / glm::dvec2(picture.GetWidth(), picture.GetHeight());
        constexpr double kSharpest = 1.5;  // pixels: the smooth step is as steep as a ramp over one
        double const edge =
            std::max(settings.feather * std::max(extent.x, extent.y), kSharpest * std::max(pixels.x, pixels.y));

        double const angle = settings.rotation * std::numbers::pi / 180.0;
        glm::dvec2 const centre(settings.x, settings.y);
        // A shape without an area is infinitely far away.
        glm::dvec2 const radius =
            isEmpty ? glm::dvec2(1e-6) : 0.5 * extent * glm::dvec2(settings.width, settings.height);
        glm::dvec2 const middle = isEmpty ? glm::dvec2(1e3) : centre;
        glm::dvec2 const along(std::cos(angle), std::sin(angle));
        glm::dmat2 const turn(along.x * extent.x, -along.y * extent.x, along.y * extent.y, along.x * extent.y);

        glm::dvec2 const begin = -(turn * middle);
        double const slope = (settings.inverted ? -1.0 : 1.0) / edge;

        AmountCells const cells(picture.GetWidth(), picture.GetHeight(), [&](glm::dvec4 const& area) {
            glm::dvec2 const low(area.x, area.y);
            glm::dvec2 const high(area.z, area.w);
            glm::dvec2 const distance =
                BoundDistance(turn * (0.5 * (low + high)) + begin, radius, glm::length(0.5 * (high - low) * extent),
                              settings.shape == Shape::Ellipse);
            glm::dvec2 const ramp = glm::clamp(distance * slope + 0.5, 0.0, 1.0);
            glm::dvec2 const share = ramp * ramp * (3.0 - 2.0 * ramp);
            return glm::dvec2(std::min(share.x, share.y), std::max(share.x, share.y));
        });
        auto const prepare = [&](Pass& pass, bool usesShape) {
            pass.Texture("tex", 0, picture, TextureFilter::Nearest);
            if (usesShape) {
                pass.Set("turn", glm::mat2(turn))
                    .Set("begin", glm::vec2(begin))
                    .Set("radius", glm::vec2(radius))
                    .Set("slope", slope);
            }
        };
        std::string const name =
            fmt::format("EffectMask_{}_{}", static_cast<int>(settings.shape), static_cast<int>(settings.action));
        std::string const program = MakeFragment(settings.shape, settings.action);
        if (settings.action == Action::Blur) {
            BlurLevels(picture, settings.blur, cells, storage).DrawTo(*dst, name, program, prepare);
            return;
        }
        DrawUnchanged(*dst, *src, storage);
        Pass pass(storage, name, [&] { return "#version 120\n" + program; });
        prepare(pass, true);
        if (settings.action == Action::Fill) {
            pass.Set("color", settings.color);
        }
        pass.DrawTo(*dst, cells.MakeMesh([&cells](std::size_t cell) { return cells.GetRange(cell).y > 0.0; }));
    }

    PixFmt GetOutputFormat(PixFmt srcFormat) const override {
        return settings.action == Action::Transparent ? AlphaFormat(srcFormat) : OutputFormat(srcFormat);
    }

private:
    bool IsNeutral() const {
        return (settings.action == Action::Blur && settings.blur <= 0.0) ||
               (settings.action == Action::Fill && settings.color.alpha == 0);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectMask>();

}  // namespace Kaltor::Ogl

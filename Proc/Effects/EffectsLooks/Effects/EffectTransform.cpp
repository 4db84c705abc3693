// Places the picture anew: cropped, enlarged, turned, moved, its corners pulled in perspective, with round corners and
// a soft shadow, before a colour, a blurred copy of itself, or nothing, with which it can be blended. Enlarging is
// linear; where the picture shrinks, samples cover the whole pixel.

#include <array>
#include <optional>

#include <fmt/format.h>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

#include "Proc/Effects/EffectsLooks/LensBlur.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectTransform final : SettingsOf<SettingsEffectTransform> {
    static inline std::string const CLASS_ID = "EffectTransform";
    static constexpr std::string_view SUMMARY =
        "Moves, scales, turns, crops and distorts the picture, with round corners and a shadow, over a colour, a "
        "blurred copy or nothing.";
    static constexpr std::string_view NEUTRAL = "scale=1";

    enum class Background : std::int32_t { Color, Blurred, Transparent };
    enum class Blend : std::int32_t { Normal, Add, Multiply, Screen, Overlay };

    double x = 0.0;
    double y = 0.0;
    double scale = 1.0;
    double stretch = 1.0;
    double rotation = 0.0;
    double cropLeft = 0.0;
    double cropRight = 0.0;
    double cropTop = 0.0;
    double cropBottom = 0.0;
    Reals8 corners{0, 0, 0, 0, 0, 0, 0, 0};
    double cornerRadius = 0.0;
    double shadow = 0.0;
    double shadowSize = 0.03;
    double shadowAngle = -60.0;
    double shadowDistance = 0.02;
    Background background = Background::Color;
    Color color{0, 0, 0, 255};
    Blend blend = Blend::Normal;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::x>(-2.0, 2.0, "how far it is moved to the right, in widths"),
                Declare<&This::y>(-2.0, 2.0, "how far it is moved up, in heights"),
                Declare<&This::scale>(0.01, 10.0, "its size"),
                Declare<&This::stretch>(0.1, 10.0, "how much wider it becomes"),
                Declare<&This::rotation>(-360.0, 360.0, "degrees by which it is turned, clockwise"),
                Declare<&This::cropLeft>(0.0, 0.99, "how much is cut off at the left"),
                Declare<&This::cropRight>(0.0, 0.99, "how much is cut off at the right"),
                Declare<&This::cropTop>(0.0, 0.99, "how much is cut off at the top"),
                Declare<&This::cropBottom>(0.0, 0.99, "how much is cut off at the bottom"),
                Declare<&This::corners>(-1.0, 1.0,
                                        "how far the corners are pulled, right and up in turn: lower left, lower "
                                        "right, upper left, upper right; in widths and heights"),
                Declare<&This::cornerRadius>(0.0, 0.5, "radius of the corners, as a share of the shorter side"),
                Declare<&This::shadow>(0.0, 1.0, "how dark the shadow is"),
                Declare<&This::shadowSize>(0.0, 0.2, "how soft the shadow is, as a share of the longer side"),
                Declare<&This::shadowAngle>(-180.0, 180.0,
                                            "degrees of the direction in which the shadow falls; 0 is to the right"),
                Declare<&This::shadowDistance>(0.0, 0.2, "how far it falls"),
                Declare<&This::background>({{Background::Color, "color"},
                                            {Background::Blurred, "blurred"},
                                            {Background::Transparent, "transparent"}},
                                           "what lies behind the picture"),
                Declare<&This::color>("colour of the background"),
                Declare<&This::blend>({{Blend::Normal, "normal"},
                                       {Blend::Add, "add"},
                                       {Blend::Multiply, "multiply"},
                                       {Blend::Screen, "screen"},
                                       {Blend::Overlay, "overlay"}},
                                      "how the picture's colours meet those of the background")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D back;
uniform mat3 view;         // of places on the screen, in lengths from its middle, to those in the picture
uniform vec2 sides;
uniform vec2 low;          // what is left of the picture
uniform vec2 high;
uniform float radius;
uniform float pixel;
uniform float spread;      // of the samples in a pixel: 0 where the picture does not shrink
uniform float shadow;
uniform float shadowSize;
uniform vec2 shadowShift;
uniform vec4 color;
uniform float blurred;
varying vec2 TexCoord0;

// Texture coordinates in the picture; far outside of it for what lies behind the viewer.
vec2 Seen(vec2 place) {
    vec3 q = view * vec3(place, 1.0);
    return q.z <= 0.0 ? vec2(-9.0) : q.xy / q.z;
}

// Distance from the border of the picture with round corners, positive inside, in lengths of the picture.
float Inside(vec2 uv) {
    vec2 half_ = 0.5 * (high - low) * sides;
    float r = min(radius, min(half_.x, half_.y));
    vec2 d = abs((uv - 0.5 * (low + high)) * sides) - half_ + r;
    return r - length(max(d, 0.0)) - min(max(d.x, d.y), 0.0);
}

vec3 Meet(vec3 over, vec3 below) {
#if BLEND == 1
    return min(over + below, 1.0);
#elif BLEND == 2
    return over * below;
#elif BLEND == 3
    return over + below - over * below;
#else
    return mix(2.0 * over * below, 1.0 - 2.0 * (1.0 - over) * (1.0 - below), step(0.5, below));
#endif
}

void main() {
    vec2 place = (TexCoord0 - 0.5) * sides;
    vec4 under = blurred > 0.5 ? texture2D(back, TexCoord0) * vec4(vec3(0.6), 1.0) : vec4(color.rgb * color.a, color.a);
    if (shadow > 0.0) {
        float inside = Inside(Seen(place - shadowShift));
        float dark = shadow * smoothstep(-shadowSize, shadowSize, inside);
        under = vec4(under.rgb * (1.0 - dark), under.a + (1.0 - under.a) * dark);
    }
    // Four samples in each pixel: a turned or smaller picture has no steps.
    vec4 sum = vec4(0.0);
    for (int i = 0; i < 4; ++i) {
        vec2 step_ = i == 0 ? vec2(-0.125, -0.375) : (i == 1 ? vec2(0.375, -0.125) : (i == 2 ? vec2(0.125, 0.375) : vec2(-0.375, 0.125)));
        vec2 uv = Seen(place + step_ * pixel);
        float cover = clamp(Inside(uv) / (0.25 * pixel) + 0.5, 0.0, 1.0);
        if (cover > 0.0) {
            sum += cover * texture2D(tex, clamp(Seen(place + step_ * pixel * spread), 0.0, 1.0));
        }
    }
    sum *= 0.25;
    vec3 both = sum.rgb * under.a;  // where both are seen
#if BLEND != 0
    vec3 over = sum.rgb / max(sum.a, 1.0e-4);
    vec3 below = under.rgb / max(under.a, 1.0e-4);
    both = sum.a * under.a * Meet(over, below);
#endif
    gl_FragColor = Unmultiply(vec4(sum.rgb * (1.0 - under.a) + both, sum.a) + (1.0 - sum.a) * under);
}
)glsl";

}  // namespace

class EffectTransform final : public EffectWithSettings<Proc::SettingsEffectTransform> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.HasSameValues(Proc::SettingsEffectTransform())) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        using Background = Proc::SettingsEffectTransform::Background;
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Premultiplied const colors(picture, storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        glm::mat3 view(0.0F);
        bool const isSeen = FindView(sides, view);
        glm::vec2 const low(static_cast<float>(settings.cropLeft), static_cast<float>(settings.cropBottom));
        glm::vec2 const high(1.0F - static_cast<float>(settings.cropRight),
                             1.0F - static_cast<float>(settings.cropTop));
        bool const isEmpty = !isSeen || low.x >= high.x || low.y >= high.y;
        double const angle = settings.shadowAngle * std::numbers::pi / 180.0;
        bool const isBlurred = settings.background == Background::Blurred;
        std::optional<LensBlur> blur;
        if (isBlurred) {
            blur.emplace(picture, LensBlur::Aperture{0.05}, storage);
        }
        bool const isTransparent = settings.background == Background::Transparent;
        // A picture that becomes much smaller is halved first, as often as needed.
        double const smallest = std::max(settings.scale * std::min(settings.stretch, 1.0), 1e-3);
        auto const halvings = static_cast<unsigned>(std::clamp(std::log2(1.0 / smallest), 0.0, 6.0));
        std::optional<Premultiplied> shrunk;
        if (halvings > 0) {
            shrunk.emplace(MakeScaled(picture, std::max(picture.GetWidth() >> halvings, 1U),
                                      std::max(picture.GetHeight() >> halvings, 1U), storage),
                           storage);
        }
        int const blend = static_cast<int>(settings.blend);
        Pass(storage, fmt::format("EffectTransform_{}", blend),
             [blend] { return fmt::format("#version 120\n#define BLEND {}\n{}{}", blend, kStraightAlpha, kFragment); })
            .Texture("tex", 0, shrunk ? shrunk->Get() : colors.Get())
            .Texture("back", 1, blur ? blur->Get() : colors.Get())
            .Set("view", view)
            .Set("sides", sides)
            .Set("low", isEmpty ? glm::vec2(5.0F) : low)
            .Set("high", isEmpty ? glm::vec2(5.0F) : high)
            .Set("radius", settings.cornerRadius * static_cast<double>(std::min(sides.x, sides.y)))
            .Set("pixel", 1.0 / std::max(picture.GetWidth(), picture.GetHeight()))
            .Set("spread", std::clamp(2.0 / smallest - 2.0, 0.0, 1.0))
            .Set("shadow", isEmpty ? 0.0 : settings.shadow)
            .Set("shadowSize", std::max(settings.shadowSize, 1e-4))
            .Set("shadowShift",
                 glm::vec2(std::cos(angle), std::sin(angle)) * static_cast<float>(settings.shadowDistance))
            .Set("color", isTransparent ? Proc::Color{0, 0, 0, 0} : settings.color)
            .Set("blurred", isBlurred ? 1.0 : 0.0)
            .DrawTo(*dst);
    }

    /// What a background shows through needs alpha.
    PixFmt GetOutputFormat(PixFmt srcFormat) const override {
        bool const isTransparent = settings.background == Proc::SettingsEffectTransform::Background::Transparent;
        return isTransparent ? PixFmt::Rgba : IEffectAlgorithm::GetOutputFormat(srcFormat);
    }

private:
    /// The map from the screen to texture coordinates; false where nothing can be seen, such as a picture without
    /// width.
    bool FindView(glm::vec2 sides, glm::mat3& view) const {
        double const turn = -settings.rotation * std::numbers::pi / 180.0;
        std::array<glm::dvec2, 4> corners{};  // on the screen, in lengths from its middle
        for (std::size_t i = 0; i < corners.size(); ++i) {
            glm::dvec2 const pulled(settings.corners[2 * i], settings.corners[2 * i + 1]);
            glm::dvec2 const unit(i % 2 == 0 ? -0.5 : 0.5, i < 2 ? -0.5 : 0.5);
            glm::dvec2 const size =
                (unit + pulled) * glm::dvec2(sides) * settings.scale * glm::dvec2(settings.stretch, 1.0);
            glm::dvec2 const turned(std::cos(turn) * size.x - std::sin(turn) * size.y,
                                    std::sin(turn) * size.x + std::cos(turn) * size.y);
            corners[i] = turned + glm::dvec2(settings.x, settings.y) * glm::dvec2(sides);
        }
        // The projective map of the unit square to four corners, after P. Heckbert, "Fundamentals of Texture Mapping
        // and Image Warping", 1989.
        glm::dvec2 const p0 = corners[0];
        glm::dvec2 const p1 = corners[1];
        glm::dvec2 const p2 = corners[3];
        glm::dvec2 const p3 = corners[2];
        glm::dvec2 const d1 = p1 - p2;
        glm::dvec2 const d2 = p3 - p2;
        glm::dvec2 const d3 = p0 - p1 + p2 - p3;
        double const area = d1.x * d2.y - d2.x * d1.y;
        if (std::fabs(area) < 1e-9) {
            return false;
        }
        double const g = (d3.x * d2.y - d2.x * d3.y) / area;
        double const h = (d1.x * d3.y - d3.x * d1.y) / area;
        glm::dmat3 const forward(glm::dvec3(p1 - p0 + g * p1, g), glm::dvec3(p3 - p0 + h * p3, h), glm::dvec3(p0, 1.0));
        if (std::fabs(glm::determinant(forward)) < 1e-12) {
            return false;
        }
        view = glm::mat3(glm::inverse(forward));
        return true;
    }
};

template void AddEffect<EffectTransform>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

// Colour grading in one pass, at the precision of floats: exposure and white balance in light, then lift, gamma and
// gain, contrast about a pivot, curves, and last saturation and the curves by hue. Curves are monotone cubics through
// eight points.

#include <array>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <glm/exponential.hpp>

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectGrade final : SettingsOf<SettingsEffectGrade> {
    static inline std::string const CLASS_ID = "EffectGrade";
    static constexpr std::string_view SUMMARY =
        "Colour grading: exposure, white balance, lift, gamma, gain, contrast, saturation, vibrance, curves, and hue "
        "against hue, saturation and luma.";
    static constexpr std::string_view NEUTRAL = "exposure=0";

    double exposure = 0.0;
    double temperature = 0.0;
    double tint = 0.0;
    double contrast = 1.0;
    double pivot = 0.435;
    double lift = 0.0;
    double gamma = 1.0;
    double gain = 1.0;
    Color shadows{128, 128, 128, 255};
    Color midtones{128, 128, 128, 255};
    Color highlights{128, 128, 128, 255};
    double saturation = 1.0;
    double vibrance = 0.0;
    Reals8 curve{0, 1.0 / 7, 2.0 / 7, 3.0 / 7, 4.0 / 7, 5.0 / 7, 6.0 / 7, 1};
    Reals8 red{0, 1.0 / 7, 2.0 / 7, 3.0 / 7, 4.0 / 7, 5.0 / 7, 6.0 / 7, 1};
    Reals8 green{0, 1.0 / 7, 2.0 / 7, 3.0 / 7, 4.0 / 7, 5.0 / 7, 6.0 / 7, 1};
    Reals8 blue{0, 1.0 / 7, 2.0 / 7, 3.0 / 7, 4.0 / 7, 5.0 / 7, 6.0 / 7, 1};
    Reals8 hueHue{0, 0, 0, 0, 0, 0, 0, 0};
    Reals8 hueSaturation{1, 1, 1, 1, 1, 1, 1, 1};
    Reals8 hueLuma{1, 1, 1, 1, 1, 1, 1, 1};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::exposure>(-6.0, 6.0, "in stops"),
                Declare<&This::temperature>(-1.0, 1.0, "cooler below 0, warmer above"),
                Declare<&This::tint>(-1.0, 1.0, "greener below 0, more magenta above"),
                Declare<&This::contrast>(0.0, 4.0, "contrast about the pivot"),
                Declare<&This::pivot>(0.0, 1.0, "brightness that contrast leaves alone"),
                Declare<&This::lift>(-0.5, 0.5, "raises or lowers the shadows"),
                Declare<&This::gamma>(0.1, 4.0, "brightens or darkens the middle"),
                Declare<&This::gain>(0.0, 4.0, "scales the highlights"),
                Declare<&This::shadows>("tints the shadows; grey is neutral"),
                Declare<&This::midtones>("tints the middle; grey is neutral"),
                Declare<&This::highlights>("tints the highlights; grey is neutral"),
                Declare<&This::saturation>(0.0, 4.0, "how colourful; 0 is grey"),
                Declare<&This::vibrance>(-1.0, 1.0, "saturation of what is not yet saturated, sparing skin"),
                Declare<&This::curve>(0.0, 1.0, "what eight equal steps of brightness become"),
                Declare<&This::red>(0.0, 1.0, "the same for red"),
                Declare<&This::green>(0.0, 1.0, "the same for green"),
                Declare<&This::blue>(0.0, 1.0, "the same for blue"),
                Declare<&This::hueHue>(-180.0, 180.0, "degrees by which eight hues, from red, are turned"),
                Declare<&This::hueSaturation>(0.0, 4.0, "saturation of the eight hues"),
                Declare<&This::hueLuma>(0.0, 4.0, "brightness of the eight hues")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec3 balance;      // exposure and white balance, in light
uniform vec3 lift;
uniform vec3 power;
uniform vec3 gain;
uniform float contrast;
uniform float pivot;
uniform float saturation;
uniform float vibrance;
#ifdef CURVES
uniform float curves[64];  // eight values and eight slopes of each curve: all, red, green, blue
#endif
#ifdef HUES
uniform float hues[48];    // eight values and eight slopes of turn, saturation and luma
#endif
varying vec2 TexCoord0;

vec3 ToLinear(vec3 color) {
    return pow(max(color, vec3(0.0)), vec3(2.4));
}

#ifdef CURVES
// The curve that begins at `at`, in its span of the eight points; beyond them it goes on straight.
float Curve(int at, float x) {
    float place = clamp(x, 0.0, 1.0) * 7.0;
    float span = min(floor(place), 6.0);
    float t = place - span;
    int i = at + int(span + 0.5);
    float a = curves[i];
    float b = curves[i + 1];
    float s = curves[i + 8];
    float e = curves[i + 9];
    float u = 1.0 - t;
    return a * u * u * (1.0 + 2.0 * t) + b * t * t * (3.0 - 2.0 * t) + s * t * u * u - e * t * t * u;
}
#endif

#ifdef HUES
float HueCurve(int at, float place) {
    float span = min(floor(place), 7.0);
    float t = place - span;
    int i = int(span + 0.5);
    int j = i == 7 ? 0 : i + 1;
    float u = 1.0 - t;
    return hues[at + i] * u * u * (1.0 + 2.0 * t) + hues[at + j] * t * t * (3.0 - 2.0 * t) + hues[at + 8 + i] * t * u * u -
           hues[at + 8 + j] * t * t * u;
}
#endif

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 color = pow(ToLinear(picture.rgb) * balance, vec3(1.0 / 2.4));
    color = color * gain + lift * (vec3(1.0) - color);
    color = pow(max(color, vec3(0.0)), power);
    color = (color - pivot) * contrast + pivot;
#ifdef CURVES
    color = clamp(color, 0.0, 1.0);
    color = vec3(Curve(0, color.r), Curve(0, color.g), Curve(0, color.b));
    color = vec3(Curve(16, color.r), Curve(32, color.g), Curve(48, color.b));
#endif
    vec3 weights = vec3(0.2126, 0.7152, 0.0722);
    float luma = dot(color, weights);
    float high = max(color.r, max(color.g, color.b));
    float low = min(color.r, min(color.g, color.b));
    float chroma = clamp(high - low, 0.0, 1.0);
    // Skin is orange: it takes less of the vibrance.
    float skin = clamp(1.0 - abs(color.g - 0.5 * (color.r + color.b)) * 6.0, 0.0, 1.0) * step(color.b, color.r);
    float lively = saturation * (1.0 + vibrance * (1.0 - chroma) * (1.0 - 0.5 * skin));
    float brighter = 1.0;
#ifdef HUES
    // Hue on the circle of the two chroma axes: turning it keeps luma and chroma.
    vec2 axes = vec2(color.r - 0.5 * (color.g + color.b), 0.8660254 * (color.g - color.b));
    float hue = fract(atan(axes.y, axes.x) / 6.2831853 + 1.0) * 8.0;
    float turn = HueCurve(0, hue) * 0.0174532925;
    vec2 turned = vec2(cos(turn) * axes.x - sin(turn) * axes.y, sin(turn) * axes.x + cos(turn) * axes.y);
    vec3 offset = vec3(turned.x * 0.6666667, -0.3333333 * turned.x + 0.5773503 * turned.y,
                       -0.3333333 * turned.x - 0.5773503 * turned.y);
    color = vec3(luma - dot(offset, weights)) + offset;
    float certain = smoothstep(0.0, 0.06, chroma);  // grey has no hue
    lively *= mix(1.0, max(HueCurve(16, hue), 0.0), certain);
    brighter = mix(1.0, max(HueCurve(32, hue), 0.0), certain);
#endif
    color = (vec3(luma) + (color - luma) * lively) * brighter;
    gl_FragColor = Straight(clamp(color, 0.0, 1.0), picture.a);
}
)glsl";

using Settings = Proc::SettingsEffectGrade;

/// How far a colour is from the neutral grey, -1 to 1.
glm::dvec3 Tint(Proc::Color const& color) {
    return (glm::dvec3(color.red, color.green, color.blue) - 128.0) / 128.0;
}

/// Adds the values and the slopes of a cubic through eight equally spaced points that rises and falls only where they
/// do, after F. N. Fritsch, R. E. Carlson, "Monotone Piecewise Cubic Interpolation", 1980. A closed one goes round.
void AddCurve(Proc::Reals8 const& values, bool isClosed, std::vector<float>& curves) {
    constexpr std::size_t kCount = 8;
    std::array<double, kCount> slopes{};
    for (std::size_t i = 0; i < kCount; ++i) {
        bool const isFirst = i == 0 && !isClosed;
        bool const isLast = i + 1 == kCount && !isClosed;
        double const before = values[i] - values[(i + kCount - 1) % kCount];
        double const after = values[(i + 1) % kCount] - values[i];
        if (isFirst || isLast) {
            slopes[i] = isFirst ? after : before;
        } else if (before * after > 0.0) {
            // The harmonic mean never overshoots.
            slopes[i] = 2.0 * before * after / (before + after);
        }
    }
    for (double const value : values) {
        curves.push_back(static_cast<float>(value));
    }
    for (double const slope : slopes) {
        curves.push_back(static_cast<float>(slope));
    }
}

}  // namespace

class EffectGrade final : public EffectWithSettings<Proc::SettingsEffectGrade> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Settings const neutral;
        if (settings.HasSameValues(neutral)) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        bool const hasCurves = settings.curve != neutral.curve || settings.red != neutral.red ||
                               settings.green != neutral.green || settings.blue != neutral.blue;
        bool const hasHues = settings.hueHue != neutral.hueHue || settings.hueSaturation != neutral.hueSaturation ||
                             settings.hueLuma != neutral.hueLuma;
        // A filter that is redder passes less blue, and magenta less green; brightness stays about the same.
        glm::dvec3 const balance =
            glm::exp2(glm::dvec3(0.7 * settings.temperature + 0.25 * settings.tint, -0.5 * settings.tint,
                                 -0.7 * settings.temperature + 0.25 * settings.tint) +
                      settings.exposure);
        std::string const defines =
            fmt::format("{}{}", hasCurves ? "#define CURVES\n" : "", hasHues ? "#define HUES\n" : "");
        std::string const name = fmt::format("EffectGrade{}{}", hasCurves ? "_curves" : "", hasHues ? "_hues" : "");
        Pass pass(storage, name, {kGlslVersion, defines.c_str(), kStraightAlpha, kFragment});
        pass.Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("balance", glm::vec3(balance))
            .Set("lift", glm::vec3(settings.lift + 0.5 * Tint(settings.shadows)))
            .Set("power", glm::vec3(glm::exp2(-1.5 * Tint(settings.midtones)) / settings.gamma))
            .Set("gain", glm::vec3(settings.gain * glm::exp2(1.5 * Tint(settings.highlights))))
            .Set("contrast", settings.contrast)
            .Set("pivot", settings.pivot)
            .Set("saturation", settings.saturation)
            .Set("vibrance", settings.vibrance);
        if (hasCurves) {
            std::vector<float> curves;
            for (Proc::Reals8 const* const curve : {&settings.curve, &settings.red, &settings.green, &settings.blue}) {
                AddCurve(*curve, false, curves);
            }
            pass.Set("curves", curves);
        }
        if (hasHues) {
            std::vector<float> hues;
            for (Proc::Reals8 const* const curve : {&settings.hueHue, &settings.hueSaturation, &settings.hueLuma}) {
                AddCurve(*curve, true, hues);
            }
            pass.Set("hues", hues);
        }
        pass.DrawTo(*dst);
    }
};

template void AddEffect<EffectGrade>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

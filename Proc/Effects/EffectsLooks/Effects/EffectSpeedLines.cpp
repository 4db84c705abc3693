// Lines of a comic's rush: wedges run in from the border towards a centre, each of its own length and place, and
// change many times a second.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectSpeedLines final : SettingsOf<SettingsEffectSpeedLines> {
    static inline std::string const CLASS_ID = "EffectSpeedLines";
    static constexpr std::string_view SUMMARY =
        "Comic-style speed lines rush towards a centre and change from moment to moment.";
    static constexpr std::string_view NEUTRAL = "density=0";

    std::int32_t count = 90;
    double length = 0.45;
    double density = 0.55;
    double rate = 12.0;
    double x = 0.5;
    double y = 0.5;
    Color color{255, 255, 255, 230};
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::count>(10.0, 300.0, "lines around the centre"),
                Declare<&This::length>(0.0, 1.0, "how far the lines reach towards the centre"),
                Declare<&This::density>(0.0, 1.0, "how many of them are drawn"),
                Declare<&This::rate>(0.0, 30.0, "changes a second"),
                Declare<&This::x>(0.0, 1.0, "centre, from the left"),
                Declare<&This::y>(0.0, 1.0, "centre, from below"),
                Declare<&This::color>("colour of the lines"),
                Declare<&This::seed>(0.0, 99.0, "which lines")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform vec2 sides;
uniform vec2 centre;
uniform float count;
uniform float hollow;    // radius that no line reaches
uniform float density;
uniform float number;
uniform vec4 color;
uniform float pixel;
varying vec2 TexCoord0;

float Line(float turn, float radius, float share, float layer) {
    float place = turn * count * share;
    float wedge = floor(place);
    vec4 r = Random(vec2(wedge + 3.0 + 100.0 * layer, number + 50.0 * layer));
    float tip = hollow * (0.75 + 1.1 * r.x) + 0.06 * layer;
    float half_ = 0.46 * clamp((radius - tip) / 0.5, 0.0, 1.0) * (0.25 + 0.75 * r.y);
    float across = abs(place - wedge - 0.5 - 0.2 * (r.z - 0.5));
    float soft = max(pixel * count * share / (6.2831853 * max(radius, 0.001)), 0.004);
    return step(r.w, density) * clamp((half_ - across) / soft + 0.5, 0.0, 1.0) * step(0.0001, half_);
}

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec2 arm = (TexCoord0 - centre) * sides;
    float radius = length(arm);
    float turn = atan(arm.y, arm.x) / 6.2831853 + 0.5;
    float cover = max(Line(turn, radius, 1.0, 0.0), 0.8 * Line(turn, radius, 2.0, 1.0)) * color.a;
    float alpha = picture.a;
    gl_FragColor = Straight(mix(picture.rgb, color.rgb, cover), alpha);
}
)glsl";

}  // namespace

class EffectSpeedLines final : public EffectWithSettings<Proc::SettingsEffectSpeedLines> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.density == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        double const number = std::floor(std::fmod(std::fabs(time), 30.0) * settings.rate) * 7.0 + 17.0 * settings.seed;
        Pass(storage, "EffectSpeedLines",
             {kGlslVersion, kStraightAlpha, "uniform sampler2D noise;", kRandomFunction, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("noise", 1, storage.Noise())
            .Set("sides", sides)
            .Set("centre", glm::vec2(static_cast<float>(settings.x), static_cast<float>(settings.y)))
            .Set("count", static_cast<float>(settings.count))
            .Set("hollow", 0.55 * (1.0 - 0.85 * settings.length))
            .Set("density", settings.density)
            .Set("number", number)
            .Set("color", settings.color)
            .Set("pixel", 1.0 / std::max(picture.GetWidth(), picture.GetHeight()))
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectSpeedLines>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

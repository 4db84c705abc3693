// Light falls past the edge of the film gate: warm, slow clouds of it drift along a side of the frame, swell and fade,
// added in linear light.

#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsEffectLightLeak final : SettingsOf<SettingsEffectLightLeak> {
    static inline std::string const CLASS_ID = "EffectLightLeak";
    static constexpr std::string_view SUMMARY = "Warm light leaks drift slowly along the edges of the frame.";
    static constexpr std::string_view NEUTRAL = "intensity=0";

    double intensity = 0.6;
    Color color{255, 120, 36, 255};
    Color second{232, 34, 66, 255};
    double speed = 0.3;
    double size = 0.5;
    std::int32_t seed = 1;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 1.0, "how bright the leaks are"),
                Declare<&This::color>("colour of the leaks"),
                Declare<&This::second>("colour of their edges"),
                Declare<&This::speed>(0.0, 2.0, "how fast they drift"),
                Declare<&This::size>(0.1, 1.0, "how far they reach into the picture"),
                Declare<&This::seed>(0.0, 99.0, "which leaks")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex;
uniform sampler2D clouds;
uniform float intensity;
uniform float size;
uniform vec4 color;
uniform vec4 second;
uniform vec2 sides;
uniform vec2 place;
uniform vec2 opposite;   // a second, fainter leak
varying vec2 TexCoord0;

// Red where it is faint, then the leak's colour, and pale where it is strongest, as film shows light from its back.
vec3 Leak(vec2 at, float reach) {
    vec4 cloud = texture2D(clouds, TexCoord0);
    vec2 arm = (TexCoord0 - at) * sides;
    // Light comes through a slit: it fans out in soft beams.
    float beam = texture2D(clouds, 0.5 + 0.3 * arm / (0.05 + length(arm))).x;
    arm += (cloud.xy - 0.5) * 0.4;
    float d = dot(arm, arm) / (reach * reach) * (1.9 - 1.8 * beam);
    float body = exp(-d * 5.0);
    return color.rgb * color.rgb * body * (0.7 + 1.2 * cloud.w) + second.rgb * second.rgb * exp(-d * 1.7) * (0.2 + cloud.z) +
           vec3(1.0, 0.8, 0.5) * body * body * body * (0.8 + 1.4 * cloud.w);
}

void main() {
    vec4 picture = texture2D(tex, TexCoord0);
    vec3 light = Leak(place, size) + 0.6 * Leak(opposite, 0.7 * size);
    vec3 lit = vec3(1.0) - (vec3(1.0) - ToLight(picture.rgb)) * exp(-2.2 * intensity * light);
    gl_FragColor = Straight(FromLight(lit), picture.a);
}
)glsl";

}  // namespace

class EffectLightLeak final : public EffectWithSettings<Proc::SettingsEffectLightLeak> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.intensity == 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        glm::vec2 const sides(GetSides(GetDisplayAspect(src->GetFrameInfo())));
        // The leak wanders about the frame's border; the clouds move through it.
        double const drift = time * settings.speed + 3.7 * settings.seed;
        double const breath = 0.75 + 0.25 * std::sin(2.1 * drift + 1.0) * std::sin(1.3 * drift);
        glm::vec2 const place(0.5 + 0.6 * std::cos(0.7 * drift), 0.5 + 0.55 * std::sin(1.1 * drift + 0.5));
        glm::vec2 const opposite(0.5 - 0.62 * std::cos(0.53 * drift + 0.4), 0.5 - 0.58 * std::sin(0.83 * drift + 0.2));
        CloudMap const clouds(sides, 2.2, glm::dvec2(7.0 * settings.seed + 0.5 * drift, 3.0 * settings.seed), storage);
        Pass(storage, "EffectLightLeak", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment})
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Texture("clouds", 1, clouds.Get())
            .Set("intensity", settings.intensity * breath)
            .Set("size", settings.size)
            .Set("color", settings.color)
            .Set("second", settings.second)
            .Set("sides", sides)
            .Set("place", place)
            .Set("opposite", opposite)
            .DrawTo(*dst);
    }
};

template void AddEffect<EffectLightLeak>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

// A light rises behind the pictures: shafts of their own brightness sweep round a source that wanders, grow until they
// outshine everything, and sink again on the incoming picture.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionGodRays final : SettingsOf<SettingsTransitionGodRays> {
    static inline std::string const CLASS_ID = "TransitionGodRays";
    static constexpr std::string_view SUMMARY =
        "Shafts of light swell out of the outgoing picture's bright parts, outshine it and sink on the incoming one.";

    double intensity = 0.8;
    double length = 0.8;
    double threshold = 0.55;
    double x = 0.2;
    double y = 0.85;
    double travel = 0.6;
    Color tint{255, 226, 178, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::intensity>(0.0, 1.0, "how bright the rays become"),
                Declare<&This::length>(0.0, 1.0, "how far the rays reach"),
                Declare<&This::threshold>(0.0, 1.0, "brightness from which things shine"),
                Declare<&This::x>(-0.5, 1.5, "where the source begins, from the left"),
                Declare<&This::y>(-0.5, 1.5, "its height, from below"),
                Declare<&This::travel>(-1.0, 1.0, "how far it wanders to the right"),
                Declare<&This::tint>("colour of the rays")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D rays1;
uniform sampler2D rays2;
uniform float share;
uniform float gain;
uniform float flood;
uniform vec2 source;
uniform vec2 sides;
uniform vec4 tint;
varying vec2 TexCoord0;
void main() {
    vec4 picture = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), share);
    vec3 rays = mix(Shafts(rays1, TexCoord0, source, sides), Shafts(rays2, TexCoord0, source, sides), share);
    float far = length((TexCoord0 - source) * sides);
    vec3 light = ToLight(Unmultiply(picture).rgb);
    vec3 added = tint.rgb * tint.rgb * (gain * rays * (1.0 + 1.5 * exp(-3.0 * far)) + flood * exp(-1.6 * far));
    light += (vec3(1.0) - light) * (vec3(1.0) - exp(-added));
    gl_FragColor = Straight(FromLight(light), picture.a);
}
)glsl";

}  // namespace

class TransitionGodRays final : public TransitionWithSettings<Proc::SettingsTransitionGodRays> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        glm::vec2 const source(static_cast<float>(settings.x + settings.travel * progress),
                               static_cast<float>(settings.y));
        double const share = SmoothStep(0.38, 0.62, progress);
        double const swell = Hump(progress);
        Rays const rays1(share < 1.0 ? pictures.outgoing : pictures.incoming, settings.threshold, settings.length,
                         source, storage);
        Rays const rays2(share > 0.0 ? pictures.incoming : pictures.outgoing, settings.threshold, settings.length,
                         source, storage);
        Pass pass(storage, "TransitionGodRays",
                  {kGlslVersion, kStraightAlpha, kLinearLight, kShaftsFunction, kFragment});
        pictures.GiveTo(pass)
            .Texture("rays1", 2, rays1.Get())
            .Texture("rays2", 3, rays2.Get())
            .Set("share", share)
            .Set("gain", 7.5 * settings.intensity * swell)
            .Set("flood", 2.6 * settings.intensity * swell * swell * swell)
            .Set("source", source)
            .Set("sides", pictures.sides)
            .Set("tint", settings.tint)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionGodRays>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

// Both pictures flow along the slopes of the other one's brightness, so that their shapes seem to grow out of each
// other, while one fades into the other; light parts arrive first.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/LensBlur.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionLumaMorph final : SettingsOf<SettingsTransitionLumaMorph> {
    static inline std::string const CLASS_ID = "TransitionLumaMorph";
    static constexpr std::string_view SUMMARY =
        "Shapes melt into each other: each picture is pulled along the brightness of the other while they fade over.";

    double strength = 0.5;
    double detail = 0.35;
    double lead = 0.5;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::strength>(0.0, 1.0, "how far the pictures flow"),
                Declare<&This::detail>(0.0, 1.0, "how small the shapes are that they follow"),
                Declare<&This::lead>(0.0, 1.0, "how much earlier light parts change over")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D small1;
uniform sampler2D small2;
uniform float progress;
uniform float strength;
uniform float lead;
uniform vec2 texel;
uniform vec2 sides;
varying vec2 TexCoord0;

float Light1(vec2 place) {
    return dot(texture2D(small1, place).rgb, vec3(0.2126, 0.7152, 0.0722));
}
float Light2(vec2 place) {
    return dot(texture2D(small2, place).rgb, vec3(0.2126, 0.7152, 0.0722));
}

void main() {
    vec2 dx = vec2(texel.x, 0.0);
    vec2 dy = vec2(0.0, texel.y);
    vec2 slope1 = vec2(Light1(TexCoord0 + dx) - Light1(TexCoord0 - dx), Light1(TexCoord0 + dy) - Light1(TexCoord0 - dy));
    vec2 slope2 = vec2(Light2(TexCoord0 + dx) - Light2(TexCoord0 - dx), Light2(TexCoord0 + dy) - Light2(TexCoord0 - dy));
    slope1 /= 0.2 + length(slope1);
    slope2 /= 0.2 + length(slope2);
    vec2 flow = strength * (slope2 + 0.35 * slope1) / sides;
    vec2 back = strength * (slope1 + 0.35 * slope2) / sides;
    float light = 0.5 * (Light1(TexCoord0) + Light2(TexCoord0)) - 0.5;
    float early = progress + lead * 0.7 * light * progress * (1.0 - progress) * 4.0;
    float share = smoothstep(0.25, 0.75, early);
    gl_FragColor = Unmultiply(mix(texture2D(tex1, Mirrored(TexCoord0 - flow * progress)),
                                  texture2D(tex2, Mirrored(TexCoord0 + back * (1.0 - progress))), share));
}
)glsl";

}  // namespace

class TransitionLumaMorph final : public TransitionWithSettings<Proc::SettingsTransitionLumaMorph> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        // Blurred by the size that they are drawn in.
        auto const side = static_cast<std::uint32_t>(std::lround(10.0 + 40.0 * settings.detail));
        LensBlur::Aperture const soft{0.6 / side};
        LensBlur const small1(MakeSmall(pictures.outgoing, 4 * side, storage), soft, storage);
        LensBlur const small2(MakeSmall(pictures.incoming, 4 * side, storage), soft, storage);
        glm::vec2 const texel = glm::vec2(0.6F / static_cast<float>(side)) / pictures.sides;
        Pass pass(storage, "TransitionLumaMorph", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        pictures.GiveTo(pass)
            .Texture("small1", 2, small1.Get())
            .Texture("small2", 3, small2.Get())
            .Set("progress", progress)
            .Set("strength", 0.6 * settings.strength)
            .Set("lead", settings.lead)
            .Set("texel", texel)
            .Set("sides", pictures.sides)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionLumaMorph>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

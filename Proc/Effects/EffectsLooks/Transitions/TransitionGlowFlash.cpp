// A flash of the scene's own light: highlights of the outgoing picture bloom until everything is white, and the glare
// falls back onto the incoming one. All in linear light, with the exposure of a camera.

#include "Proc/Effects/EffectsLooks/Bloom.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionGlowFlash final : SettingsOf<SettingsTransitionGlowFlash> {
    static inline std::string const CLASS_ID = "TransitionGlowFlash";
    static constexpr std::string_view SUMMARY =
        "The outgoing picture's highlights bloom into a white flash, which fades back into the incoming picture.";

    double exposure = 3.0;
    double glow = 0.8;
    Color tint{255, 244, 228, 255};

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::exposure>(0.0, 6.0, "stops by which the picture is overexposed at the peak"),
                Declare<&This::glow>(0.0, 1.0, "how strongly highlights bloom"),
                Declare<&This::tint>("colour of the light")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D bloom;
uniform float share;
uniform float gain;
uniform float glow;
uniform float flood;
uniform vec4 tint;
varying vec2 TexCoord0;
void main() {
    vec4 picture = mix(texture2D(tex1, TexCoord0), texture2D(tex2, TexCoord0), share);
    vec3 spread = texture2D(bloom, TexCoord0).rgb;
    vec3 light = ToLight(Unmultiply(picture).rgb) * gain + (spread * glow + flood) * tint.rgb * tint.rgb;
    // Highlights roll off and pale, as on film: clipped by channel they would turn yellow and cyan. At rest the picture
    // is what it was.
    float luma = dot(light, vec3(0.2126, 0.7152, 0.0722));
    float over = max(luma - 0.6, 0.0);
    vec3 pale = mix(light, vec3(luma), over / (over + 2.2));
    vec3 soft = vec3(1.0) - exp(-pale * 1.2);
    vec3 shown = mix(light, max(soft, min(pale, vec3(0.4))), clamp(gain - 1.0, 0.0, 1.0));
    gl_FragColor = Straight(FromLight(min(shown, vec3(1.0))), picture.a);
}
)glsl";

}  // namespace

class TransitionGlowFlash final : public TransitionWithSettings<Proc::SettingsTransitionGlowFlash> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        // Faster up than down, as a flash is.
        double const flash = progress < 0.4 ? std::pow(progress / 0.4, 2.5) : std::pow((1.0 - progress) / 0.6, 2.5);
        double const share = SmoothStep(0.34, 0.46, progress);
        Bloom const bloom(share < 0.5 ? pictures.outgoing : pictures.incoming, 0.45, 0.9, storage);
        Pass pass(storage, "TransitionGlowFlash", {kGlslVersion, kStraightAlpha, kLinearLight, kFragment});
        pictures.GiveTo(pass)
            .Texture("bloom", 2, bloom.Get())
            .Set("share", share)
            .Set("gain", std::exp2(settings.exposure * flash))
            // Goes out as the square of what is left of the time: dark places show even a little light.
            .Set("glow", 8.0 * settings.glow * std::pow(flash, 0.8) * (0.25 + flash))
            .Set("flood", 0.9 * flash * flash * std::min(settings.exposure / 3.0, 1.0))
            .Set("tint", settings.tint)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionGlowFlash>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

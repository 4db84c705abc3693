// The lens loses focus: every point of the outgoing picture grows into a disc of the aperture's shape, highlights
// become bright discs, and the incoming picture comes into focus out of the blur.

#include "Proc/Effects/EffectsLooks/LensBlur.h"
#include "Proc/Effects/EffectsLooks/Look.h"

namespace Kaltor::Proc {
namespace {

struct SettingsTransitionBokeh final : SettingsOf<SettingsTransitionBokeh> {
    static inline std::string const CLASS_ID = "TransitionBokeh";
    static constexpr std::string_view SUMMARY =
        "Pulls the focus: highlights of the outgoing picture swell to discs of light, out of which the incoming one "
        "becomes sharp.";

    double radius = 0.045;
    std::int32_t blades = 7;
    double boost = 0.7;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::radius>(0.005, 0.12, "largest radius of the discs, as a share of the longer side"),
                Declare<&This::blades>(0.0, 12.0, "blades of the aperture; with less than 3 it is round"),
                Declare<&This::boost>(0.0, 1.0, "how bright highlights shine")};
    }
};

}  // namespace
}  // namespace Kaltor::Proc

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D blur1;
uniform sampler2D blur2;
uniform float share;
uniform float soft;      // how much of the pictures is blurred
uniform float breath;    // the view narrows a little as the focus moves
varying vec2 TexCoord0;
void main() {
    vec2 place = 0.5 + (TexCoord0 - 0.5) * breath;
    vec4 outgoing = vec4(0.0);
    vec4 incoming = vec4(0.0);
    if (share < 1.0) {
        outgoing = mix(texture2D(tex1, place), texture2D(blur1, place), soft);
    }
    if (share > 0.0) {
        incoming = mix(texture2D(tex2, place), texture2D(blur2, place), soft);
    }
    gl_FragColor = Unmultiply(mix(outgoing, incoming, share));
}
)glsl";

}  // namespace

class TransitionBokeh final : public TransitionWithSettings<Proc::SettingsTransitionBokeh> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        if (DrawAtRest(*dst, *first, *second, progress, storage)) {
            return;
        }
        Pictures const pictures(first, second, storage);
        double const open = Hump(progress);
        double const share = SmoothStep(0.4, 0.6, progress);
        LensBlur::Aperture const aperture{settings.radius * open, settings.blades, 0.4 * progress,
                                          24.0 * settings.boost};
        LensBlur const blur1(share < 1.0 ? pictures.outgoing : pictures.incoming, aperture, storage);
        LensBlur const blur2(share > 0.0 ? pictures.incoming : pictures.outgoing, aperture, storage);
        Pass pass(storage, "TransitionBokeh", {kGlslVersion, kStraightAlpha, kFragment});
        pictures.GiveTo(pass)
            .Texture("blur1", 2, blur1.Get())
            .Texture("blur2", 3, blur2.Get())
            .Set("share", share)
            .Set("soft", LensBlur::GetShare(aperture.radius, pictures.GetPixels()))
            .Set("breath", 1.0 - 0.05 * open)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionBokeh>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

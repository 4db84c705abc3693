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
    double lead = 0.8;

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

// The slopes of both pictures' brightness, at most 1 long, as colours.
constexpr char kSlopes[] = R"glsl(
uniform sampler2D small1;
uniform sampler2D small2;
uniform vec2 texel;
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
    gl_FragColor = 0.5 + 0.5 * vec4(slope1 / (0.15 + length(slope1)), slope2 / (0.15 + length(slope2)));
}
)glsl";

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex1;
uniform sampler2D tex2;
uniform sampler2D small1;
uniform sampler2D small2;
uniform sampler2D slopes;
uniform float flowed;    // how far the outgoing picture has flowed
uniform float left;      // how far the incoming one still has to
uniform float progress;
uniform float lead;
uniform vec2 sides;
varying vec2 TexCoord0;

void main() {
    // Many short steps along the slopes: a flow, which never folds over itself.
    vec2 from = TexCoord0;
    vec2 to = TexCoord0;
    for (int i = 0; i < 6; ++i) {
        vec4 slope = 2.0 * texture2D(slopes, from) - 1.0;
        from -= flowed / 6.0 * (slope.zw + 0.35 * slope.xy) / sides;
        slope = 2.0 * texture2D(slopes, to) - 1.0;
        to += left / 6.0 * (slope.xy + 0.35 * slope.zw) / sides;
    }
    vec3 light = 0.5 * (texture2D(small1, from).rgb + texture2D(small2, to).rgb);
    float early = progress + lead * 0.8 * (dot(light, vec3(0.2126, 0.7152, 0.0722)) - 0.5) * progress * (1.0 - progress) * 4.0;
    gl_FragColor = Unmultiply(mix(texture2D(tex1, Mirrored(from)), texture2D(tex2, Mirrored(to)), smoothstep(0.36, 0.64, early)));
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
        auto const side = static_cast<std::uint32_t>(std::lround(6.0 + 30.0 * settings.detail));
        LensBlur::Aperture const soft{0.6 / side};
        LensBlur const small1(MakeSmall(pictures.outgoing, 4 * side, storage), soft, storage);
        LensBlur const small2(MakeSmall(pictures.incoming, 4 * side, storage), soft, storage);
        TextureForm form = small1.Get().GetForm();
        form.format = TexelFormat::Rgba16;
        PooledTexture const slopes(form);
        Pass(storage, "TransitionLumaMorph_slopes", {kGlslVersion, kSlopes})
            .Texture("small1", 0, small1.Get())
            .Texture("small2", 1, small2.Get())
            .Set("texel", glm::vec2(0.6F / static_cast<float>(side)) / pictures.sides)
            .DrawTo(slopes.Get());
        Pass pass(storage, "TransitionLumaMorph", {kGlslVersion, kStraightAlpha, kMirrored, kFragment});
        double const reach = 0.22 * settings.strength;
        pictures.GiveTo(pass)
            .Texture("small1", 2, small1.Get())
            .Texture("small2", 3, small2.Get())
            .Texture("slopes", 4, slopes.Get())
            .Set("flowed", reach * SmoothStep(0.0, 1.0, progress))
            .Set("left", reach * SmoothStep(1.0, 0.0, progress))
            .Set("progress", progress)
            .Set("lead", settings.lead)
            .Set("sides", pictures.sides)
            .DrawTo(*dst);
    }
};

template void AddTransition<TransitionLumaMorph>(Proc::IEffectRegistry&);

}  // namespace Kaltor::Ogl

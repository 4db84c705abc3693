// Film-like grain: a normally distributed value is added to each pixel, the same to all channels or another one to
// each. Its strength depends on tone as on film, where a patch is the share of its grains that were developed: the
// standard deviation of a share p of independent grains goes with sqrt(p (1 - p)), most in the mid-tones, none in black
// and white. (P. G. Nutting, "On the absorption of light in heterogeneous media", 1913; the random-dot model.) Alpha is
// kept.

#include "Proc/Effects/EffectsOgl/Effects/FilmGrain.h"
#include "Proc/Effects/EffectsOgl/Effects/ProcessorGrain.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kMain[] = R"glsl(
uniform sampler2D tex;
uniform float strength;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
#ifdef IS_GREY
    float tone = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    vec3 noise = vec3(sqrt(max(tone * (1.0 - tone), 0.0)) * FilmGrain(TexCoord0));
#else
    vec3 noise = sqrt(max(origin.rgb * (vec3(1.0) - origin.rgb), vec3(0.0))) * FilmGrain(TexCoord0).rgb;
#endif
    gl_FragColor = vec4(origin.rgb + noise * strength, origin.a);
}
)glsl";

/// A second: no frame of a video of up to 60 frames per second repeats the grain of the one before.
constexpr double kNoiseRate = 60.0;
/// At full strength the standard deviation is 0.2 in mid-grey, where sqrt(p (1 - p)) is 0.5.
constexpr double kMostDeviation = 0.4;

}  // namespace

class EffectAddNoize final : public EffectWithSettings<Proc::SettingsEffectAddNoize> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double, ShaderStorage const& storage,
                    OglCache*) const override {
        if (settings.strength <= 0.0) {
            DrawUnchanged(*dst, *src, storage);
            return;
        }
        std::uint32_t const frame = settings.animated ? GetFilmFrame(time, kNoiseRate) : 0U;
        double const strength = settings.strength * kMostDeviation;
        Frame const target = dst->FrameData();
        if (settings.monochrome && FiltersOpaqueOnCpu(src->FrameData(), target)) {
            Samples const to = TakeSamples(target, 1, storage);
            AddGrainOnProcessor(ReadSamples(src->FrameData(), 0, storage), to,
                                MakeGrainLayout(target.GetWidth(), target.GetHeight(), settings.size, frame), strength,
                                storage.Processor());
            WriteSamples(to, target, storage);
            return;
        }
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        bool const isGrey = settings.monochrome;
        Pass pass(storage, isGrey ? "EffectAddNoize_grey" : "EffectAddNoize",
                  {kGlslVersion, kNoiseSizeGlsl, isGrey ? kGreyFilmGrain : "", kFilmGrain, kMain});
        SetFilmGrain(pass, storage, 1, picture, settings.size, frame, isGrey);
        pass.Texture("tex", 0, picture, TextureFilter::Nearest).Set("strength", strength).DrawTo(*dst);
    }

    bool WorksInMemory(Conf::FrameInfo const&) const override { return settings.strength > 0.0 && settings.monochrome; }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectAddNoize>();

}  // namespace Kaltor::Ogl

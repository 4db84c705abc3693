// Scales each colour, keeping its hue, so that its luminance falls on one of a few levels. Alpha is kept. For black
// this is 0/0, and the GL's result is shown.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float levels;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    float lum = dot(origin.rgb, vec3(0.2126, 0.7152, 0.0722));
    float coef = floor(lum * levels + 0.5) / (levels * lum);
    gl_FragColor = origin * vec4(coef, coef, coef, 1.0);
}
)glsl";

}  // namespace

class EffectPosterize final : public EffectWithSettings<Proc::SettingsEffectPosterize> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass(storage, "EffectPosterize", kFragment)
            .Texture("tex", 0, picture, TextureFilter::Nearest)
            .Set("levels", static_cast<float>(settings.levels))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectPosterize>();

}  // namespace Kaltor::Ogl

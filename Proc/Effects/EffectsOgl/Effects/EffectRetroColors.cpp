// The colours of old films and prints: two colour matrices, a grey and a sepia. Alpha is kept.

#include <algorithm>
#include <array>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {
namespace {

// (r, g, b, 1) is a row vector: each column of the matrix is one output channel.
constexpr char kMatrix[] = R"glsl(#version 120
uniform sampler2D tex;
uniform mat4 matr;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    gl_FragColor = vec4((vec4(origin.rgb, 1.0) * matr).rgb, origin.a);
}
)glsl";

// Weights with blue first: the greens and skies of this look are darker, its reds too.
constexpr char kGray[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    gl_FragColor = vec4(vec3(dot(origin.rgb, vec3(0.114, 0.587, 0.299))), origin.a);
}
)glsl";

constexpr char kSepia[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    vec4 origin = texture2D(tex, TexCoord0);
    vec3 gray = vec3(dot(origin.rgb, vec3(0.299, 0.587, 0.114)));
    gl_FragColor = vec4(pow(gray, vec3(1.0 - 90.0 / 255.0, 1.0 - 30.0 / 255.0, 1.0 + 150.0 / 255.0)), origin.a);
}
)glsl";

constexpr std::array kPrograms{"EffectRetroColors_retro_and_s70", "EffectRetroColors_retro_and_s70",
                               "EffectRetroColors_grayscale", "EffectRetroColors_sepia"};
constexpr std::array<char const*, kPrograms.size()> kFragments{kMatrix, kMatrix, kGray, kSepia};

using Column = glm::vec4;
std::array const kMatrices{glm::mat4(Column(1.066F, 0.083F, -0.056F, -0.026129F),  // retro
                                     Column(-0.047F, 0.943F, -0.015F, 0.084137F),
                                     Column(-0.022F, 0.034F, 0.496F, 0.239627F), Column(0, 0, 0, 1)),
                           glm::mat4(Column(0.785F, 0.017F, 0.011F, 0.100941F),  // s70
                                     Column(-0.007F, 0.867F, 0.008F, 0.055247F),
                                     Column(-0.005F, -0.010F, 0.854F, 0.018427F), Column(0, 0, 0, 1))};

}  // namespace

class EffectRetroColors final : public EffectWithSettings<Proc::SettingsEffectRetroColors> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double, double, ShaderStorage const& storage,
                    OglCache*) const override {
        auto const mode = static_cast<std::size_t>(std::clamp(static_cast<int>(settings.mode), 0, 3));
        Frame const picture = src->FrameData().ConvertToRGBA(storage);
        Pass pass(storage, kPrograms[mode], kFragments[mode]);
        pass.Texture("tex", 0, picture, TextureFilter::Nearest);
        if (mode < kMatrices.size()) {
            pass.Set("matr", kMatrices[mode], false);
        }
        pass.DrawTo(*dst);
    }
};

template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectRetroColors>();

}  // namespace Kaltor::Ogl

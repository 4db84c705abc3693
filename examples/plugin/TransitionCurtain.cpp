// The outgoing picture is drawn aside like two curtains. 0 is exactly the first picture, 1 exactly the second.
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Registration.h"
#include "Proc/Settings/Settings.h"

namespace {

using namespace Kaltor;

struct SettingsTransitionCurtain final : Proc::SettingsOf<SettingsTransitionCurtain> {
    static inline std::string const CLASS_ID = "TransitionCurtain";
    static constexpr std::string_view SUMMARY = "The outgoing picture opens in the middle like two curtains.";

    static std::vector<Proc::Field> DeclareFields() { return {}; }
};

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex0;
uniform sampler2D tex1;
uniform float progress;
varying vec2 TexCoord0;
void main() {
    float side = TexCoord0.x < 0.5 ? 1.0 : -1.0;
    bool isOpen = abs(TexCoord0.x - 0.5) < 0.5 * progress;
    vec4 from = texture2D(tex0, TexCoord0 + vec2(side * 0.5 * progress, 0.0));
    gl_FragColor = isOpen ? texture2D(tex1, TexCoord0) : from;
}
)glsl";

class TransitionCurtain final : public Ogl::TransitionWithSettings<SettingsTransitionCurtain> {
public:
    void Processing(Ogl::DataVideoOGL* dst, Ogl::Src const& src1, Ogl::Src const& src2, double, double progress,
                    Ogl::ShaderStorage const& storage, Ogl::OglCache*) const override {
        Ogl::Frame const from = src1->FrameData().ConvertToRGBA(storage);
        Ogl::Frame const to = src2->FrameData().ConvertToRGBA(storage);
        Ogl::Pass(storage, "TransitionCurtain", kFragment)
            .Texture("tex0", 0, from)
            .Texture("tex1", 1, to)
            .Set("progress", static_cast<float>(progress))
            .DrawTo(*dst);
    }
};

}  // namespace

void RegisterCurtain(Proc::IEffectRegistry& registry) {
    Proc::RegisterTransition<SettingsTransitionCurtain, TransitionCurtain>(registry);
}

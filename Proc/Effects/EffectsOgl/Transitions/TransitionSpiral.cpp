// The incoming picture opens as a growing disc. Around it the outgoing one is twisted, most at the disc's rim and more
// as the disc grows.

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/GrowingDisc.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kMain[] = R"glsl(
    lens = max(lens, 0.0);
    float a = max(0.2 * t - (lens - 0.05) * (1.0 - t), 0.0) * 20.0;
    a *= a;
    float sine = sin(a);
    float cosine = cos(a);
    vec2 v = (TexCoord0 - v_src) * aspect;
    vec2 c = vec2(v.x * cosine - v.y * sine, v.x * sine + v.y * cosine) / aspect + v_src;
    gl_FragColor = mix(texture2D(tex_bot, TexCoord0), texture2D(tex_top, c), min(lens * 300.0, 1.0));
}
)glsl";

using Type = Proc::SettingsTransitionSpiral::Type;

glm::vec2 GetCentre(Type type) {
    switch (type) {
        case Type::TopRight:
            return {1.0F, 1.0F};
        case Type::Centre:
            return {0.5F, 0.5F};
        default:
            return {0.0F, 0.0F};
    }
}

}  // namespace

class TransitionSpiral final : public TransitionWithSettings<Proc::SettingsTransitionSpiral> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        glm::vec2 const centre = GetCentre(settings.GetType());
        MakeGrowingDisc(storage, "TransitionSpiral", kMain, outgoing, incoming, centre, progress).DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSpiral>();

}  // namespace Kaltor::Ogl

// The incoming picture opens as a growing disc. Around it the outgoing one is twisted, most at the disc's rim and more
// as the disc grows. Where a pixel spans many texels, which happens along the radius, it is the mean of samples on it,
// or fine detail would sparkle.

#include "Proc/Effects/EffectsOgl/Transitions/GrowingDisc.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kTwisted[] = R"glsl(
uniform float pixel;
vec4 Twisted(vec2 v, float a) {
    a *= a;
    float sine = sin(a);
    float cosine = cos(a);
    return texture2D(tex_top, vec2(v.x * cosine - v.y * sine, v.x * sine + v.y * cosine) / aspect + v_src);
}
)glsl";

constexpr char kMain[] = R"glsl(
    lens = max(lens, 0.0);
    float a = max(0.2 * t - (lens - 0.05) * (1.0 - t), 0.0) * 20.0;
    vec2 v = (TexCoord0 - v_src) * aspect;
    vec4 color = Twisted(v, a);
    float slope = 20.0 * (1.0 - t);
    float texels = lens > 0.0 ? length(v) * 2.0 * a * slope : 0.0;  // a pixel spans
    if (texels > 3.0) {
        vec2 outwards = normalize(v);
        vec4 sum = vec4(0.0);
        for (int i = 0; i < 12; ++i) {
            float away = (float(i) - 5.5) / 12.0 * pixel;
            vec4 part = Twisted(v + outwards * away, max(a - slope * away, 0.0));
            sum += vec4(part.rgb * part.a, part.a);
        }
        vec4 mean = vec4(sum.rgb / max(sum.a, 1.0e-4), sum.a / 12.0);
        color = mix(color, mean, min(0.5 * texels - 1.5, 1.0));
    }
    gl_FragColor = mix(texture2D(tex_bot, TexCoord0), color, min(lens * 300.0, 1.0));
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
        MakeGrowingDisc(storage, "TransitionSpiral", kMain, outgoing, incoming, centre, progress, kTwisted)
            .Set("pixel", GetTexelAspect(outgoing).x / static_cast<float>(outgoing.GetWidth()))
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSpiral>();

}  // namespace Kaltor::Ogl

// The incoming picture opens as a disc around a point; around it, pixels read the outgoing picture from nearer to the
// point, most strongly at the rim. The incoming picture shows through in a narrow band beyond the rim.

#include <array>

#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/EffectsOgl/Transitions/GrowingDisc.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kMain[] = R"glsl(
    float i = 1.0 - t;
    vec2 c = (TexCoord0 - v_src) * (i * clamp(10.0 * lens, 0.0, 1.0)) + v_src;
    gl_FragColor = mix(texture2D(tex_bot, TexCoord0), texture2D(tex_top, c), clamp(20.0 * lens * i, 0.0, 1.0));
}
)glsl";

/// In texture coordinates.
constexpr std::array<glm::vec2, 3> kCentres{{{0.0F, 0.0F}, {0.0F, 1.0F}, {0.5F, 0.5F}}};

}  // namespace

class TransitionLens final : public TransitionWithSettings<Proc::SettingsTransitionLens> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        glm::vec2 const centre = kCentres[static_cast<std::size_t>(settings.GetType())];
        MakeGrowingDisc(storage, "TransitionLens", kMain, outgoing, incoming, centre, progress).DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionLens>();

}  // namespace Kaltor::Ogl

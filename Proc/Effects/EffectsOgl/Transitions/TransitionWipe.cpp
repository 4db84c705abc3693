// A soft edge wipes the outgoing picture away: straight, from a side or a corner, or as a wedge that opens from the
// middle of a side. `d` is how far a pixel is from where the edge starts; from the corners it is 45 degrees on screen.

#include <array>
#include <string>

#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(
uniform sampler2D tex_top;
uniform sampler2D tex_bot;
uniform vec4 direction;
uniform float progress;
uniform float width;
varying vec2 TexCoord0;
void main() {
#ifdef IS_WEDGE
    vec2 n = abs(TexCoord0 - direction.xy);
    n.y = mix(n.y, 0.5, n.x);
#else
    vec2 n = TexCoord0 + direction.xy;
#endif
    float d = dot(n, direction.zw);
    float status = (progress - d) / width;
    gl_FragColor = mix(texture2D(tex_top, TexCoord0), texture2D(tex_bot, TexCoord0), clamp(status, 0.0, 1.0));
}
)glsl";

}  // namespace

class TransitionWipe final : public TransitionWithSettings<Proc::SettingsTransitionWipe> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        double const aspect = GetDisplayAspect(first->GetFrameInfo());
        auto const k = static_cast<float>(aspect / (aspect + 1.0));
        auto const m = static_cast<float>(1.0 / (aspect + 1.0));
        std::array<glm::vec4, 10> const directions{{{0, -1, 0, -1},
                                                    {0, 0, 0, 1},
                                                    {-1, 0, -1, 0},
                                                    {0, 0, 1, 0},
                                                    {-1, -1, -k, -m},
                                                    {-1, 0, -k, m},
                                                    {0, -1, k, -m},
                                                    {0, 0, k, m},
                                                    {0, 0.5, k, m},
                                                    {1, 0.5, k, m}}};
        using Direction = Proc::SettingsTransitionWipe::Direction;
        bool const isWedge =
            settings.direction == Direction::WedgeFromLeft || settings.direction == Direction::WedgeFromRight;
        // The largest d plus the width, so that the edge has left the picture at the end.
        double const reach = isWedge ? (aspect + 0.5) / (aspect + 1.0) : 1.0;
        float const width = (static_cast<float>(settings.width) + 1.0F) / 5.0F;
        Pass(storage, isWedge ? "TransitionWipeCorner" : "TransitionWipe",
             [isWedge] { return std::string("#version 120\n") + (isWedge ? "#define IS_WEDGE" : "") + kFragment; })
            .Texture("tex_top", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("direction", directions.at(static_cast<std::size_t>(settings.direction)))
            .Set("progress", static_cast<float>((reach + width) * progress))
            .Set("width", width)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionWipe>();

}  // namespace Kaltor::Ogl

// A soft edge wipes the outgoing picture away: straight, from a side or a corner, or as a wedge that opens from the
// middle of a side. `d` is how far a pixel is from where the edge starts; from the corners it is 45 degrees on screen.

#include <array>
#include <string>

#include "Proc/Effects/EffectsOgl/Effects/ProcessorMask.h"
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
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
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
        glm::vec4 const& direction = directions.at(static_cast<std::size_t>(settings.direction));
        auto const begun = static_cast<float>((reach + width) * progress);
        if (IsOnPlanes(*dst)) {
            PlaneSource const outgoing(*first);
            PlaneSource const incoming(*second);
            auto const wide = static_cast<float>(outgoing.Get()[0].width);
            auto const high = static_cast<float>(outgoing.Get()[0].height);
            DrawPlanes(*dst, [&](Planes const& to) {
                MixOnProcessor(
                    outgoing.Get(), incoming.Get(), to,
                    [&](int y, float* shares) {
                        float const t = 1.0F - (static_cast<float>(y) + 0.5F) / high;
                        for (int x = 0; x < to[0].width; ++x) {
                            float const s = (static_cast<float>(x) + 0.5F) / wide;
                            glm::vec2 n(s + direction.x, t + direction.y);
                            if (isWedge) {
                                n = glm::abs(glm::vec2(s - direction.x, t - direction.y));
                                n.y += (0.5F - n.y) * n.x;
                            }
                            shares[x] = (begun - n.x * direction.z - n.y * direction.w) / width;
                        }
                    },
                    storage.Processor());
            });
            return;
        }
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        Pass(storage, isWedge ? "TransitionWipeCorner" : "TransitionWipe",
             [isWedge] { return std::string("#version 120\n") + (isWedge ? "#define IS_WEDGE" : "") + kFragment; })
            .Texture("tex_top", 0, outgoing, TextureFilter::Nearest)
            .Texture("tex_bot", 1, incoming, TextureFilter::Nearest)
            .Set("direction", direction)
            .Set("progress", begun)
            .Set("width", width)
            .DrawTo(*dst);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionWipe>();

}  // namespace Kaltor::Ogl

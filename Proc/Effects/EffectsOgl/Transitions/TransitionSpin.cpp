// One picture turns about the centre of the screen while it grows over the other one (in), or shrinks (out). Its alpha
// is a ramp along its border, which smooths the turned edges; it is blended over the picture underneath with that
// alpha.

#include <glm/gtc/constants.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Settings/SettingsMotionTransitions.h"

namespace Kaltor::Ogl {
namespace {

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float eps_1;
varying vec2 TexCoord0;
void main() {
    vec2 o = eps_1 * min(TexCoord0, vec2(1.0) - TexCoord0);
    gl_FragColor = vec4(texture2D(tex, TexCoord0).rgb, min(min(o.x, o.y), 1.0));
}
)glsl";

/// The full-screen quad at `size` times its size, turned: from an eighth of a turn clockwise at size 0 to upright at 1.
Mesh::Corners Turn(float size) {
    double const angle = (static_cast<double>(size) - 1) * glm::pi<double>() * 0.25;
    glm::mat4 const rotation = glm::rotate(glm::mat4(1.0F), static_cast<float>(angle), glm::vec3(0.0F, 0.0F, 1.0F));
    Mesh::Corners corners = Quad::kFull;
    for (std::size_t corner = 0; corner < corners.size(); corner += 4) {
        glm::vec4 const turned = rotation * glm::vec4(corners[corner + 2], corners[corner + 3], 1.0F, 1.0F);
        corners[corner + 2] = turned.x * size;
        corners[corner + 3] = turned.y * size;
    }
    return corners;
}

}  // namespace

class TransitionSpin final : public TransitionWithSettings<Proc::SettingsTransitionSpin> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        using Mode = Proc::SettingsTransitionSpin::Mode;
        bool const isOut = settings.mode == Mode::Out;
        auto const size = static_cast<float>(settings.mode == Mode::In ? progress : 1 - progress);
        Mesh::Corners const corners = Turn(size);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.SetCorners(corners);
        Frame const spinning = (isOut ? first : second)->FrameData().ConvertToRGBA(storage);
        DrawUnchanged(*dst, isOut ? *second : *first, storage);

        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        Pass(storage, "TransitionSpin", kFragment)
            .Texture("tex", 1, spinning, corners == Quad::kFull ? TextureFilter::Nearest : TextureFilter::Linear)
            .Set("eps_1", 200 - 100 * progress * progress)
            .DrawTo(*dst, quad);
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSpin>();

}  // namespace Kaltor::Ogl

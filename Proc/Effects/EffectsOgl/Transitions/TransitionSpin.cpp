// One picture turns about the centre of the screen while it grows over the other one (in), or shrinks (out). Its alpha
// is a ramp along its border, which smooths the turned edges; over the picture underneath it lies by that alpha.

#include <array>

#include <glm/gtc/constants.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Blend.h"
#include "Proc/Effects/EffectsOgl/MakeAlgorithm.h"
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
std::array<float, 16> Turn(float size) {
    double const angle = (static_cast<double>(size) - 1) * glm::pi<double>() * 0.25;
    glm::mat4 const rotation = glm::rotate(glm::mat4(1.0F), static_cast<float>(angle), glm::vec3(0.0F, 0.0F, 1.0F));
    std::array<float, 16> vertices = Quad::kFull;
    for (std::size_t corner = 0; corner < vertices.size(); corner += 4) {
        glm::vec4 const turned = rotation * glm::vec4(vertices[corner + 2], vertices[corner + 3], 1.0F, 1.0F);
        vertices[corner + 2] = turned.x * size;
        vertices[corner + 3] = turned.y * size;
    }
    return vertices;
}

}  // namespace

class TransitionSpin final : public TransitionWithSettings<Proc::SettingsTransitionSpin> {
public:
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache*) const override {
        bool const isOut = settings.GetMode() == 1;
        auto const size = static_cast<float>(settings.GetMode() == 0 ? progress : 1 - progress);
        std::array<float, 16> const vertices = Turn(size);
        Quad quad(GL_DYNAMIC_DRAW);
        quad.GetVertexBuffer().UpdateBuffer(0, sizeof(vertices), vertices.data());
        Frame const spinning = (isOut ? first : second)->FrameData().ConvertToRGBA(storage);

        AttachTarget(*dst, storage);
        (isOut ? second : first)->FrameData().Draw(storage.Quad(), storage);

        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        Shader const& shader = storage.MakeShader("TransitionSpin", kQuadVertex, kFragment);
        shader.Use();
        shader.Uniform("tex", 1);
        shader.Uniform("eps_1", 200 - 100 * progress * progress);
        spinning.GetFirstTexture().Use(1, vertices == Quad::kFull ? TextureFilter::Nearest : TextureFilter::Linear);
        quad.Activate();
        quad.Draw();
    }
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionSpin>();

}  // namespace Kaltor::Ogl

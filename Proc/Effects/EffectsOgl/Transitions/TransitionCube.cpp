// A cube with the outgoing picture on its front face and the incoming one on its right face makes a quarter turn, until
// the right face fills the frame: the camera goes round it. The upper and lower edges of the faces are feathered;
// outside the faces nothing is drawn.

#include <array>
#include <numbers>

#include <glm/gtc/matrix_transform.hpp>

#include "Ogl/GlState.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/MakeAlgorithm.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/EffectsOgl/Transitions/FlatDepth.h"
#include "Proc/Settings/SettingsMeshTransitions.h"

namespace Kaltor::Ogl {
namespace {

// Depth: see MakeFlatPerspective.
constexpr char kVertex[] = R"glsl(#version 120
uniform mat4 MVP;
varying vec2 TexCoord0;
void main() {
    gl_Position = MVP * vec4(gl_Vertex.xyz, 1.0);
    gl_Position.z = 0.0;
    TexCoord0 = gl_MultiTexCoord0.xy;
}
)glsl";

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
uniform float eps_1;
varying vec2 TexCoord0;
void main() {
    float d = min(TexCoord0.t, 1.0 - TexCoord0.t);
    vec4 color = texture2D(tex, TexCoord0);
    color.a *= min(eps_1 * d, 1.0);
    gl_FragColor = color;
}
)glsl";

glm::mat4 MakeCamera(double progress) {
    constexpr float kDistance = 4.0F;
    constexpr float kCubeHalfSize = 1.17F;               // the face in front covers 0.998 of the frame
    constexpr float kCotOfHalfFieldOfView = 2.4142136F;  // 22.5 degrees
    auto const angle = static_cast<float>(std::numbers::pi / 2.0 * progress);
    glm::vec3 const eye = glm::rotate(glm::mat4(1.0F), angle, {0.0F, 1.0F, 0.0F}) * glm::vec4(0, 0, kDistance, 1);
    glm::mat4 const view = glm::lookAt(eye, {0.0F, 0.0F, 0.0F}, {0.0F, 1.0F, 0.0F});
    return MakeFlatPerspective(kCotOfHalfFieldOfView) * view * glm::scale(glm::mat4(1.0F), glm::vec3(kCubeHalfSize));
}

}  // namespace

class TransitionCube final : public TransitionWithSettings<Proc::SettingsTransitionCube> {
public:
    OglCache* CreateCache() const override { return new CacheImpl; }

    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double, double progress,
                    ShaderStorage const& storage, OglCache* cache) const override {
        auto& faces = GetCache<CacheImpl>(cache);
        faces.Initialize();
        Frame const outgoing = first->FrameData().ConvertToRGBA(storage);
        Frame const incoming = second->FrameData().ConvertToRGBA(storage);
        AttachTarget(*dst, storage);  // clears it
        EnableState const blend(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        EnableState const cull(GL_CULL_FACE);
        glCullFace(GL_BACK);
        // The reciprocal of the feather's width as a part of the face: 1 % at the ends, half of that in the middle.
        double const sharpness = (progress - progress * progress) * 400.0 + 100.0;
        Pass pass(storage, "TransitionCube", kVertex, kFragment);
        pass.Set("MVP", MakeCamera(progress)).Set("eps_1", sharpness);
        pass.Texture("tex", 0, outgoing).Draw(faces.front);
        pass.Texture("tex", 0, incoming).Draw(faces.right);
    }

private:
    struct CacheImpl final : OglCache {
        void Initialize() {
            constexpr std::array<unsigned, 3> kLower{0, 1, 2};
            constexpr std::array<unsigned, 3> kUpper{2, 1, 3};
            if (right.IsEmpty()) {
                right.Build(
                    {{{1, -1, 1, 0, 0}, {1, -1, -1, 1, 0}, {1, 1, 1, 0, 1}, {1, 1, -1, 1, 1}}, {kLower, kUpper}},
                    GL_STATIC_DRAW);
            }
            if (front.IsEmpty()) {
                front.Build(
                    {{{-1, -1, 1, 0, 0}, {1, -1, 1, 1, 0}, {-1, 1, 1, 0, 1}, {1, 1, 1, 1, 1}}, {kLower, kUpper}},
                    GL_STATIC_DRAW);
            }
        }

        Mesh3d right;
        Mesh3d front;
    };
};

template std::unique_ptr<ITransitionAlgorithm> MakeTransition<TransitionCube>();

}  // namespace Kaltor::Ogl

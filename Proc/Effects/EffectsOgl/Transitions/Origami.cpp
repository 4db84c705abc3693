#include "Proc/Effects/EffectsOgl/Transitions/Origami.h"

#include <string>

#include "Proc/Effects/EffectsOgl/Pass.h"

namespace Kaltor::Ogl {
namespace {

// Depth: see MakeFlatPerspective.
constexpr char kVertex[] = R"glsl(#version 120
uniform mat3 NormalMatrix;
uniform mat4 MVP;
uniform vec3 vert_to_light_in_camspace;
varying vec2 TexCoord0;
varying float light;
void main() {
    vec3 n = normalize(NormalMatrix * gl_Normal);
    light = max(0.0, dot(n, vert_to_light_in_camspace));
    gl_Position = MVP * vec4(gl_Vertex.xyz, 1.0);
    gl_Position.z = 0.0;
    TexCoord0 = gl_MultiTexCoord0.xy;
}
)glsl";

constexpr char kFragment[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
varying float light;
void main() {
    gl_FragColor = texture2D(tex, TexCoord0) * (light * 0.7 + 0.3);
}
)glsl";

constexpr char kDrawFragment[] = R"glsl(#version 120
uniform sampler2D tex;
varying vec2 TexCoord0;
void main() {
    gl_FragColor = texture2D(tex, TexCoord0);
}
)glsl";

}  // namespace

void UseOrigamiProgram(std::string_view name, OrigamiCamera const& camera, ShaderStorage const& storage) {
    Shader const& shader = storage.MakeShader(name, kVertex, kFragment);
    shader.Use();
    shader.Uniform("tex", 0);
    shader.Uniform("NormalMatrix", camera.NormalMatrix);
    shader.Uniform("MVP", camera.MVP);
    shader.Uniform("vert_to_light_in_camspace", camera.vert_to_light_in_camspace);
}

void DrawPaper(OrigamiPaper const& paper, TextureFilter filter, int count) {
    paper.picture.GetFirstTexture().Use(0, filter);
    Mesh3dDeprecated const mesh(paper.mesh);
    mesh.Activate();
    mesh.Draw(count);
}

void DrawOrigami(DataVideoOGL& dst, std::string_view name, OrigamiCamera const& camera, OrigamiPaper const& below,
                 OrigamiPaper const& above, ShaderStorage const& storage) {
    Frame fine = Frame::Create();
    fine.Allocate(below.picture.GetPixFmt(), 2 * above.picture.GetWidth(), 2 * above.picture.GetHeight());
    storage.FBO().Attach(fine.GetFirstTexture());  // clears it
    UseOrigamiProgram(name, camera, storage);
    DrawPaper(below);
    DrawPaper(above);
    Pass(storage, std::string(name) + "Draw", kDrawFragment).Texture("tex", 0, fine).DrawTo(dst);
}

void AppendNormals(glm::vec3 const& normal, std::vector<float>& normals) {
    for (int corner = 0; corner < 4; ++corner) {
        normals.insert(normals.end(), {normal.x, normal.y, normal.z});
    }
}

}  // namespace Kaltor::Ogl

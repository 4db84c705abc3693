#include "Proc/Effects/EffectsOgl/Transitions/Origami.h"

#include "Proc/Effects/EffectsOgl/Transitions/Fineness.h"

#include <algorithm>
#include <string>

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

Pass MakeOrigamiPass(std::string_view name, OrigamiCamera const& camera, ShaderStorage const& storage) {
    return Pass(storage, name, kVertex, kFragment)
        .Set("NormalMatrix", camera.NormalMatrix)
        .Set("MVP", camera.MVP)
        .Set("vert_to_light_in_camspace", camera.vert_to_light_in_camspace);
}

void DrawPaper(Pass& pass, OrigamiPaper const& paper, TextureFilter filter, int count) {
    pass.Texture("tex", 0, paper.picture, filter).Draw(LitMesh(paper.mesh), count);
}

void DrawOrigami(DataVideoOGL& dst, std::string_view name, OrigamiCamera const& camera, OrigamiPaper const& below,
                 OrigamiPaper const& above, ShaderStorage const& storage) {
    Frame fine = Frame::Create();
    std::uint32_t const fineness = GetFineness(above.picture);
    fine.Allocate(below.picture.GetPixFmt(), fineness * above.picture.GetWidth(),
                  fineness * above.picture.GetHeight());
    storage.FBO().Attach(fine.GetFirstTexture());  // clears it
    Pass pass = MakeOrigamiPass(name, camera, storage);
    DrawPaper(pass, below);
    DrawPaper(pass, above);
    Pass(storage, std::string(name) + "Draw", kDrawFragment).Texture("tex", 0, fine).DrawTo(dst);
}

void AppendNormals(glm::vec3 const& normal, std::vector<float>& normals) {
    for (int corner = 0; corner < 4; ++corner) {
        normals.insert(normals.end(), {normal.x, normal.y, normal.z});
    }
}

void InsertNormals(glm::vec3 const& normal, std::vector<float>& normals, int position) {
    std::vector<float> quad;
    AppendNormals(normal, quad);
    std::copy(quad.begin(), quad.end(), normals.begin() + position);
}

}  // namespace Kaltor::Ogl

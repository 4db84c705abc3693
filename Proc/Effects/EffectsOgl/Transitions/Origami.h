#pragma once

#include <string_view>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/mat3x3.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/Frame.h"
#include "Ogl/Mesh.h"
#include "Ogl/ShaderStorage.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/EffectsOgl/Transitions/FlatDepth.h"

namespace Kaltor::Ogl {

// Shared parts of the transitions of folded paper: the camera, the light, the program, and drawing through a frame of
// twice the size.

/// A camera at z = 1 that looks at the origin with a field of view of 90 degrees: (x, y, 0) is (x, y) on the screen,
/// and points further back (z < 0) are scaled by 1 / (1 - z). The light comes from behind the camera.
struct OrigamiCamera {
    glm::vec3 vert_to_light_in_camspace{0.0F, 0.0F, 1.0F};
    glm::mat3 NormalMatrix{1.0F};
    glm::mat4 MVP = MakeFlatPerspective(1.0F) * glm::translate(glm::mat4(1.0F), glm::vec3(0.0F, 0.0F, -1.0F));
};

/// A pass of the lit program under the transition's own name. Paper that faces the light shows the picture `tex`
/// unchanged; paper edge-on to it is multiplied by 0.3 (alpha too).
Pass MakeOrigamiPass(std::string_view name, OrigamiCamera const& camera, ShaderStorage const& storage);

/// A mesh and the picture on it.
struct OrigamiPaper {
    PackedLitMesh const& mesh;
    Frame const& picture;
};

/// Draws the first `count` indices of its mesh, or all, to the attached target.
void DrawPaper(Pass& pass, OrigamiPaper const& paper, TextureFilter filter = TextureFilter::Linear,
               int count = Mesh::kAll);

/// Draws `below`, then `above` over it, into a frame of twice the size of the picture above. Then draws that frame into
/// `dst` with each 2x2 texels averaged, which smooths the edges of the folds. That frame has the format of `below`:
/// light dims alpha, too, and an opaque picture must not become transparent in the shade. The second program's name is
/// `name` + "Draw".
void DrawOrigami(DataVideoOGL& dst, std::string_view name, OrigamiCamera const& camera, OrigamiPaper const& below,
                 OrigamiPaper const& above, ShaderStorage const& storage);

/// Appends the same normal for the four corners of a quad.
void AppendNormals(glm::vec3 const& normal, std::vector<float>& normals);

/// Replaces the normals of the quad whose 12 floats begin at `position` by the same one.
void InsertNormals(glm::vec3 const& normal, std::vector<float>& normals, int position);

}  // namespace Kaltor::Ogl

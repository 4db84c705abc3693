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
#include "Proc/Effects/EffectsOgl/Pass.h"
#include "Proc/Effects/EffectsOgl/Transitions/FlatDepth.h"

namespace Kaltor::Ogl {

// What the transitions of folded paper share: the camera, the light, the program, and the way over a frame of twice the
// size.

/// Stands at z = 1 and looks at the origin with a field of view of 90 degrees: (x, y, 0) is (x, y) on the screen, what
/// lies further back (z < 0) is smaller by 1 / (1 - z). The light comes from behind the camera.
struct OrigamiCamera {
    glm::vec3 vert_to_light_in_camspace{0.0F, 0.0F, 1.0F};
    glm::mat3 NormalMatrix{1.0F};
    glm::mat4 MVP = MakeFlatPerspective(1.0F) * glm::translate(glm::mat4(1.0F), glm::vec3(0.0F, 0.0F, -1.0F));
};

/// A pass of the lit program under a name of the transition's own: of the picture `tex` paper that faces the light
/// keeps everything and paper edge-on 0.3 (alpha too).
Pass MakeOrigamiPass(std::string_view name, OrigamiCamera const& camera, ShaderStorage const& storage);

/// A mesh and the picture on it.
struct OrigamiPaper {
    PackedLitMesh const& mesh;
    Frame const& picture;
};

/// Draws it to the attached target; of its mesh the first `count` indices, or all.
void DrawPaper(Pass& pass, OrigamiPaper const& paper, TextureFilter filter = TextureFilter::Linear,
               int count = Mesh::kAll);

/// Draws `below`, then `above` over it, into a frame of twice the size of the picture above, and that frame, each 2x2
/// texels averaged, into `dst`: smooth edges of the folds. That frame has the format of `below`: light dims alpha, too,
/// and an opaque picture must not show through where it is in the shade. The second program's name is `name` + "Draw".
void DrawOrigami(DataVideoOGL& dst, std::string_view name, OrigamiCamera const& camera, OrigamiPaper const& below,
                 OrigamiPaper const& above, ShaderStorage const& storage);

/// Appends the same normal for the four corners of a quad.
void AppendNormals(glm::vec3 const& normal, std::vector<float>& normals);

/// Replaces the normals of the quad whose 12 floats begin at `position` by the same one.
void InsertNormals(glm::vec3 const& normal, std::vector<float>& normals, int position);

}  // namespace Kaltor::Ogl

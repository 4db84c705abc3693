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

/// Makes the lit program current, under a name of the transition's own: a texture on unit 0, of which paper that faces
/// the light keeps everything and paper edge-on 0.3 (alpha too).
void UseOrigamiProgram(std::string_view name, OrigamiCamera const& camera, ShaderStorage const& storage);

/// A mesh and the picture on it.
struct OrigamiPaper {
    PackedMesh3dDeprecated const& mesh;
    Frame const& picture;
};

/// Draws it with the lit program; of its mesh the first `count` indices, -1: all.
void DrawPaper(OrigamiPaper const& paper, TextureFilter filter = TextureFilter::Linear, int count = -1);

/// Draws `below`, then `above` over it, into a frame of twice the size of the picture above, and that frame, each 2x2
/// texels averaged, into `dst`: smooth edges of the folds. That frame has the format of `below`: light dims alpha, too,
/// and an opaque picture must not show through where it is in the shade. The second program's name is `name` + "Draw".
void DrawOrigami(DataVideoOGL& dst, std::string_view name, OrigamiCamera const& camera, OrigamiPaper const& below,
                 OrigamiPaper const& above, ShaderStorage const& storage);

/// Appends the same normal for the four corners of a quad.
void AppendNormals(glm::vec3 const& normal, std::vector<float>& normals);

}  // namespace Kaltor::Ogl

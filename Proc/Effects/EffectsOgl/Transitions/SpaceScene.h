#pragma once

#include <optional>

#include "Ogl/GlState.h"
#include "Ogl/Mesh.h"
#include "Ogl/ShaderStorage.h"
#include "Ogl/TexturePool.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"

namespace Kaltor::Ogl {

// Shared parts of the transitions whose pictures turn in empty space: the pictures, the output in which their parts are
// laid over each other, the camera and the light.

/// How far the camera stands from where pictures lie at rest, in halves of the side that the scene is measured by.
constexpr float kCameraDistance = 4.0F;

/// GLSL: `vec2 shine(vec3 normal, vec3 toEye)` for unit vectors, x to the right, y up, z towards the viewer: by how
/// much a surface multiplies its colours and how much white its gloss adds (Blinn, "Models of Light Reflection for
/// Computer Synthesized Pictures", 1977). The lamp is in front of the pictures at the upper left. A picture at rest
/// gets (1, 0).
extern char const* const kShineFunction;

/// GLSL: `vec2 stretch(vec2 coord)`, the texture coordinates that a pixel spans in the direction of its largest span,
/// minus a texel, and `vec4 filtered(sampler2D tex, vec2 coord, vec2 reach)`, the mean of four samples over that span:
/// tilted pictures do not flicker, and flat ones stay sharp. Needs the uniform `picture_size` in texels.
extern char const* const kStretchFunctions;

/// Draws parts of two pictures over each other, back to front, on an empty frame: transparent or, in an opaque output,
/// black. Blends premultiplied colours for its lifetime. GL thread only.
class SpaceScene {
public:
    /// `weight`: behind everything lie both pictures, enlarged, blurred and dark, the second one by this share. In an
    /// output with alpha nothing does: cut-outs keep their surroundings.
    SpaceScene(DataVideoOGL& output, DataVideoOGL& first, DataVideoOGL& second, ShaderStorage const& shaderStorage,
               std::optional<double> weight = std::nullopt);

    Texture const& GetOutgoing() const { return outgoing.Get(); }
    Texture const& GetIncoming() const { return incoming.Get(); }
    /// Sets the samplers `tex1` and `tex2` and `picture_size`.
    void UsePictures(Pass& pass) const;
    /// Shows a part of a picture at its own place, one texel per pixel.
    void DrawFlat(Texture const& picture, glm::vec2 const& from, glm::vec2 const& to) const;
    /// Brings the result to the output; nothing can be drawn any more.
    void Finish();

private:
    DataVideoOGL& dst;
    ShaderStorage const& storage;
    Premultiplied outgoing;
    Premultiplied incoming;
    std::optional<PooledTexture> layers;  ///< used if the output has alpha: holds premultiplied colours
    std::optional<EnableState> blend;
};

}  // namespace Kaltor::Ogl

#pragma once

#include "Ogl/Frame.h"
#include "Ogl/Mesh.h"

namespace Kaltor::Ogl {

/// Draws whole pictures, one after the other, each on a quad of its own: one buffer, rewritten between the draws.
class PictureQuad {
public:
    explicit PictureQuad(ShaderStorage const& shaderStorage) : storage(shaderStorage) {}

    /// A picture around (dx, dy) in clip space; with a half-size of 1 it is as large as the target. Coordinates are
    /// rounded once, so that pictures that lie edge to edge share the edge's coordinates and leave no gap.
    static Mesh::Corners Place(double dx, double dy, double halfSize) {
        auto const left = static_cast<float>(dx - halfSize);
        auto const right = static_cast<float>(dx + halfSize);
        auto const bottom = static_cast<float>(dy - halfSize);
        auto const top = static_cast<float>(dy + halfSize);
        return {0, 0, left, bottom, 1, 0, right, bottom, 1, 1, right, top, 0, 1, left, top};
    }

    /// Into the attached target, under the current blend state.
    void Draw(Frame const& frame, Mesh::Corners const& corners) {
        quad.SetCorners(corners);
        frame.Draw(quad, storage);
    }

private:
    ShaderStorage const& storage;
    Quad quad{GL_DYNAMIC_DRAW};
};

}  // namespace Kaltor::Ogl

#pragma once

#include <memory>

#include "Ogl/GlObject.h"
#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

class PlanarPicture;

/// A framebuffer object to draw textures through. GL thread only.
class Surface {
public:
    Surface() : object(GlKind::Framebuffer) {}

    /// Makes `texture` the target of all further drawing and sets the viewport to its size. The first attachment of a
    /// frame just made clears it to transparent black.
    void Attach(Texture const& texture);
    /// Makes planes in main memory the target of `Frame::Draw`, until a texture is attached.
    void Attach(std::shared_ptr<PlanarPicture> const& planes);
    /// The planes that are attached, or null.
    std::shared_ptr<PlanarPicture> GetPlanes() const { return target.lock(); }
    /// Adds a cleared depth buffer of the target's size and switches the depth test on: nearer fragments win.
    void AttachDepth();
    void DetachDepth();

    /// Size of the target, pixels.
    std::uint32_t GetWidth() const { return width; }
    std::uint32_t GetHeight() const { return height; }

private:
    GlObject object;
    GlObject depth;
    std::uint32_t depthWidth = 0;
    std::uint32_t depthHeight = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool hasDepth = false;
    std::weak_ptr<PlanarPicture> target;
};

}  // namespace Kaltor::Ogl

#include "Ogl/Surface.h"

#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

void Surface::Attach(Texture const& texture) {
    OglManager::AssertOpenGLThread();
    OglManager::FinishTarget();
    target.reset();
    width = texture.GetForm().width;
    height = texture.GetForm().height;
    glBindFramebuffer(GL_FRAMEBUFFER, object.Get());
    if (hasDepth) {
        DetachDepth();  // a failed task may have left one of another size
    }
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture.GetName(), 0);
    glViewport(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height));
#ifndef NDEBUG
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        Core::Throw(std::runtime_error("the GL cannot draw into this texture"));
    }
#endif
    if (texture.IsFresh()) {
        ClearAttached(texture.IsOpaque());
        texture.SetFresh(false);
    }
    // Opaque textures may have an alpha channel in memory. Later drawing and clearing must not change it.
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, texture.IsOpaque() ? GL_FALSE : GL_TRUE);
}

void Surface::Attach(std::shared_ptr<PlanarPicture> const& planes) {
    target = planes;
}

void Surface::AttachDepth() {
    if (!depth) {
        depth = GlObject(GlKind::Renderbuffer);
    }
    glBindRenderbuffer(GL_RENDERBUFFER, depth.Get());
    if (depthWidth != width || depthHeight != height) {
        glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, static_cast<GLsizei>(width),
                              static_cast<GLsizei>(height));
        ThrowOnGlError("allocating a depth buffer");
        depthWidth = width;
        depthHeight = height;
    }
    OglManager::FinishTarget();
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, depth.Get());
    hasDepth = true;
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LESS);
    glDepthMask(GL_TRUE);
    glClearDepth(1.0);
    glClear(GL_DEPTH_BUFFER_BIT);
}

void Surface::DetachDepth() {
    glDisable(GL_DEPTH_TEST);
    OglManager::FinishTarget();
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, 0);
    hasDepth = false;
}

}  // namespace Kaltor::Ogl

#include "Ogl/GlState.h"

#include <array>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/OglManager.h"
#include "Ogl/VertexLayout.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::array kCapabilities{GL_BLEND, GL_CULL_FACE, GL_DEPTH_TEST, GL_SCISSOR_TEST, GL_STENCIL_TEST};
constexpr std::array kArrays{GL_VERTEX_ARRAY, GL_TEXTURE_COORD_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY};

char const* NameError(GLenum error) {
    switch (error) {
        case GL_OUT_OF_MEMORY:
            return "out of graphics memory";
        case GL_INVALID_FRAMEBUFFER_OPERATION:
            return "invalid framebuffer operation";
        case GL_INVALID_ENUM:
            return "invalid enumeration";
        case GL_INVALID_VALUE:
            return "invalid value";
        case GL_INVALID_OPERATION:
            return "invalid operation";
        default:
            return "unknown error";
    }
}

}  // namespace

EnableState::EnableState(GLenum glCapability)
    : capability(glCapability), wasEnabled(glIsEnabled(glCapability) == GL_TRUE) {
    OglManager::AssertOpenGLThread();
    glEnable(capability);
}

EnableState::~EnableState() {
    if (!wasEnabled) {
        glDisable(capability);
    }
}

Interlude::Interlude() {
    OglManager::AssertOpenGLThread();
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &target);
    glPushAttrib(GL_ENABLE_BIT | GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT);
    for (GLenum const capability : kCapabilities) {
        glDisable(capability);
    }
}

Interlude::~Interlude() {
    OglManager::FinishTarget();
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(target));
    glPopAttrib();
}

EnableClientState::EnableClientState(GLenum vertexArray)
    : array(vertexArray), wasEnabled(glIsEnabled(vertexArray) == GL_TRUE) {
    OglManager::AssertOpenGLThread();
    glEnableClientState(array);
}

EnableClientState::~EnableClientState() {
    if (!wasEnabled) {
        glDisableClientState(array);
    }
}

CleanState::~CleanState() {
    for (GLenum const capability : kCapabilities) {
        glDisable(capability);
    }
    for (GLenum const array : kArrays) {
        glDisableClientState(array);
    }
    for (GLuint i = 0; i < kMostAttributes; ++i) {
        glDisableVertexAttribArray(i);
    }
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glUseProgram(0);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glBlendFunc(GL_ONE, GL_ZERO);
    glBlendEquation(GL_FUNC_ADD);
    glBlendColor(0.0F, 0.0F, 0.0F, 0.0F);
    glClearColor(0.0F, 0.0F, 0.0F, 0.0F);
    glCullFace(GL_BACK);
    glFrontFace(GL_CCW);
    glDepthMask(GL_TRUE);
    glActiveTexture(GL_TEXTURE0);
}

void CleanState::Check() const {
#ifndef NDEBUG
    ThrowOnGlError("a GL task");
#endif
}

void ClearAttached(bool isOpaque) {
    std::array<GLfloat, 4> color{};
    glGetFloatv(GL_COLOR_CLEAR_VALUE, color.data());
    bool const isCut = glIsEnabled(GL_SCISSOR_TEST) == GL_TRUE;
    if (isCut) {
        glDisable(GL_SCISSOR_TEST);
    }
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glClearColor(0.0F, 0.0F, 0.0F, isOpaque ? 1.0F : 0.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    glClearColor(color[0], color[1], color[2], color[3]);
    if (isCut) {
        glEnable(GL_SCISSOR_TEST);
    }
}

void ThrowOnGlError(char const* action) {
    GLenum const error = glGetError();
    if (error == GL_NO_ERROR) {
        return;
    }
    constexpr int kMostErrors = 16;  // a lost context reports errors for ever
    for (int i = 0; i < kMostErrors && glGetError() != GL_NO_ERROR; ++i) {
    }
    Core::Throw(std::runtime_error(fmt::format("{}: {}", action, NameError(error))));
}

}  // namespace Kaltor::Ogl

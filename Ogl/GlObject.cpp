#include "Ogl/GlObject.h"

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

GlObject::GlObject(GlKind objectKind) : kind(objectKind) {
    OglManager::AssertOpenGLThread();
    switch (kind) {
        case GlKind::Texture:
            glGenTextures(1, &name);
            break;
        case GlKind::Buffer:
            glGenBuffers(1, &name);
            break;
        case GlKind::Framebuffer:
            glGenFramebuffers(1, &name);
            break;
        case GlKind::Renderbuffer:
            glGenRenderbuffers(1, &name);
            break;
        case GlKind::Program:
            name = glCreateProgram();
            break;
    }
    OglManager::CountMade(kind);
}

GlObject::~GlObject() {
    if (name != 0) {
        OglManager::Discard(kind, name);
    }
}

void DeleteGlName(GlKind kind, GLuint name) {
    switch (kind) {
        case GlKind::Texture:
            glDeleteTextures(1, &name);
            break;
        case GlKind::Buffer:
            glDeleteBuffers(1, &name);
            break;
        case GlKind::Framebuffer:
            glDeleteFramebuffers(1, &name);
            break;
        case GlKind::Renderbuffer:
            glDeleteRenderbuffers(1, &name);
            break;
        case GlKind::Program:
            glDeleteProgram(name);
            break;
    }
}

}  // namespace Kaltor::Ogl

#include "Ogl/GLBuffer.h"

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

GLBuffer::GLBuffer(GLenum bufferTarget, GLenum bufferUsage)
    : target(bufferTarget), usage(bufferUsage), object(OglManager::TakeBuffer()) {}

GLBuffer::~GLBuffer() {
    if (object) {
        OglManager::GiveBack(std::move(object));
    }
}

void GLBuffer::Bind() const {
    OglManager::AssertOpenGLThread();
    glBindBuffer(target, object.Get());
}

void GLBuffer::SetData(std::size_t bytes, void const* data) {
    Bind();
    glBufferData(target, static_cast<GLsizeiptr>(bytes), data, usage);
    size = bytes;
}

void GLBuffer::UpdateBuffer(std::size_t offset, std::size_t bytes, void const* data) {
    if (offset + bytes > size) {
        SetData(offset + bytes, nullptr);
    }
    Bind();
    glBufferSubData(target, static_cast<GLintptr>(offset), static_cast<GLsizeiptr>(bytes), data);
}

}  // namespace Kaltor::Ogl

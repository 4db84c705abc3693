#pragma once

#include <cstddef>

#include "Ogl/GlObject.h"

namespace Kaltor::Ogl {

/// A buffer object. Names of deleted buffers are used again, so that one buffer per frame costs no new GL object. GL
/// thread only, except for the destructor.
class GLBuffer {
public:
    /// `target` is a value such as `GL_ARRAY_BUFFER`, `usage` is `GL_STATIC_DRAW`, `GL_DYNAMIC_DRAW` or
    /// `GL_STREAM_DRAW`.
    GLBuffer(GLenum bufferTarget, GLenum bufferUsage);
    GLBuffer(GLBuffer&&) noexcept = default;
    GLBuffer& operator=(GLBuffer&&) noexcept = default;
    ~GLBuffer();

    void Bind() const;
    /// Replaces size and content; `data` may be null.
    void SetData(std::size_t bytes, void const* data);
    /// Rewrites a part; a buffer that is too small grows to hold it and loses its other content.
    void UpdateBuffer(std::size_t offset, std::size_t bytes, void const* data);
    std::size_t GetSize() const { return size; }

private:
    GLenum target;
    GLenum usage;
    GlObject object;
    std::size_t size = 0;
};

}  // namespace Kaltor::Ogl

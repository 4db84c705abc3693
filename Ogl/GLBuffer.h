#pragma once

#include <cstddef>

#include "Ogl/GlObject.h"

namespace Kaltor::Ogl {

/// A buffer object. Names of buffers that are gone are used again, so that making one a frame costs no GL object. GL
/// thread only, but for the destructor.
class GLBuffer {
public:
    /// `target` as `GL_ARRAY_BUFFER`, `usage` as `GL_STATIC_DRAW`, `GL_DYNAMIC_DRAW`, `GL_STREAM_DRAW`.
    GLBuffer(GLenum bufferTarget, GLenum bufferUsage);
    GLBuffer(GLBuffer&&) noexcept = default;
    GLBuffer& operator=(GLBuffer&&) noexcept = default;
    ~GLBuffer();

    void Bind() const;
    /// Replaces size and content; `data` may be null.
    void SetData(std::size_t bytes, void const* data);
    /// Rewrites a part; a buffer that is too small grows to hold it, and its other content is lost then.
    void UpdateBuffer(std::size_t offset, std::size_t bytes, void const* data);
    std::size_t GetSize() const { return size; }

private:
    GLenum target;
    GLenum usage;
    GlObject object;
    std::size_t size = 0;
};

}  // namespace Kaltor::Ogl

#include "Ogl/PixelTransfer.h"

#include <cstring>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"

namespace Kaltor::Ogl {
namespace {

/// Copies rows into the reverse order: `to` is packed, bottom row first.
void PackReversed(std::uint8_t* to, std::uint8_t const* top, std::ptrdiff_t stride, std::size_t rowBytes,
                  std::uint32_t height) {
    for (std::uint32_t row = 0; row < height; ++row) {
        std::memcpy(to + rowBytes * (height - 1U - row), top + stride * static_cast<std::ptrdiff_t>(row), rowBytes);
    }
}

void UnpackReversed(std::uint8_t* top, std::ptrdiff_t stride, std::uint8_t const* from, std::size_t rowBytes,
                    std::uint32_t height) {
    for (std::uint32_t row = 0; row < height; ++row) {
        std::memcpy(top + stride * static_cast<std::ptrdiff_t>(row), from + rowBytes * (height - 1U - row), rowBytes);
    }
}

/// Row length in texels for a plane that lies bottom row first, 0 where it does not or rows are no whole texels.
GLint GetRowLength(PlaneLayout const& layout, std::ptrdiff_t stride) {
    if (stride >= 0 || -stride % static_cast<std::ptrdiff_t>(layout.bytes) != 0) {
        return 0;
    }
    return static_cast<GLint>(-stride / static_cast<std::ptrdiff_t>(layout.bytes));
}

/// A mapped pixel buffer; unmapped in the end.
class Mapping {
public:
    Mapping(GLenum bufferTarget, GLenum access)
        : target(bufferTarget), memory(static_cast<std::uint8_t*>(glMapBuffer(bufferTarget, access))) {
        if (memory == nullptr) {
            glBindBuffer(target, 0);
            Core::Throw(std::runtime_error("the GL cannot map a pixel buffer"));
        }
    }
    ~Mapping() { glUnmapBuffer(target); }
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;

    std::uint8_t* Get() const { return memory; }

private:
    GLenum target;
    std::uint8_t* memory;
};

}  // namespace

PlaneLayout GetPlaneLayout(PixFmt format, std::size_t plane, std::uint32_t width, std::uint32_t height) {
    PixFmtDescription const& description = PixFmtDescription::Find(format);
    switch (format) {
        case PixFmt::Rgb24:
            return {GL_RGB, GL_UNSIGNED_BYTE, 3, TexelFormat::Rgbx8, width, height};
        case PixFmt::Rgba:
            return {GL_RGBA, GL_UNSIGNED_BYTE, 4, TexelFormat::Rgba8, width, height};
        case PixFmt::Bgra:
            return {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, 4, TexelFormat::Rgba8, width, height};
        case PixFmt::Bgrx:
            return {GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, 4, TexelFormat::Rgbx8, width, height};
        default:
            break;
    }
    std::uint32_t const chromaWidth = (width + (1U << description.chromaXLog2) - 1U) >> description.chromaXLog2;
    std::uint32_t const chromaHeight = (height + (1U << description.chromaYLog2) - 1U) >> description.chromaYLog2;
    std::uint32_t const planeWidth = plane == 0 ? width : chromaWidth;
    std::uint32_t const planeHeight = plane == 0 ? height : chromaHeight;
    if (plane == 1 && description.planes == 2) {
        return {GL_RG, GL_UNSIGNED_BYTE, 2, TexelFormat::Rg8, planeWidth, planeHeight};
    }
    constexpr std::uint8_t kByte = 8;
    if (description.bits > kByte) {
        return {GL_RED, GL_UNSIGNED_SHORT, 2, TexelFormat::R16, planeWidth, planeHeight};
    }
    return {GL_RED, GL_UNSIGNED_BYTE, 1, TexelFormat::R8, planeWidth, planeHeight};
}

GLBuffer& PixelTransfer::GetPixelBuffer(GLenum target) {
    constexpr std::size_t kInTurn = 3;
    if (target == GL_PIXEL_PACK_BUFFER) {
        if (packBuffers.empty()) {
            packBuffers.emplace_back(GL_PIXEL_PACK_BUFFER, GL_STREAM_READ);
        }
        return packBuffers.front();
    }
    if (unpackBuffers.size() < kInTurn) {
        return unpackBuffers.emplace_back(GL_PIXEL_UNPACK_BUFFER, GL_STREAM_DRAW);
    }
    nextUnpackBuffer = (nextUnpackBuffer + 1) % kInTurn;
    return unpackBuffers[nextUnpackBuffer];
}

void PixelTransfer::Upload(Texture const& texture, PlaneLayout const& layout, std::uint8_t const* top,
                           std::ptrdiff_t stride, bool usesPixelBuffer) {
    std::size_t const rowBytes = std::size_t{layout.width} * layout.bytes;
    std::size_t const bytes = rowBytes * layout.height;
    GLint const rowLength = GetRowLength(layout, stride);
    texture.Bind();
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    auto const write = [&layout](std::uint32_t fromRow, std::uint32_t rows, void const* source) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, static_cast<GLint>(fromRow), static_cast<GLsizei>(layout.width),
                        static_cast<GLsizei>(rows), layout.format, layout.type, source);
    };
    if (usesPixelBuffer) {
        GLBuffer& buffer = GetPixelBuffer(GL_PIXEL_UNPACK_BUFFER);
        buffer.SetData(bytes, nullptr);
        {
            Mapping const mapping(GL_PIXEL_UNPACK_BUFFER, GL_WRITE_ONLY);
            PackReversed(mapping.Get(), top, stride, rowBytes, layout.height);
        }
        write(0, layout.height, nullptr);
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    } else if (rowLength != 0) {
        glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
        write(0, layout.height, top + stride * (static_cast<std::ptrdiff_t>(layout.height) - 1));
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    } else {
        // Row by row costs less than a copy of the plane in the other order.
        for (std::uint32_t row = 0; row < layout.height; ++row) {
            write(layout.height - 1U - row, 1, top + stride * static_cast<std::ptrdiff_t>(row));
        }
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    texture.SetFresh(false);
}

void PixelTransfer::Download(Texture const& texture, Surface& surface, PlaneLayout const& layout, std::uint8_t* top,
                             std::ptrdiff_t stride, bool usesPixelBuffer) {
    surface.Attach(texture);
    std::size_t const rowBytes = std::size_t{layout.width} * layout.bytes;
    std::size_t const bytes = rowBytes * layout.height;
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    auto const read = [&layout](std::uint32_t fromRow, std::uint32_t rows, void* target) {
        glReadPixels(0, static_cast<GLint>(fromRow), static_cast<GLsizei>(layout.width), static_cast<GLsizei>(rows),
                     layout.format, layout.type, target);
    };
    GLint const rowLength = GetRowLength(layout, stride);
    if (usesPixelBuffer) {
        GLBuffer& buffer = GetPixelBuffer(GL_PIXEL_PACK_BUFFER);
        buffer.SetData(bytes, nullptr);
        read(0, layout.height, nullptr);
        {
            Mapping const mapping(GL_PIXEL_PACK_BUFFER, GL_READ_ONLY);
            UnpackReversed(top, stride, mapping.Get(), rowBytes, layout.height);
        }
        glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    } else if (rowLength != 0) {
        glPixelStorei(GL_PACK_ROW_LENGTH, rowLength);
        read(0, layout.height, top + stride * (static_cast<std::ptrdiff_t>(layout.height) - 1));
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    } else {
        for (std::uint32_t row = 0; row < layout.height; ++row) {
            read(layout.height - 1U - row, 1, top + stride * static_cast<std::ptrdiff_t>(row));
        }
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    ThrowOnGlError("reading a picture back");
}

}  // namespace Kaltor::Ogl

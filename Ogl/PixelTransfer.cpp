#include "Ogl/PixelTransfer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"

namespace Kaltor::Ogl {
namespace {

/// Copies a plane row by row. Source and target each have their own row step.
void CopyRows(PlaneLayout const& layout, std::uint8_t* to, std::ptrdiff_t toStep, std::uint8_t const* from,
              std::ptrdiff_t fromStep) {
    for (std::uint32_t row = 0; row < layout.height; ++row) {
        std::memcpy(to + toStep * row, from + fromStep * row, std::size_t{layout.width} * layout.bytes);
    }
}

/// Calls move(firstRow, rows, memory) for a plane in main memory whose rows are a step apart, from the lowest one up.
/// That is one call if the GL can handle the step. Otherwise it is one call for each row, which costs less than a copy
/// of the plane in the other order. `rowLength` is the GL's parameter for the step in texels.
template <typename Byte, typename Move>
void MoveRows(PlaneLayout const& layout, Byte* lowest, std::ptrdiff_t step, GLenum rowLength, Move const& move) {
    auto const texel = static_cast<std::ptrdiff_t>(layout.bytes);
    if (step > 0 && step % texel == 0) {
        glPixelStorei(rowLength, static_cast<GLint>(step / texel));
        move(0, layout.height, lowest);
        glPixelStorei(rowLength, 0);
        return;
    }
    for (std::uint32_t row = 0; row < layout.height; ++row) {
        move(row, 1, lowest + step * row);
    }
}

/// Of the pieces in which pictures are converted on the way. Even, since two rows share their chroma.
constexpr std::uint32_t kPieceRows = 32;

/// A mapped pixel buffer; the destructor unmaps it.
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
        case PixFmt::RgbF16:
            return {GL_RGBA, GL_HALF_FLOAT, 8, TexelFormat::Rgbx16f, width, height};
        case PixFmt::RgbaF16:
            return {GL_RGBA, GL_HALF_FLOAT, 8, TexelFormat::Rgba16f, width, height};
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
    auto const rowBytes = static_cast<std::ptrdiff_t>(layout.width) * layout.bytes;
    std::uint8_t const* const lowest = top + stride * (static_cast<std::ptrdiff_t>(layout.height) - 1);
    texture.Bind();
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    auto const write = [&layout](std::uint32_t fromRow, std::uint32_t rows, void const* source) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, static_cast<GLint>(fromRow), static_cast<GLsizei>(layout.width),
                        static_cast<GLsizei>(rows), layout.format, layout.type, source);
    };
    if (usesPixelBuffer) {
        GLBuffer& buffer = GetPixelBuffer(GL_PIXEL_UNPACK_BUFFER);
        buffer.SetData(static_cast<std::size_t>(rowBytes) * layout.height, nullptr);
        {
            Mapping const mapping(GL_PIXEL_UNPACK_BUFFER, GL_WRITE_ONLY);
            CopyRows(layout, mapping.Get(), rowBytes, lowest, -stride);
        }
        write(0, layout.height, nullptr);
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    } else {
        MoveRows(layout, lowest, -stride, GL_UNPACK_ROW_LENGTH, write);
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    texture.SetFresh(false);
}

void PixelTransfer::UploadYuv(Texture const& texture, AVFrame const& picture, ColorSpec const& spec) {
    PixFmt const format = Proc::GetPixFmt(picture);
    PlaneLayout const layout = GetPlaneLayout(PixFmt::Bgrx, 0, texture.GetForm().width, texture.GetForm().height);
    if (!toRgb || !toRgb->IsFor(format, PixFmt::Bgrx, spec)) {
        toRgb.emplace(format, PixFmt::Bgrx, spec);
    }
    auto const rowBytes = static_cast<std::ptrdiff_t>(layout.width) * layout.bytes;
    piece.resize(static_cast<std::size_t>(rowBytes) * kPieceRows);
    texture.Bind();
    for (std::uint32_t top = 0; top < layout.height; top += kPieceRows) {
        std::uint32_t const rows = std::min(kPieceRows, layout.height - top);
        // The lowest row comes first in textures.
        toRgb->Convert(picture, static_cast<int>(top), static_cast<int>(rows), piece.data() + rowBytes * (rows - 1),
                       -rowBytes);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, static_cast<GLint>(layout.height - top - rows),
                        static_cast<GLsizei>(layout.width), static_cast<GLsizei>(rows), layout.format, layout.type,
                        piece.data());
    }
    texture.SetFresh(false);
}

void PixelTransfer::DownloadYuv(Texture const& texture, Surface& surface, AVFrame& picture, ColorSpec const& spec) {
    PlaneLayout const layout = GetPlaneLayout(PixFmt::Bgrx, 0, texture.GetForm().width, texture.GetForm().height);
    if (!toYuv || !toYuv->IsFor(spec)) {
        toYuv.emplace(spec);
    }
    surface.Attach(texture);
    auto const rowBytes = static_cast<std::ptrdiff_t>(layout.width) * layout.bytes;
    piece.resize(static_cast<std::size_t>(rowBytes) * kPieceRows);
    for (std::uint32_t top = 0; top < layout.height; top += kPieceRows) {
        std::uint32_t const rows = std::min(kPieceRows, layout.height - top);
        glReadPixels(0, static_cast<GLint>(layout.height - top - rows), static_cast<GLsizei>(layout.width),
                     static_cast<GLsizei>(rows), layout.format, layout.type, piece.data());
        toYuv->Convert(piece.data() + rowBytes * (rows - 1), -rowBytes, static_cast<int>(top), static_cast<int>(rows),
                       picture);
    }
    ThrowOnGlError("reading a picture back");
}

void PixelTransfer::Download(Texture const& texture, Surface& surface, PlaneLayout const& layout, std::uint8_t* top,
                             std::ptrdiff_t stride, bool usesPixelBuffer) {
    surface.Attach(texture);
    auto const rowBytes = static_cast<std::ptrdiff_t>(layout.width) * layout.bytes;
    std::uint8_t* const lowest = top + stride * (static_cast<std::ptrdiff_t>(layout.height) - 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    auto const read = [&layout](std::uint32_t fromRow, std::uint32_t rows, void* target) {
        glReadPixels(0, static_cast<GLint>(fromRow), static_cast<GLsizei>(layout.width), static_cast<GLsizei>(rows),
                     layout.format, layout.type, target);
    };
    if (usesPixelBuffer) {
        GLBuffer& buffer = GetPixelBuffer(GL_PIXEL_PACK_BUFFER);
        buffer.SetData(static_cast<std::size_t>(rowBytes) * layout.height, nullptr);
        read(0, layout.height, nullptr);
        {
            Mapping const mapping(GL_PIXEL_PACK_BUFFER, GL_READ_ONLY);
            CopyRows(layout, lowest, -stride, mapping.Get(), rowBytes);
        }
        glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    } else {
        MoveRows(layout, lowest, -stride, GL_PACK_ROW_LENGTH, read);
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    ThrowOnGlError("reading a picture back");
}

}  // namespace Kaltor::Ogl

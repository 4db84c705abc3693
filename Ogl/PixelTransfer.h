#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Conf/PixFmt.h"
#include "Ogl/GLBuffer.h"
#include "Ogl/Surface.h"
#include "Ogl/Texture.h"
#include "Proc/Data/RgbToYuv.h"
#include "Proc/Data/YuvToRgb.h"

namespace Kaltor::Ogl {

/// One plane of a pixel format: how its samples lie in main memory and in a texture.
struct PlaneLayout {
    GLenum format;
    GLenum type;
    std::uint32_t bytes;  ///< per texel
    TexelFormat texels;
    std::uint32_t width;
    std::uint32_t height;
};
/// The layout of a plane of a picture of this format and size.
PlaneLayout GetPlaneLayout(PixFmt format, std::size_t plane, std::uint32_t width, std::uint32_t height);

/// Moves planes between main memory and textures. A plane in memory is given by its top row and the distance to the
/// next row below, which may be negative; in textures the bottom row comes first. A plane with the bottom row first in
/// memory (a negative distance) is moved in one piece. GL thread only.
class PixelTransfer {
public:
    void Upload(Texture const& texture, PlaneLayout const& layout, std::uint8_t const* top, std::ptrdiff_t stride,
                bool usesPixelBuffer);
    void Download(Texture const& texture, Surface& surface, PlaneLayout const& layout, std::uint8_t* top,
                  std::ptrdiff_t stride, bool usesPixelBuffer);

    /// Fills an opaque texture, blue first, with a Y'CbCr picture, converted on the way in pieces that stay in the
    /// processor's cache. The tags must be resolved.
    void UploadYuv(Texture const& texture, AVFrame const& picture, ColorSpec const& spec);

    /// The way back from an R'G'B' texture.
    void DownloadYuv(Texture const& texture, Surface& surface, AVFrame& picture, ColorSpec const& spec);

private:
    GLBuffer& GetPixelBuffer(GLenum target);

    std::vector<GLBuffer> packBuffers;    ///< made on first use
    std::vector<GLBuffer> unpackBuffers;  ///< used in turn: one is filled while another is read
    std::size_t nextUnpackBuffer = 0;
    std::optional<Proc::YuvToRgbConverter> toRgb;
    std::optional<Proc::RgbToYuvConverter> toYuv;
    std::vector<std::uint8_t> piece;
};

}  // namespace Kaltor::Ogl

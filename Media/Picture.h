#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Media/MediaError.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Media {

constexpr std::uint32_t kAnySide = std::numeric_limits<std::uint32_t>::max();

/// Reads a still picture of any format that FFmpeg decodes, upright (EXIF orientation applied), as `PixFmt::Rgba` where
/// the file has alpha and as `PixFmt::Rgb24` otherwise. An animation gives its first frame. Throws `MediaError`, also
/// for pictures with a side over `maximumSide` pixels. `keepsDepth`: pictures of more than 8 bits become
/// `PixFmt::RgbaF16` and `PixFmt::RgbF16` instead.
boost::intrusive_ptr<Proc::DataVideoFF> ReadPicture(std::string const& path, std::uint32_t maximumSide = kAnySide,
                                                    bool keepsDepth = false);

/// The same for the content of a file, for example from a pipe; `name` stands for it in messages.
boost::intrusive_ptr<Proc::DataVideoFF> DecodePicture(std::vector<std::uint8_t> const& content, std::string const& name,
                                                      std::uint32_t maximumSide = kAnySide, bool keepsDepth = false);

/// A PNG file's content. Rgb24 and Rgba are stored as they are, 16-bit floats as 16 bits; other formats are brought to
/// Rgb24 (Rgba with alpha).
std::vector<std::uint8_t> EncodePng(Proc::DataVideoFF const& picture);

/// The content of a PNG (".png"), TIFF (".tif", ".tiff"), OpenEXR (".exr") or AVIF (".avif") file. OpenEXR gets 16-bit
/// floats, with what is above 1, and colours multiplied by alpha as is its custom; AVIF 10 bits of them. Throws
/// `std::invalid_argument` for other endings.
std::vector<std::uint8_t> EncodePicture(Proc::DataVideoFF const& picture, std::string const& ending);

/// A JPEG file's content, of good quality; what is translucent loses its alpha.
std::vector<std::uint8_t> EncodeJpeg(Proc::DataVideoFF const& picture);

/// Writes a PNG file, which appears under its name only when it is whole. Throws `MediaError`; an existing file is
/// refused unless `overwrite`.
void WritePng(std::string const& path, Proc::DataVideoFF const& picture, bool overwrite);

}  // namespace Kaltor::Media

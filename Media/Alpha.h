#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

struct AVFrame;

// What files say of their alpha and FFmpeg does not pass on.
namespace Kaltor::Media {

/// Multiplies the colours of a GBRAPF32 picture by alpha, which must be writable.
void MultiplyByAlpha(AVFrame& picture);

/// Whether an HEVC stream announces a layer of alpha (SEI alpha channel information). `header`: its decoder
/// configuration, as MP4 and Matroska have it, or its first NAL units with start codes.
bool HasHevcAlpha(std::span<std::uint8_t const> header);

/// Whether the colours of a TIFF file are multiplied by alpha: its first picture has ExtraSamples 1. False for content
/// that is not TIFF.
bool IsTiffPremultiplied(std::span<std::uint8_t const> content);

/// The alpha of an AVIF picture.
struct AvifAlpha {
    /// The same file with the alpha as its picture: a grey one.
    std::vector<std::uint8_t> content;
    bool isPremultiplied = false;  ///< the colours are
};
/// Empty where the content is no AVIF still or has no alpha.
std::optional<AvifAlpha> FindAvifAlpha(std::vector<std::uint8_t> content);

}  // namespace Kaltor::Media

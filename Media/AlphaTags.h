#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// What files say of their alpha and FFmpeg does not pass on.
namespace Kaltor::Media {

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

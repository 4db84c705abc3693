#pragma once

#include <cstddef>
#include <cstdint>

#include "Ogl/ShaderStorage.h"

namespace Kaltor::Ogl {

/// A picture of 8 bits in main memory, the bottom row first: four channels a texel, in the order of the frame's
/// texture, or one.
struct Samples {
    std::uint8_t* data = nullptr;
    std::ptrdiff_t stride = 0;  ///< bytes
    int width = 0;              ///< texels
    int height = 0;
    int channels = 0;

    std::uint8_t* Row(int y) const { return data + stride * y; }
};

/// Whether the processor is to do what `from` to `to` would be drawn with: the strategy says so, and all of `to` is
/// replaced by a picture of the same size and kind. GL thread.
bool FiltersOnCpu(Texture const& from, Texture const& to);

/// Room for a picture like `texture`, in one of the places of the processor's memory. GL thread.
Samples TakeSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage);
/// The picture of a texture, to change or to read. GL thread.
Samples ReadSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage);
void WriteSamples(Samples const& samples, Texture const& texture, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl

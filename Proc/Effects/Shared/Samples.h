#pragma once

#include <cstddef>
#include <cstdint>

#include "Ogl/Frame.h"
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

/// The same for frames, of which those in main memory need no texture.
bool FiltersOnCpu(Frame const& from, Frame const& to);
/// The same for what is only done to opaque pictures.
bool FiltersOpaqueOnCpu(Frame const& from, Frame const& to);

/// Room for a picture like `texture`, in one of the places of the processor's memory. GL thread.
Samples TakeSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage);
/// The picture of a texture, to change or to read. GL thread.
Samples ReadSamples(Texture const& texture, std::size_t place, ShaderStorage const& storage);
void WriteSamples(Samples const& samples, Texture const& texture, ShaderStorage const& storage);

/// The picture of a frame, to read: where it is R'G'B' in main memory, that itself; else in this place of the
/// processor's memory. GL thread.
Samples ReadSamples(Frame const& frame, std::size_t place, ShaderStorage const& storage);
/// Room for the picture of a frame that is no YUV: its own memory, or this place of the processor's. GL thread.
Samples TakeSamples(Frame const& frame, std::size_t place, ShaderStorage const& storage);
/// Gives the frame what was written to `TakeSamples`. GL thread.
void WriteSamples(Samples const& samples, Frame const& frame, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl

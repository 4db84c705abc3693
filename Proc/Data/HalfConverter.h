#pragma once

#include <array>
#include <optional>
#include <vector>

#include "Proc/Data/AvFrame.h"

namespace Kaltor::Proc {

/// Converts between the pixel formats of videos and packed R'G'B'A of 16-bit float (RgbF16, RgbaF16): planar and
/// packed, Y'CbCr, R'G'B' and grey, 8 to 16 bits or 32-bit float, with alpha or without. Chroma is repeated on the way
/// in and averaged on the way out, so that what nothing changes comes back as it was. One thread at a time.
class HalfConverter {
public:
    /// Red, green, blue, 0 to 1.
    using Color = std::array<float, 3>;

    static bool Takes(AVPixelFormat format);

    /// `target` is marked RgbF16, for which the picture is laid over `background` (without one alpha is left out), or
    /// RgbaF16 and has the size of `source`, whose samples are interpreted by `spec`, which must be resolved. Integers
    /// come out within 0 to 1; floats keep what is above 1.
    void ToHalf(AVFrame const& source, ColorSpec const& spec, AVFrame& target,
                std::optional<Color> const& background = {});
    /// The way back, rounded. Where the target has no alpha, the picture is laid over `background`; without one, alpha
    /// is left out.
    void FromHalf(AVFrame const& source, AVFrame& target, ColorSpec const& spec,
                  std::optional<Color> const& background = {});

private:
    using Rows = std::array<std::vector<float>, 4>;
    void Resize(int width);
    void LayOver(Color const& background, float const* alpha, int width);

    Rows samples;  ///< of a row, in the order of the format's components
    Rows colors;   ///< red, green, blue, alpha
};

}  // namespace Kaltor::Proc

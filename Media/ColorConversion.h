#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"
#include "Proc/Data/AvFrame.h"

// Pictures of other primaries and transfers are brought to the output's through linear light: zimg linearises and
// converts the primaries, a table does the tone mapping and the output's transfer. (FFmpeg's other way, libplacebo,
// needs a Vulkan device.) Light is display light: 1 is reference white, 203 cd/m2 (ITU-R BT.2408), the white of SDR
// pictures.
namespace Kaltor::Media {

/// How a picture's R'G'B' is meant.
struct ColorVolume {
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    ColorMatrix matrix = ColorMatrix::Unspecified;

    bool operator==(ColorVolume const&) const = default;
    /// Those that are tagged, else what goes with the transfer and the matrix.
    AVColorPrimaries GetPrimaries() const;
};

/// Whether a picture has to be converted: between SDR, PQ and HLG, and where the primaries are known to differ. The
/// transfers of SDR count as one.
bool NeedsConversion(ColorVolume const& source, ColorVolume const& target);

/// The filter that makes linear light of pictures in the target's primaries; planar floats come out. `isRgb`: of the
/// source.
std::string MakeLinearFilter(ColorVolume const& source, ColorSpec const& spec, bool isRgb, ColorVolume const& target);

/// Makes the target's R'G'B' of linear light in its primaries. What is brighter than the target can be is rolled off as
/// in ITU-R BT.2390, by the brightest channel, so that hues stay.
class LightEncoder {
public:
    /// `peak`: the brightest of the source, cd/m2.
    LightEncoder(AVColorTransferCharacteristic source, double peak, AVColorTransferCharacteristic target);
    /// In place; the picture is GBRPF32 or GBRAPF32.
    void Encode(AVFrame& picture) const;

private:
    /// A function of positive numbers, in steps of 1/256 of their powers of two, between them linear.
    class Curve {
    public:
        template <typename Function>
        explicit Curve(Function const& function);
        float operator()(float value) const;

    private:
        std::vector<float> values;
    };

    bool isHlg;
    std::unique_ptr<Curve const> gain;  ///< of the brightest channel; null where nothing is too bright
    std::unique_ptr<Curve const> transfer;
    std::unique_ptr<Curve const> system;  ///< HLG: from display to scene light, by luminance
};

}  // namespace Kaltor::Media

#include "Media/ColorConversion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include <fmt/format.h>

#include "Media/VideoReader.h"

namespace Kaltor::Media {
namespace {

constexpr double kWhite = 203.0;  // cd/m2
constexpr double kHlgPeak = 1000.0;

enum class Range : std::uint8_t { Standard, Pq, Hlg };

Range RangeOf(AVColorTransferCharacteristic transfer) {
    return transfer == AVCOL_TRC_SMPTE2084      ? Range::Pq
           : transfer == AVCOL_TRC_ARIB_STD_B67 ? Range::Hlg
                                                : Range::Standard;
}

bool IsWide(AVColorPrimaries primaries) {
    return primaries == AVCOL_PRI_BT2020 || primaries == AVCOL_PRI_SMPTE431 || primaries == AVCOL_PRI_SMPTE432;
}

/// Those of SMPTE 170M and 240M are the same.
AVColorPrimaries Canonical(AVColorPrimaries primaries) {
    return primaries == AVCOL_PRI_SMPTE240M ? AVCOL_PRI_SMPTE170M : primaries;
}

char const* PrimariesName(AVColorPrimaries primaries) {
    switch (primaries) {
        case AVCOL_PRI_BT470M:
            return "bt470m";
        case AVCOL_PRI_BT470BG:
            return "bt470bg";
        case AVCOL_PRI_SMPTE170M:
        case AVCOL_PRI_SMPTE240M:
            return "smpte170m";
        case AVCOL_PRI_FILM:
            return "film";
        case AVCOL_PRI_BT2020:
            return "bt2020";
        case AVCOL_PRI_SMPTE431:
            return "smpte431";
        case AVCOL_PRI_SMPTE432:
            return "smpte432";
        default:
            return "bt709";
    }
}

/// SMPTE ST 2084: light in cd/m2 to the signal, and back.
double ToPq(double light) {
    constexpr double kM1 = 2610.0 / 16384.0, kM2 = 2523.0 / 4096.0 * 128.0;
    constexpr double kC1 = 3424.0 / 4096.0, kC2 = 2413.0 / 4096.0 * 32.0, kC3 = 2392.0 / 4096.0 * 32.0;
    double const y = std::pow(std::clamp(light / 10000.0, 0.0, 1.0), kM1);
    return std::pow((kC1 + kC2 * y) / (1.0 + kC3 * y), kM2);
}

double FromPq(double signal) {
    constexpr double kM1 = 2610.0 / 16384.0, kM2 = 2523.0 / 4096.0 * 128.0;
    constexpr double kC1 = 3424.0 / 4096.0, kC2 = 2413.0 / 4096.0 * 32.0, kC3 = 2392.0 / 4096.0 * 32.0;
    double const x = std::pow(std::clamp(signal, 0.0, 1.0), 1.0 / kM2);
    return 10000.0 * std::pow(std::max(x - kC1, 0.0) / (kC2 - kC3 * x), 1.0 / kM1);
}

/// ITU-R BT.2100, HLG's OETF for scene light of 0 to 1.
double ToHlg(double scene) {
    constexpr double kA = 0.17883277, kB = 0.28466892, kC = 0.55991073;
    return scene <= 1.0 / 12.0 ? std::sqrt(3.0 * std::max(scene, 0.0)) : kA * std::log(12.0 * scene - kB) + kC;
}

/// ITU-R BT.2390-10, 5.4.1, without a lift of black: light of a source with this peak on a display with that one.
double RollOff(double light, double from, double to) {
    double const whole = ToPq(from);
    double const most = ToPq(to) / whole;
    double const knee = 1.5 * most - 0.5;
    double const e = std::min(ToPq(light) / whole, 1.0);
    if (e <= knee) {
        return light;
    }
    double const t = (e - knee) / (1.0 - knee);
    double const t2 = t * t;
    double const t3 = t2 * t;
    double const rolled =
        (2.0 * t3 - 3.0 * t2 + 1.0) * knee + (t3 - 2.0 * t2 + t) * (1.0 - knee) + (-2.0 * t3 + 3.0 * t2) * most;
    return FromPq(rolled * whole);
}

// The curves' numbers: from 2^-30 up to 2^7.
constexpr int kSteps = 256;
constexpr int kLowest = -30;
constexpr int kOctaves = 37;
constexpr std::uint32_t kShift = 15;  // a float has 23 bits below its exponent
constexpr std::uint32_t kFirst = static_cast<std::uint32_t>(127 + kLowest) << 23U;

}  // namespace

template <typename Function>
LightEncoder::Curve::Curve(Function const& function) {
    for (int i = 0; i <= kOctaves * kSteps; ++i) {
        double const mantissa = 1.0 + static_cast<double>(i % kSteps) / kSteps;
        values.push_back(static_cast<float>(function(std::ldexp(mantissa, kLowest + i / kSteps))));
    }
}

float LightEncoder::Curve::operator()(float value) const {
    constexpr std::uint32_t kLast = kFirst + ((kOctaves * kSteps) << kShift) - 1U;
    constexpr std::uint32_t kRest = (1U << kShift) - 1U;
    std::uint32_t const bits = std::clamp(std::bit_cast<std::uint32_t>(value), kFirst, kLast) - kFirst;
    std::size_t const index = bits >> kShift;
    float const part = static_cast<float>(bits & kRest) / static_cast<float>(1U << kShift);
    return values[index] + (values[index + 1] - values[index]) * part;
}

AVColorPrimaries ColorVolume::GetPrimaries() const {
    if (primaries != AVCOL_PRI_UNSPECIFIED && primaries != AVCOL_PRI_RESERVED0 && primaries != AVCOL_PRI_RESERVED) {
        return Canonical(primaries);
    }
    bool const isWide = RangeOf(transfer) != Range::Standard || matrix == ColorMatrix::Bt2020;
    return isWide ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709;
}

bool NeedsConversion(ColorVolume const& source, ColorVolume const& target) {
    if (RangeOf(source.transfer) != RangeOf(target.transfer)) {
        return true;
    }
    AVColorPrimaries const from = source.GetPrimaries();
    AVColorPrimaries const to = target.GetPrimaries();
    // What is not tagged may well be of the other standard-definition kind.
    bool const isCertain = (source.primaries != AVCOL_PRI_UNSPECIFIED && target.primaries != AVCOL_PRI_UNSPECIFIED) ||
                           IsWide(from) || IsWide(to);
    return from != to && isCertain;
}

std::string MakeLinearFilter(ColorVolume const& source, ColorSpec const& spec, bool isRgb, ColorVolume const& target) {
    char const* const matrix = isRgb                                ? "gbr"
                               : spec.matrix == ColorMatrix::Bt709  ? "bt709"
                               : spec.matrix == ColorMatrix::Bt2020 ? "bt2020nc"
                                                                    : "smpte170m";
    char const* const transfer = RangeOf(source.transfer) == Range::Pq    ? "smpte2084"
                                 : RangeOf(source.transfer) == Range::Hlg ? "arib-std-b67"
                                                                          : "bt709";
    return fmt::format(
        "zscale=matrixin={}:rangein={}:primariesin={}:transferin={}:matrix=gbr:range=full:primaries={}:"
        "transfer=linear:npl={:.0f}:filter=bicubic",
        matrix, isRgb || spec.range == ColorRange::Full ? "full" : "limited", PrimariesName(source.GetPrimaries()),
        transfer, PrimariesName(target.GetPrimaries()), kWhite);
}

void MakeStandardRange(VideoTarget& target) {
    if (IsHdr(target.transfer)) {
        target.colorSpec = {ColorMatrix::Bt709, ColorRange::Limited};
        target.transfer = AVCOL_TRC_BT709;
        target.primaries = AVCOL_PRI_BT709;
        target.levels = {};
    }
}

LightEncoder::LightEncoder(AVColorTransferCharacteristic source, double peak, AVColorTransferCharacteristic target)
    : isHlg(RangeOf(target) == Range::Hlg) {
    Range const from = RangeOf(source);
    Range const to = RangeOf(target);
    double const brightest = from == Range::Standard ? kWhite : from == Range::Hlg ? kHlgPeak : peak;
    double const most = to == Range::Standard ? kWhite : to == Range::Hlg ? kHlgPeak : 10000.0;
    if (brightest > most) {
        gain = std::make_unique<Curve const>([&](double light) {
            return RollOff(std::min(light * kWhite, brightest), brightest, most) / (light * kWhite);
        });
    }
    transfer = std::make_unique<Curve const>([to](double light) {
        constexpr double kGamma = 2.4;  // ITU-R BT.1886
        return to == Range::Pq    ? ToPq(light * kWhite)
               : to == Range::Hlg ? ToHlg(std::min(light, 1.0))
                                  : std::pow(light, 1.0 / kGamma);
    });
    if (isHlg) {
        // The inverse of the system gamma of 1.2.
        system = std::make_unique<Curve const>([](double luminance) { return std::pow(luminance, -1.0 / 6.0); });
    }
}

void LightEncoder::Encode(AVFrame& picture) const {
    constexpr float kSmall = 1e-9F;
    for (int y = 0; y < picture.height; ++y) {
        auto const row = [&](int plane) {
            return reinterpret_cast<float*>(picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane]);
        };
        float* const green = row(0);
        float* const blue = row(1);
        float* const red = row(2);
        for (int x = 0; x < picture.width; ++x) {
            float r = std::max(red[x], 0.0F);
            float g = std::max(green[x], 0.0F);
            float b = std::max(blue[x], 0.0F);
            float scale = 1.0F;
            if (gain) {
                scale = (*gain)(std::max({r, g, b, kSmall}));
            }
            if (isHlg) {
                constexpr auto kOfPeak = static_cast<float>(kWhite / kHlgPeak);
                scale *= kOfPeak;
                float const luminance = 0.2627F * r + 0.6780F * g + 0.0593F * b;
                scale *= (*system)(std::max(luminance * scale, kSmall));
            }
            red[x] = (*transfer)(r * scale);
            green[x] = (*transfer)(g * scale);
            blue[x] = (*transfer)(b * scale);
        }
    }
}

}  // namespace Kaltor::Media

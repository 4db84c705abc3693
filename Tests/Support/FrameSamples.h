#pragma once

#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {

inline constexpr std::array kYuvFormats{PixFmt::Yuv420p, PixFmt::Yuv422p,   PixFmt::Yuv444p,   PixFmt::Nv12,
                                        PixFmt::Gray8,   PixFmt::Yuv420p10, PixFmt::Yuv422p10, PixFmt::Yuv444p10};
inline constexpr std::array kSpecs{
    ColorSpec{ColorMatrix::Bt601, ColorRange::Limited},  ColorSpec{ColorMatrix::Bt709, ColorRange::Limited},
    ColorSpec{ColorMatrix::Bt2020, ColorRange::Limited}, ColorSpec{ColorMatrix::Bt601, ColorRange::Full},
    ColorSpec{ColorMatrix::Bt709, ColorRange::Full},     ColorSpec{ColorMatrix::Bt2020, ColorRange::Full}};

/// Calls action(component, x, y, sample) for every sample of a frame in main memory, top row first: 10-bit samples as
/// 16-bit ones, RGB pictures as one component of bytes.
template <typename Action>
void ForEachSample(Proc::DataVideoFF& frame, Action const& action) {
    PixFmtDescription const& description = PixFmtDescription::Find(frame.GetPixFmt());
    AVFrame& av = frame.GetWritableFrame();
    bool const isNv12 = description.planes == 2;
    int const bytes = description.IsYuv() ? 1 : frame.GetPixFmt() == PixFmt::Rgb24 ? 3 : 4;
    for (int component = 0; component < (description.planes == 1 ? 1 : 3); ++component) {
        int const plane = isNv12 ? std::min(component, 1) : component;
        int const shiftX = component == 0 ? 0 : description.chromaXLog2;
        int const shiftY = component == 0 ? 0 : description.chromaYLog2;
        int const step = isNv12 && component != 0 ? 2 : 1;
        for (int y = 0; y < (av.height + (1 << shiftY) - 1) >> shiftY; ++y) {
            std::uint8_t* const row = av.data[plane] + std::ptrdiff_t{av.linesize[plane]} * y;
            for (int x = 0; x < (av.width * bytes + (1 << shiftX) - 1) >> shiftX; ++x) {
                int const at = x * step + (component == 2 && isNv12 ? 1 : 0);
                if (description.bits > 8) {
                    action(component, x, y, reinterpret_cast<std::uint16_t*>(row)[at]);
                } else {
                    action(component, x, y, row[at]);
                }
            }
        }
    }
}

/// Whether two frames of one form hold the same samples, within `tolerance`; a failure shows the first that differs.
inline testing::AssertionResult HaveSameSamples(Proc::DataVideoFF& actual, Proc::DataVideoFF& expected,
                                                int tolerance = 0) {
    std::vector<int> wanted;
    ForEachSample(expected, [&](int, int, int, auto const& sample) { wanted.push_back(sample); });
    std::size_t at = 0;
    std::string found;
    ForEachSample(actual, [&](int component, int x, int y, auto const& sample) {
        int const value = at < wanted.size() ? wanted[at] : -1;
        if (found.empty() && std::abs(sample - value) > tolerance) {
            found = fmt::format("component {} x {} y {}: {}, expected {}", component, x, y, sample, value);
        }
        ++at;
    });
    return (found.empty() ? testing::AssertionSuccess() : testing::AssertionFailure()) << found;
}

/// Y', Cb, Cr in steps of 8 bits; at a place of a picture, pixels from its left and top edge.
using Codes = std::array<double, 3>;
using CodesAt = std::function<Codes(double x, double y)>;

inline std::array<double, 3> Apply(ColorTransform const& transform, std::array<double, 3> const& in) {
    std::array<double, 3> out = transform.offset;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            out[row] += transform.matrix[row][column] * in[column];
        }
    }
    return out;
}

/// The codes of a colour.
inline Codes Encode(ColorSpec const& spec, Rgba const& color) {
    Codes codes = Apply(RgbToYuv(spec), {color[0], color[1], color[2]});
    for (double& code : codes) {
        code *= 255.0;
    }
    return codes;
}

/// Where a sample stands: chroma on the left luma column of its pair, between the rows of its pair.
inline std::pair<double, double> Place(PixFmtDescription const& description, int component, int x, int y) {
    bool const isHalvedX = component != 0 && description.chromaXLog2 != 0;
    bool const isHalvedY = component != 0 && description.chromaYLog2 != 0;
    return {isHalvedX ? 2.0 * x + 0.5 : x + 0.5, isHalvedY ? 2.0 * y + 1.0 : y + 0.5};
}

/// A frame whose samples are those of `codesAt` at their places, rounded.
inline boost::intrusive_ptr<Proc::DataVideoFF> MakeYuv(PixFmt format, unsigned width, unsigned height,
                                                       ColorSpec const& tags, CodesAt const& codesAt) {
    boost::intrusive_ptr<Proc::DataVideoFF> frame = Proc::DataVideoFF::Create(format, {width, height, 1, 1});
    frame->SetColorSpec(tags);
    PixFmtDescription const& description = PixFmtDescription::Find(format);
    ForEachSample(*frame, [&](int component, int x, int y, auto& sample) {
        auto const [atX, atY] = Place(description, component, x, y);
        double const code = codesAt(atX, atY)[static_cast<std::size_t>(component)];
        long const rounded = std::lround(code * (1 << (description.bits - 8)));
        sample = static_cast<std::decay_t<decltype(sample)>>(std::clamp(rounded, 0L, (1L << description.bits) - 1));
    });
    return frame;
}

/// What `codesAt` shows, by the formula.
inline Picture Decode(unsigned width, unsigned height, PixFmt format, ColorSpec const& spec, CodesAt const& codesAt) {
    unsigned const bits = PixFmtDescription::Find(format).bits;
    ColorTransform const transform = YuvToRgb(spec, bits);
    double const one = static_cast<double>(1U << (bits - 8U)) / static_cast<double>((1U << bits) - 1U);
    return Picture::Make(width, height, false, [&](unsigned x, unsigned y) {
        Codes codes = codesAt(x + 0.5, y + 0.5);
        if (format == PixFmt::Gray8) {
            codes[1] = codes[2] = 128.0;
        }
        std::array<double, 3> const rgb = Apply(transform, {codes[0] * one, codes[1] * one, codes[2] * one});
        return Rgba{rgb[0], rgb[1], rgb[2], 1};
    });
}

/// "nv12, matrix 2, range 1".
inline std::string Tell(PixFmt format, ColorSpec const& spec) {
    return fmt::format("{}, matrix {}, range {}", PixFmtDescription::Find(format).name, static_cast<int>(spec.matrix),
                       static_cast<int>(spec.range));
}

}  // namespace Kaltor::Tests

namespace Kaltor {
using Tests::Codes;
using Tests::CodesAt;
}  // namespace Kaltor

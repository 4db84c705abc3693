#include "Apps/Kaltor/FilmStrip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Proc/Data/HalfConverter.h"

namespace Kaltor::Cli {
namespace {

constexpr std::uint32_t kGap = 6;
constexpr std::uint32_t kWidestStrip = 1920;
constexpr std::uint32_t kTallestCell = 4;  // times its width
constexpr std::uint64_t kMostPixels = 100'000'000;

constexpr std::uint32_t kGlyphColumns = 5;
constexpr std::uint32_t kGlyphRows = 7;
constexpr std::uint32_t kGlyphScale = 2;
constexpr std::uint32_t kGlyphAdvance = (kGlyphColumns + 1) * kGlyphScale;
constexpr std::uint32_t kLabelHeight = kGlyphRows * kGlyphScale + 2 * kGap;

struct Glyph {
    char character;
    std::array<std::uint8_t, kGlyphRows> rows;  ///< the leftmost column is the highest of five bits
};

constexpr std::array kFont{
    Glyph{'0', {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    Glyph{'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    Glyph{'2', {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111}},
    Glyph{'3', {0b11110, 0b00001, 0b00001, 0b01110, 0b00001, 0b00001, 0b11110}},
    Glyph{'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    Glyph{'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    Glyph{'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    Glyph{'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000}},
    Glyph{'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    Glyph{'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    Glyph{'.', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b00110, 0b00110}},
    Glyph{'-', {0b00000, 0b00000, 0b00000, 0b01110, 0b00000, 0b00000, 0b00000}},
    Glyph{'+', {0b00000, 0b00100, 0b00100, 0b11111, 0b00100, 0b00100, 0b00000}},
    Glyph{'e', {0b00000, 0b00000, 0b01110, 0b10001, 0b11111, 0b10000, 0b01110}},
};

/// Straight or premultiplied colour with alpha, 0..1.
using Rgba = std::array<float, 4>;

/// What one result sample takes from the source samples first, first + 1, ...
struct Taps {
    std::size_t first;
    std::vector<float> weights;
};

/// A triangle as wide as two samples of the coarser side: an antialiased average downwards, linear upwards.
std::vector<Taps> MakeTaps(std::size_t from, std::size_t to) {
    double const ratio = static_cast<double>(from) / static_cast<double>(to);
    double const reach = std::max(1.0, ratio);
    std::vector<Taps> all(to);
    for (std::size_t i = 0; i < to; ++i) {
        double const centre = (static_cast<double>(i) + 0.5) * ratio - 0.5;
        auto const low = static_cast<std::size_t>(std::max(0.0, std::ceil(centre - reach)));
        auto const high = std::min(from - 1, static_cast<std::size_t>(std::max(0.0, std::floor(centre + reach))));
        double sum = 0.0;
        all[i].first = std::min(low, high);
        for (std::size_t at = all[i].first; at <= high; ++at) {
            double const weight = std::max(1e-6, 1.0 - std::abs(static_cast<double>(at) - centre) / reach);
            all[i].weights.push_back(static_cast<float>(weight));
            sum += weight;
        }
        for (float& weight : all[i].weights) {
            weight = static_cast<float>(weight / sum);
        }
    }
    return all;
}

Rgba Mix(Taps const& taps, Rgba const* source, std::size_t stride) {
    Rgba sum{};
    for (std::size_t k = 0; k < taps.weights.size(); ++k) {
        Rgba const& sample = source[(taps.first + k) * stride];
        for (std::size_t c = 0; c < sum.size(); ++c) {
            sum[c] += taps.weights[k] * sample[c];
        }
    }
    return sum;
}

/// Gives the rows of a picture as colours multiplied by alpha.
class RowReader {
public:
    explicit RowReader(Proc::DataVideoFF const& video)
        : picture(video), hasAlpha(PixFmtDescription::Find(video.GetPixFmt()).HasAlpha()) {
        if (PixFmtDescription::Find(video.GetPixFmt()).IsFloat()) {
            AVFrame const& frame = video.GetFrame();
            planes = Proc::AllocateAvFrame(AV_PIX_FMT_GBRAPF32, frame.width, frame.height);
            Proc::HalfConverter().FromHalf(frame, *planes, {ColorMatrix::Bt709, ColorRange::Full});
        }
    }

    void Read(std::size_t y, std::vector<Rgba>& row) const {
        auto const at = static_cast<std::ptrdiff_t>(y);
        if (planes) {
            auto const plane = [&](int number) {
                return reinterpret_cast<float const*>(planes->data[number] + at * planes->linesize[number]);
            };
            for (std::size_t x = 0; x < row.size(); ++x) {
                float const alpha = hasAlpha ? plane(3)[x] : 1.0F;
                row[x] = {plane(2)[x] * alpha, plane(0)[x] * alpha, plane(1)[x] * alpha, alpha};
            }
            return;
        }
        AVFrame const& frame = picture.GetFrame();
        std::uint8_t const* pixel = frame.data[0] + at * frame.linesize[0];
        for (std::size_t x = 0; x < row.size(); ++x, pixel += hasAlpha ? 4 : 3) {
            float const alpha = hasAlpha ? static_cast<float>(pixel[3]) / 255.0F : 1.0F;
            float const scale = alpha / 255.0F;
            row[x] = {static_cast<float>(pixel[0]) * scale, static_cast<float>(pixel[1]) * scale,
                      static_cast<float>(pixel[2]) * scale, alpha};
        }
    }

private:
    Proc::DataVideoFF const& picture;
    bool hasAlpha;
    Proc::AvFramePtr planes;  ///< of 16-bit floats: the same of 32 bits
};

std::vector<Rgba> ScalePremultiplied(Proc::DataVideoFF const& picture, std::size_t width, std::size_t height) {
    std::size_t const sourceWidth = picture.GetFrameInfo().width;
    std::size_t const sourceHeight = picture.GetFrameInfo().height;
    RowReader const reader(picture);
    std::vector<Taps> const across = MakeTaps(sourceWidth, width);
    std::vector<Rgba> row(sourceWidth);
    std::vector<Rgba> narrow(width * sourceHeight);
    for (std::size_t y = 0; y < sourceHeight; ++y) {
        reader.Read(y, row);
        for (std::size_t x = 0; x < width; ++x) {
            narrow[y * width + x] = Mix(across[x], row.data(), 1);
        }
    }

    std::vector<Taps> const down = MakeTaps(sourceHeight, height);
    std::vector<Rgba> result(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            result[y * width + x] = Mix(down[y], narrow.data() + x, width);
        }
    }
    return result;
}

struct Shape {
    std::uint32_t width;
    std::uint32_t height;
};

/// The largest shape inside `width` x `height` that looks as the picture does on screen.
Shape Fit(Conf::FrameInfo const& info, std::uint32_t width, std::uint32_t height) {
    double const aspect = static_cast<double>(info.width) * info.pixelAspectX /
                          (static_cast<double>(info.height) * std::max<std::uint32_t>(info.pixelAspectY, 1));
    double const wide = std::min<double>(width, std::round(height * aspect));
    double const high = std::min<double>(height, std::round(wide / aspect));
    return {static_cast<std::uint32_t>(std::max(1.0, wide)), static_cast<std::uint32_t>(std::max(1.0, high))};
}

}  // namespace

FilmStrip::FilmStrip(std::size_t cells, std::uint32_t width, Conf::FrameInfo const& first, bool hasFloats)
    : columns(1), cellWidth(width), cellHeight(Fit(first, width, kTallestCell * width).height), isDeep(hasFloats) {
    std::size_t const most = std::max<std::size_t>(1, (kWidestStrip - kGap) / (cellWidth + kGap));
    std::size_t const rows = (cells + most - 1) / most;
    columns = static_cast<std::uint32_t>((cells + rows - 1) / rows);
    std::uint64_t const totalWidth = kGap + std::uint64_t{columns} * (cellWidth + kGap);
    std::uint64_t const totalHeight = kGap + rows * (std::uint64_t{cellHeight} + kLabelHeight);
    if (totalWidth * totalHeight > kMostPixels) {
        throw std::invalid_argument(fmt::format(
            "the strip would have {}x{} pixels: take fewer steps or a smaller width", totalWidth, totalHeight));
    }
    strip = Proc::AllocateAvFrame(hasFloats ? AV_PIX_FMT_RGB48 : AV_PIX_FMT_RGB24, static_cast<int>(totalWidth),
                                  static_cast<int>(totalHeight));
    strip->sample_aspect_ratio = {1, 1};
    Fill({0, 0}, static_cast<std::uint32_t>(totalWidth), static_cast<std::uint32_t>(totalHeight), {24, 24, 28});
}

boost::intrusive_ptr<Proc::DataVideoFF> FilmStrip::GetPicture() const {
    if (!isDeep) {
        return Proc::DataVideoFF::Wrap(Proc::ShareAvFrame(*strip));
    }
    Proc::AvFramePtr half = Proc::AllocateAvFrame(AV_PIX_FMT_RGBA64, strip->width, strip->height);
    Proc::MarkPixFmt(*half, PixFmt::RgbF16);
    Proc::HalfConverter().ToHalf(*strip, {ColorMatrix::Bt709, ColorRange::Full}, *half);
    return Proc::DataVideoFF::Wrap(std::move(half));
}

void FilmStrip::Put(Point at, std::array<float, 3> const& color) {
    std::uint8_t* const row = strip->data[0] + static_cast<std::ptrdiff_t>(at.y) * strip->linesize[0];
    for (std::size_t c = 0; c < color.size(); ++c) {
        float const value = std::clamp(color[c], 0.0F, 1.0F);
        if (isDeep) {
            reinterpret_cast<std::uint16_t*>(row)[3 * at.x + c] =
                static_cast<std::uint16_t>(std::lround(value * 65535.0F));
        } else {
            row[3 * at.x + c] = static_cast<std::uint8_t>(std::lround(value * 255.0F));
        }
    }
}

void FilmStrip::Add(Proc::DataVideoFF const& picture, std::string const& label) {
    auto const number = static_cast<std::uint32_t>(added++);
    Point const cell{kGap + number % columns * (cellWidth + kGap),
                     kGap + number / columns * (cellHeight + kLabelHeight)};
    DrawPicture(picture, cell);
    DrawLabel(label, cell);
}

void FilmStrip::Fill(Point at, std::uint32_t width, std::uint32_t height, Rgb color) {
    constexpr float kTop = 255.0F;
    std::array<float, 3> const shares{static_cast<float>(color.red) / kTop, static_cast<float>(color.green) / kTop,
                                      static_cast<float>(color.blue) / kTop};
    for (std::uint32_t y = at.y; y < at.y + height; ++y) {
        for (std::uint32_t x = at.x; x < at.x + width; ++x) {
            Put({x, y}, shares);
        }
    }
}

void FilmStrip::DrawPicture(Proc::DataVideoFF const& picture, Point cell) {
    constexpr std::uint32_t kSquare = 8;
    constexpr std::array<float, 2> kGround{0.8F, 0.6F};
    Shape const shape = Fit(picture.GetFrameInfo(), cellWidth, cellHeight);
    Point const at{cell.x + (cellWidth - shape.width) / 2, cell.y + (cellHeight - shape.height) / 2};
    std::vector<Rgba> const scaled = ScalePremultiplied(picture, shape.width, shape.height);
    for (std::uint32_t y = 0; y < shape.height; ++y) {
        for (std::uint32_t x = 0; x < shape.width; ++x) {
            Rgba const& color = scaled[std::size_t{y} * shape.width + x];
            float const ground = (1.0F - color[3]) * kGround[(x / kSquare + y / kSquare) % 2];
            Put({at.x + x, at.y + y}, {color[0] + ground, color[1] + ground, color[2] + ground});
        }
    }
}

void FilmStrip::DrawLabel(std::string const& label, Point cell) {
    std::size_t const room = cellWidth / kGlyphAdvance;
    std::string_view const shown = std::string_view(label).substr(0, room);
    auto const width = static_cast<std::uint32_t>(shown.size()) * kGlyphAdvance;
    Point at{cell.x + (cellWidth - width) / 2, cell.y + cellHeight + kGap};
    for (char const character : shown) {
        auto const* const glyph =
            std::find_if(kFont.begin(), kFont.end(), [character](Glyph const& g) { return g.character == character; });
        for (std::uint32_t row = 0; glyph != kFont.end() && row < kGlyphRows; ++row) {
            for (std::uint32_t column = 0; column < kGlyphColumns; ++column) {
                if (((glyph->rows[row] >> (kGlyphColumns - 1 - column)) & 1U) != 0) {
                    Fill({at.x + column * kGlyphScale, at.y + row * kGlyphScale}, kGlyphScale, kGlyphScale,
                         {230, 230, 230});
                }
            }
        }
        at.x += kGlyphAdvance;
    }
}

}  // namespace Kaltor::Cli

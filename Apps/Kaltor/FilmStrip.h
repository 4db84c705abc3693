#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Proc/Data/AvFrame.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Cli {

/// Pictures side by side, each with a number below it, in as many rows as they need. What is translucent shows a
/// chequered ground.
class FilmStrip {
public:
    /// `cells` pictures shaped as `first` on screen, each `cellWidth` pixels wide. Throws `std::invalid_argument` where
    /// that would be too large a picture. `hasFloats`: the strip has more than 8 bits.
    FilmStrip(std::size_t cells, std::uint32_t cellWidth, Conf::FrameInfo const& first, bool hasFloats = false);

    /// The next picture, Rgb24, Rgba, RgbF16 or RgbaF16, scaled into its cell with its shape kept. `label` may hold digits, '.', '-',
    /// '+' and 'e'.
    void Add(Proc::DataVideoFF const& picture, std::string const& label);

    /// The strip so far, Rgb24 or RgbF16.
    boost::intrusive_ptr<Proc::DataVideoFF> GetPicture() const;

private:
    struct Point {
        std::uint32_t x;
        std::uint32_t y;
    };
    struct Rgb {
        std::uint8_t red;
        std::uint8_t green;
        std::uint8_t blue;
    };
    void Put(Point at, std::array<float, 3> const& color);
    void Fill(Point at, std::uint32_t width, std::uint32_t height, Rgb color);
    void DrawPicture(Proc::DataVideoFF const& picture, Point cell);
    void DrawLabel(std::string const& label, Point cell);

    std::uint32_t columns;
    std::uint32_t cellWidth;
    std::uint32_t cellHeight;
    std::size_t added = 0;
    bool isDeep;
    Proc::AvFramePtr strip;  ///< packed R'G'B' of 8 or 16 bits
};

}  // namespace Kaltor::Cli

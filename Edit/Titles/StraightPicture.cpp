#include "Edit/Titles/StraightPicture.h"

#include <algorithm>
#include <cmath>

namespace Kaltor::Edit {
namespace {

std::uint8_t ToByte(float value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0F, 1.0F) * 255.0F));
}

}  // namespace

StraightPicture::StraightPicture(PixelRect const& part)
    : area(part),
      width(static_cast<std::size_t>(std::max(part.Width(), 0))),
      pixels(width * static_cast<std::size_t>(std::max(part.Height(), 0))) {}

StraightPicture::Pixel StraightPicture::ToPixel(Proc::Color const& color, float coverage) {
    float const alpha = coverage * static_cast<float>(color.alpha) / 255.0F;
    float const scale = alpha / 255.0F;
    return {static_cast<float>(color.red) * scale, static_cast<float>(color.green) * scale,
            static_cast<float>(color.blue) * scale, alpha};
}

void StraightPicture::Over(Coverage const& coverage, Proc::Color const& color) {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        if (coverage[i] > 0.0F) {
            pixels[i].Over(ToPixel(color, coverage[i]));
        }
    }
}

void StraightPicture::Over(Canvas const& colors) {
    for (int y = 0; y < area.Height(); ++y) {
        auto const* const row = reinterpret_cast<std::uint32_t const*>(colors.Row(y));
        for (int x = 0; x < area.Width(); ++x) {
            if (std::uint32_t const argb = row[x]; argb != 0) {
                auto const channel = [argb](unsigned shift) {
                    return static_cast<float>((argb >> shift) & 0xFFU) / 255.0F;
                };
                At(x, y).Over({channel(16), channel(8), channel(0), channel(24)});
            }
        }
    }
}

void StraightPicture::Over(PixelRect const& place, unsigned char const* coverage, std::ptrdiff_t stride,
                           Proc::Color const& color) {
    for (int y = 0; y < place.Height(); ++y) {
        for (int x = 0; x < place.Width(); ++x) {
            if (unsigned char const covered = coverage[stride * y + x]; covered != 0) {
                At(place.left - area.left + x, place.top - area.top + y)
                    .Over(ToPixel(color, static_cast<float>(covered) / 255.0F));
            }
        }
    }
}

PixelRect StraightPicture::FindVisible(PixelRect const& frame) const {
    PixelRect const within = area.Intersect(frame);
    PixelRect visible{within.right, within.bottom, within.left, within.top};
    for (int y = within.top; y < within.bottom; ++y) {
        for (int x = within.left; x < within.right; ++x) {
            if (At(x - area.left, y - area.top).IsVisible()) {
                visible = {std::min(visible.left, x), std::min(visible.top, y), std::max(visible.right, x + 1),
                           std::max(visible.bottom, y + 1)};
            }
        }
    }
    return visible;
}

Proc::Color StraightPicture::Surroundings(int x, int y, PixelRect const& within) const {
    Pixel sum;
    for (int v = std::max(y - 1, within.top); v <= std::min(y + 1, within.bottom - 1); ++v) {
        for (int u = std::max(x - 1, within.left); u <= std::min(x + 1, within.right - 1); ++u) {
            if (Pixel const& pixel = At(u - area.left, v - area.top); pixel.IsVisible()) {
                sum = {sum.red + pixel.red, sum.green + pixel.green, sum.blue + pixel.blue, sum.alpha + pixel.alpha};
            }
        }
    }
    if (sum.alpha <= 0.0F) {
        return {0, 0, 0, 0};
    }
    return {ToByte(sum.red / sum.alpha), ToByte(sum.green / sum.alpha), ToByte(sum.blue / sum.alpha), 0};
}

std::optional<TitlePicture> StraightPicture::Finish(PixelRect const& frame, bool hasBorder) const {
    PixelRect const visible = FindVisible(frame);
    if (visible.IsEmpty()) {
        return std::nullopt;
    }
    int const border = hasBorder ? 1 : 0;
    PixelRect const outer{visible.left - border, visible.top - border, visible.right + border, visible.bottom + border};
    auto picture = Proc::DataVideoFF::Create(
        PixFmt::Rgba, {static_cast<std::uint32_t>(outer.Width()), static_cast<std::uint32_t>(outer.Height()), 1, 1});
    AVFrame const& target = picture->GetWritableFrame();
    for (int y = outer.top; y < outer.bottom; ++y) {
        std::uint8_t* out = target.data[0] + static_cast<std::ptrdiff_t>(target.linesize[0]) * (y - outer.top);
        for (int x = outer.left; x < outer.right; ++x) {
            bool const isInside = x >= visible.left && x < visible.right && y >= visible.top && y < visible.bottom;
            Pixel const pixel = isInside ? At(x - area.left, y - area.top) : Pixel{};
            Proc::Color const color =
                pixel.IsVisible() ? Proc::Color{ToByte(pixel.red / pixel.alpha), ToByte(pixel.green / pixel.alpha),
                                                ToByte(pixel.blue / pixel.alpha), ToByte(pixel.alpha)}
                                  : Surroundings(x, y, visible);
            out[0] = color.red;
            out[1] = color.green;
            out[2] = color.blue;
            out[3] = color.alpha;
            out += 4;
        }
    }
    return TitlePicture{std::move(picture), static_cast<double>(outer.left), static_cast<double>(outer.top), 1.0};
}

}  // namespace Kaltor::Edit

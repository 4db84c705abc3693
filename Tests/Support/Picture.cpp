#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {
namespace {

constexpr double kTop = 255.0;

std::uint32_t Hash(std::uint32_t value) {
    value ^= value >> 16U;
    value *= 0x7feb352dU;
    value ^= value >> 15U;
    value *= 0x846ca68bU;
    return value ^ (value >> 16U);
}

Rgba Interpolate(Rgba const& a, Rgba const& b, double weight) {
    Rgba result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        result[c] = a[c] + (b[c] - a[c]) * weight;
    }
    return result;
}

unsigned Clamp(double index, unsigned side) {
    return static_cast<unsigned>(std::clamp(index, 0.0, static_cast<double>(side - 1)));
}

}  // namespace

Picture Picture::Make(unsigned width, unsigned height, bool hasAlpha,
                      std::function<Rgba(unsigned, unsigned)> const& at) {
    Picture picture(width, height, hasAlpha);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            picture.At(x, y) = at(x, y);
        }
    }
    return picture;
}

Picture Picture::Noise(unsigned width, unsigned height, bool hasAlpha, std::uint32_t seed) {
    return Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
        std::uint32_t const bits = Hash(seed * 0x9e3779b9U ^ Hash(y * width + x));
        return Rgba{(bits & 255U) / kTop, (bits >> 8U & 255U) / kTop, (bits >> 16U & 255U) / kTop,
                    hasAlpha ? (bits >> 24U) / kTop : 1.0};
    });
}

Picture Picture::Corners(unsigned width, unsigned height, bool hasAlpha) {
    static constexpr Rgba kTopLeft{1, 0.2, 0, 1};
    static constexpr Rgba kTopRight{0, 1, 0.2, 0.8};
    static constexpr Rgba kBottomLeft{0.2, 0, 1, 0.6};
    static constexpr Rgba kBottomRight{1, 1, 0, 0.4};
    return Make(width, height, hasAlpha, [&](unsigned x, unsigned y) {
        double const u = (x + 0.5) / width;
        double const v = (y + 0.5) / height;
        Rgba pixel = Interpolate(Interpolate(kTopLeft, kTopRight, u), Interpolate(kBottomLeft, kBottomRight, u), v);
        for (double& channel : pixel) {
            channel = std::round(channel * kTop) / kTop;
        }
        pixel[3] = hasAlpha ? pixel[3] : 1.0;
        return pixel;
    });
}

Picture Picture::ZonePlate(unsigned width, unsigned height) {
    double const reach = std::max(width, height);
    return Make(width, height, false, [&](unsigned x, unsigned y) {
        double const dx = x + 0.5 - width / 2.0;
        double const dy = y + 0.5 - height / 2.0;
        double const wave = 0.5 + 0.5 * std::cos(3.14159265358979 * (dx * dx + dy * dy) / reach);
        double const value = std::round(wave * kTop) / kTop;
        return Rgba{value, 1.0 - value, value, 1.0};
    });
}

Picture Picture::Flat(unsigned width, unsigned height, Rgba const& color, bool hasAlpha) {
    return Make(width, height, hasAlpha, [&](unsigned, unsigned) { return color; });
}

Rgba Picture::Sample(double s, double t) const {
    double const x = s * width - 0.5;
    double const y = (1.0 - t) * height - 0.5;
    double const left = std::floor(x);
    double const top = std::floor(y);
    unsigned const x0 = Clamp(left, width);
    unsigned const x1 = Clamp(left + 1.0, width);
    unsigned const y0 = Clamp(top, height);
    unsigned const y1 = Clamp(top + 1.0, height);
    return Interpolate(Interpolate(At(x0, y0), At(x1, y0), x - left), Interpolate(At(x0, y1), At(x1, y1), x - left),
                       y - top);
}

Rgba Picture::SampleNearest(double s, double t) const {
    return At(Clamp(std::floor(s * width), width), height - 1U - Clamp(std::floor(t * height), height));
}

boost::intrusive_ptr<Proc::DataVideoFF> Picture::ToFrame(std::uint32_t aspectX, std::uint32_t aspectY) const {
    boost::intrusive_ptr<Proc::DataVideoFF> frame =
        Proc::DataVideoFF::Create(hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24, {width, height, aspectX, aspectY});
    AVFrame& samples = frame->GetWritableFrame();
    unsigned const channels = hasAlpha ? 4 : 3;
    for (unsigned y = 0; y < height; ++y) {
        std::uint8_t* row = samples.data[0] + std::ptrdiff_t{samples.linesize[0]} * y;
        for (unsigned x = 0; x < width; ++x) {
            for (unsigned c = 0; c < channels; ++c) {
                *row++ = static_cast<std::uint8_t>(std::lround(std::clamp(At(x, y)[c], 0.0, 1.0) * kTop));
            }
        }
    }
    return frame;
}

Picture Picture::FromFrame(Proc::DataVideoFF const& frame) {
    bool const hasAlpha = PixFmtDescription::Find(frame.GetPixFmt()).HasAlpha();
    bool const isBlueFirst = frame.GetPixFmt() == PixFmt::Bgra || frame.GetPixFmt() == PixFmt::Bgrx;
    unsigned const channels = frame.GetPixFmt() == PixFmt::Rgb24 ? 3 : 4;
    AVFrame const& samples = frame.GetFrame();
    return Make(frame.GetFrameInfo().width, frame.GetFrameInfo().height, hasAlpha, [&](unsigned x, unsigned y) {
        std::uint8_t const* texel =
            samples.data[0] + std::ptrdiff_t{samples.linesize[0]} * y + std::ptrdiff_t{channels} * x;
        Rgba pixel{texel[isBlueFirst ? 2 : 0] / kTop, texel[1] / kTop, texel[isBlueFirst ? 0 : 2] / kTop, 1.0};
        if (hasAlpha) {
            pixel[3] = texel[3] / kTop;
        }
        return pixel;
    });
}

Picture Premultiply(Picture picture) {
    for (Rgba& pixel : picture.pixels) {
        for (std::size_t c = 0; c < 3; ++c) {
            pixel[c] *= pixel[3];
        }
    }
    return picture;
}

Picture Halve(Picture const& picture) {
    return Picture::Make(picture.width / 2, picture.height / 2, picture.hasAlpha, [&picture](unsigned x, unsigned y) {
        Rgba mean{};
        for (unsigned part = 0; part < 4; ++part) {
            Rgba const& pixel = picture.At(2 * x + part % 2, 2 * y + part / 2);
            if (pixel == kUndecided) {
                return kUndecided;
            }
            for (std::size_t c = 0; c < mean.size(); ++c) {
                mean[c] += pixel[c] / 4;
            }
        }
        return mean;
    });
}

testing::AssertionResult IsNear(Picture const& actual, Picture const& expected, double tolerance) {
    if (actual.width != expected.width || actual.height != expected.height) {
        return testing::AssertionFailure() << fmt::format("the picture is {}x{}, expected {}x{}", actual.width,
                                                          actual.height, expected.width, expected.height);
    }
    constexpr double kSlack = 1e-6;  // of the floating-point numbers themselves
    double worst = -1.0;
    unsigned worstX = 0;
    unsigned worstY = 0;
    std::size_t off = 0;
    std::size_t undecided = 0;
    for (unsigned y = 0; y < actual.height; ++y) {
        for (unsigned x = 0; x < actual.width; ++x) {
            double difference = 0.0;
            if (expected.At(x, y) == kUndecided) {
                ++undecided;
                continue;
            }
            for (std::size_t c = 0; c < (actual.hasAlpha ? 4U : 3U); ++c) {
                double const channel = std::abs(actual.At(x, y)[c] - std::clamp(expected.At(x, y)[c], 0.0, 1.0));
                difference =
                    std::isnan(channel) ? std::numeric_limits<double>::infinity() : std::max(difference, channel);
            }
            off += difference > tolerance + kSlack ? 1 : 0;
            if (difference > worst) {
                worst = difference;
                worstX = x;
                worstY = y;
            }
        }
    }
    if (undecided > actual.pixels.size() / 6) {
        return testing::AssertionFailure() << undecided << " of " << actual.pixels.size() << " pixels are undecided";
    }
    if (off == 0) {
        return testing::AssertionSuccess();
    }
    auto const tell = [](Rgba const& p) {
        return fmt::format("({:.1f}, {:.1f}, {:.1f}, {:.1f})", p[0] * kTop, p[1] * kTop, p[2] * kTop, p[3] * kTop);
    };
    return testing::AssertionFailure() << fmt::format(
               "{} of {} pixels of a {}x{} picture are off by more than {:.2f}/255; the worst, by {:.2f}/255, is x = "
               "{}, "
               "y = {} from the top: {}, expected {}",
               off, actual.pixels.size(), actual.width, actual.height, tolerance * kTop, worst * kTop, worstX, worstY,
               tell(actual.At(worstX, worstY)), tell(expected.At(worstX, worstY)));
}

}  // namespace Kaltor::Tests

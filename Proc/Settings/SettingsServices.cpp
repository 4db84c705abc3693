#include "Proc/Settings/SettingsServices.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Proc {
namespace {

/// A side in pixels. The products behind `exact` are exact up to 2^53.
std::uint32_t ToSide(double exact) {
    constexpr auto kMost = static_cast<double>(std::numeric_limits<std::int32_t>::max());
    if (!(exact <= kMost)) {
        Core::Throw(std::invalid_argument("the output's other side would be longer than any picture's"));
    }
    return static_cast<std::uint32_t>(std::max(std::round(exact), 1.0));
}

/// The margins that `part` pixels leave free within `full` pixels, on the first and on the second side. Less than a
/// pixel counts as none.
std::pair<std::uint32_t, std::uint32_t> Centre(std::uint32_t full, double part) {
    if (static_cast<double>(full) - part < 1.0) {
        return {0, 0};
    }
    std::uint32_t const margins = full - ToSide(part);
    return {margins / 2, margins - margins / 2};
}

}  // namespace

std::vector<Field> SettingsResizer::DeclareFields() {
    constexpr double kLargest = 16384.0;
    constexpr double kMostAspect = 65535.0;
    return {
        Declare<&This::width>(
            0.0, kLargest,
            "output width; 0: the cropped picture's width, or the width that keeps its shape at the given height"),
        Declare<&This::height>(
            0.0, kLargest,
            "output height; 0: the cropped picture's height, or the height that keeps its shape at the given width"),
        Declare<&This::pixelAspectX>(0.0, kMostAspect,
                                     "width of an output pixel relative to its height; 0: as in the input"),
        Declare<&This::pixelAspectY>(0.0, kMostAspect,
                                     "height of an output pixel relative to its width; 0: as in the input"),
        Declare<&This::mode>(
            {{Mode::Stretch, "stretch"}, {Mode::Fit, "fit"}, {Mode::Fill, "fill"}},
            "stretch to the output, fit the whole picture in with bars, or fill the output and cut the sides"),
        Declare<&This::cropLeft>(0.0, kLargest, "pixels cut from the input first"),
        Declare<&This::cropRight>(0.0, kLargest, "pixels cut from the input first"),
        Declare<&This::cropTop>(0.0, kLargest, "pixels cut from the input first"),
        Declare<&This::cropBottom>(0.0, kLargest, "pixels cut from the input first"),
        Declare<&This::background>("colour of the bars; a translucent one gives an output with alpha")};
}

Conf::FrameInfo SettingsResizer::GetOutputFrameSize(Conf::FrameInfo const& input) const {
    CropInfo source;
    CropInfo destination;
    return GetROI(input, source, destination);
}

Conf::FrameInfo SettingsResizer::GetROI(Conf::FrameInfo const& input, CropInfo& source, CropInfo& destination) const {
    auto const cut = [](std::uint32_t side, std::uint32_t first, std::uint32_t second) {
        std::uint64_t const margins = std::uint64_t{first} + second;
        return margins < side ? side - static_cast<std::uint32_t>(margins) : 0U;
    };
    std::uint32_t const croppedWidth = cut(input.width, cropLeft, cropRight);
    std::uint32_t const croppedHeight = cut(input.height, cropTop, cropBottom);
    if (croppedWidth == 0) {
        Core::Throw(
            std::invalid_argument(fmt::format("cropLeft {} and cropRight {} leave nothing of a width of {}: at "
                                              "least one pixel must remain",
                                              cropLeft, cropRight, input.width)));
    }
    if (croppedHeight == 0) {
        Core::Throw(
            std::invalid_argument(fmt::format("cropTop {} and cropBottom {} leave nothing of a height of {}: at "
                                              "least one pixel must remain",
                                              cropTop, cropBottom, input.height)));
    }
    auto const known = [](std::uint32_t value, std::uint32_t fallback) { return value != 0 ? value : fallback; };
    Conf::FrameInfo const seen{input.width, input.height, std::max(input.pixelAspectX, 1U),
                               std::max(input.pixelAspectY, 1U)};
    Conf::FrameInfo output{width, height, known(pixelAspectX, seen.pixelAspectX),
                           known(pixelAspectY, seen.pixelAspectY)};

    // Ratio of width to height of the cropped picture, in the output's pixels.
    auto const numerator = static_cast<double>(croppedWidth) * seen.pixelAspectX * output.pixelAspectY;
    auto const denominator = static_cast<double>(croppedHeight) * seen.pixelAspectY * output.pixelAspectX;
    if (output.width == 0 && output.height == 0) {
        output.width = croppedWidth;
        output.height = croppedHeight;
    } else if (output.width == 0) {
        output.width = ToSide(output.height * numerator / denominator);
    } else if (output.height == 0) {
        output.height = ToSide(output.width * denominator / numerator);
    }

    source = {cropLeft, cropRight, cropTop, cropBottom};
    destination = {};
    double const fullWidth = output.height * numerator / denominator;  // at the output's height
    double const fullHeight = output.width * denominator / numerator;
    bool const isWider = fullWidth > static_cast<double>(output.width);
    if (mode == Mode::Fit) {
        if (isWider) {
            std::tie(destination.bottom, destination.top) = Centre(output.height, fullHeight);
        } else {
            std::tie(destination.left, destination.right) = Centre(output.width, fullWidth);
        }
    } else if (mode == Mode::Fill) {
        if (isWider) {
            auto const [left, right] = Centre(croppedWidth, croppedWidth * (output.width / fullWidth));
            source.left += left;
            source.right += right;
        } else {
            auto const [bottom, top] = Centre(croppedHeight, croppedHeight * (output.height / fullHeight));
            source.bottom += bottom;
            source.top += top;
        }
    }
    return output;
}

}  // namespace Kaltor::Proc

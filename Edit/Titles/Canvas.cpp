#include "Edit/Titles/Canvas.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>
#include <string>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Edit {
namespace {

/// Four of them come close enough to a Gaussian that nobody sees the difference.
constexpr int kBoxes = 4;

/// A box filter whose outermost taps weigh less, so that its variance can be any number.
struct Box {
    int radius;
    float inner;  ///< weight of the taps up to the radius
    float outer;  ///< of the two beyond it

    explicit Box(double variance) {
        radius = static_cast<int>((std::sqrt(12.0 * variance + 1.0) - 1.0) / 2.0);
        double const r = radius;
        double const next = r + 1.0;
        // From the sum of the weights being 1, and their second moment `variance`.
        double const share = (2.0 * r + 1.0) * (r * next - 3.0 * variance) / (6.0 * (variance - next * next));
        inner = static_cast<float>(1.0 / (2.0 * r + 1.0 + 2.0 * share));
        outer = static_cast<float>(share) * inner;
    }
};

/// Filters `count` samples in place. `line` holds zeros around them, at least radius + 1 on each side.
void Filter(Box const& box, float const* line, float* out, std::ptrdiff_t stride, int count) {
    int const r = box.radius;
    double sum = 0.0;  // a float would drift
    for (int i = -r; i <= r; ++i) {
        sum += line[i];
    }
    for (int i = 0; i < count; ++i) {
        float const edges = line[i - r - 1] + line[i + r + 1];
        out[i * stride] = box.inner * static_cast<float>(sum) + box.outer * edges;
        sum += static_cast<double>(line[i + r + 1]) - line[i - r];
    }
}

}  // namespace

PixelRect PixelRect::Intersect(PixelRect const& other) const {
    return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
            std::min(bottom, other.bottom)};
}

Canvas::Canvas(PixelRect const& part, cairo_format_t pixels)
    : area(part), format(pixels), surface(cairo_image_surface_create(pixels, part.Width(), part.Height())) {
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) {
        throw std::bad_alloc();
    }
    cairo_surface_set_device_offset(surface.get(), -part.left, -part.top);
    cairo.reset(cairo_create(surface.get()));
    cairo_set_antialias(cairo.get(), CAIRO_ANTIALIAS_GRAY);
}

void Canvas::Finish() const {
    if (cairo_status_t const status = cairo_status(cairo.get()); status != CAIRO_STATUS_SUCCESS) {
        Core::Throw(
            std::runtime_error(std::string("a title cannot be drawn (") + cairo_status_to_string(status) + ")"));
    }
    cairo_surface_flush(surface.get());
}

unsigned char const* Canvas::Row(int row) const {
    return cairo_image_surface_get_data(surface.get()) +
           static_cast<std::ptrdiff_t>(cairo_image_surface_get_stride(surface.get())) * row;
}

Coverage Canvas::ToCoverage() const {
    auto const width = static_cast<std::size_t>(area.Width());
    Coverage coverage(width * static_cast<std::size_t>(area.Height()));
    float* out = coverage.data();
    for (int y = 0; y < area.Height(); ++y) {
        unsigned char const* const row = Row(y);
        for (std::size_t x = 0; x < width; ++x) {
            *out++ = static_cast<float>(
                         format == CAIRO_FORMAT_A8 ? row[x] : reinterpret_cast<std::uint32_t const*>(row)[x] >> 24U) /
                     255.0F;
        }
    }
    return coverage;
}

void Blur(Coverage& coverage, int width, int height, double sigma) {
    if (!(sigma > 0.0) || width <= 0 || height <= 0) {
        return;
    }
    Box const box(sigma * sigma / kBoxes);
    auto const pad = static_cast<std::size_t>(box.radius) + 1;
    std::vector<float> line(static_cast<std::size_t>(std::max(width, height)) + 2 * pad);
    auto const along = [&](float* first, std::ptrdiff_t stride, int count) {
        for (int pass = 0; pass < kBoxes; ++pass) {
            for (int i = 0; i < count; ++i) {
                line[pad + static_cast<std::size_t>(i)] = first[i * stride];
            }
            Filter(box, line.data() + pad, first, stride, count);
        }
        std::fill(line.begin(), line.end(), 0.0F);
    };
    for (int y = 0; y < height; ++y) {
        along(coverage.data() + static_cast<std::ptrdiff_t>(y) * width, 1, width);
    }
    for (int x = 0; x < width; ++x) {
        along(coverage.data() + x, width, height);
    }
}

}  // namespace Kaltor::Edit

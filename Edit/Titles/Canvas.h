#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <cairo.h>

namespace Kaltor::Edit {

struct SurfaceDeleter {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using SurfacePtr = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

struct CairoDeleter {
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};
using CairoPtr = std::unique_ptr<cairo_t, CairoDeleter>;

/// Whole pixels of the frame; may lie beyond it.
struct PixelRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool IsEmpty() const { return right <= left || bottom <= top; }
    PixelRect Intersect(PixelRect const& other) const;
};

/// How much of each pixel is covered, 0 to 1, row by row.
using Coverage = std::vector<float>;

/// A part of the frame to draw on with Cairo, in the frame's coordinates: either coverage only (CAIRO_FORMAT_A8), or
/// colours with premultiplied alpha (CAIRO_FORMAT_ARGB32). At first it is transparent.
class Canvas {
public:
    /// Throws `std::bad_alloc`.
    Canvas(PixelRect const& area, cairo_format_t format);

    /// Antialiases; nothing else is set.
    cairo_t* Get() const { return cairo.get(); }
    PixelRect const& GetArea() const { return area; }

    /// Makes what was drawn readable. Throws `std::runtime_error` where drawing failed.
    void Finish() const;
    unsigned char const* Row(int row) const;
    /// Alpha of an ARGB32 canvas.
    Coverage ToCoverage() const;

private:
    PixelRect area;
    cairo_format_t format;
    SurfacePtr surface;
    CairoPtr cairo;
};

/// A Gaussian blur with the standard deviation `sigma`, in pixels; what lies outside is 0.
void Blur(Coverage& coverage, int width, int height, double sigma);

}  // namespace Kaltor::Edit

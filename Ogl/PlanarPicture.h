#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>

#include <boost/intrusive_ptr.hpp>

#include "Conf/PixFmt.h"
#include "Proc/Data/DataVideoFF.h"

namespace Kaltor::Ogl {

/// How a picture is laid on a `PlanarPicture`. The results are those of the GL's blending of R'G'B', which is linear
/// and therefore the same for luma and chroma.
struct PlaneBlend {
    enum class Kind : std::uint8_t {
        Replace,
        Mix,        ///< `weight` of the picture, the rest of what was there
        FromBlack,  ///< `weight` of the picture over black
        Inverse,    ///< the picture's complement; only over white
    };
    Kind kind = Kind::Replace;
    double weight = 1.0;
};

/// Samples of a plane at the edge of a rectangle that covers some of their 2 x 2 pixels: what each pixel shows.
class PlaneSeams {
public:
    using Pixels = std::array<std::uint8_t, 4>;

    /// Those of a sample that has been the same for all pixels.
    Pixels& Find(int x, int y, std::uint8_t now) {
        return seams.try_emplace({x, y}, Pixels{now, now, now, now}).first->second;
    }
    /// The samples for which `isCovered(x, y)` are the same for all pixels from now on.
    template <typename IsCovered>
    void Forget(IsCovered const& isCovered) {
        std::erase_if(seams, [&](auto const& seam) { return isCovered(seam.first.first, seam.first.second); });
    }

private:
    std::map<std::pair<int, int>, Pixels> seams;
};

/// A 4:2:0 picture of 8 bits in main memory that pictures with the same tags can be drawn on, plane by plane: a
/// chroma sample stands for the 2 x 2 pixels that share it. What is drawn unchanged is not copied. One thread at a
/// time.
class PlanarPicture {
public:
    /// That picture, which stays as it is whatever is drawn. Its tags must be resolved.
    explicit PlanarPicture(boost::intrusive_ptr<Proc::DataVideoFF const> picture);
    /// Black, to be drawn on.
    PlanarPicture(std::uint32_t width, std::uint32_t height, ColorSpec const& spec);

    /// Shows that picture, of the same size and tags, from now on. It must stay as it is.
    void Show(boost::intrusive_ptr<Proc::DataVideoFF const> picture);
    /// Makes all of it one colour (R'G'B', 0 to 1).
    void Fill(std::array<double, 3> const& color);
    /// Draws all of `source` through rectangles: groups of four vertices of (s, t, x, y), as in `PackedQuad`. Where
    /// source and target have the same scale, samples on samples stay as they are to the byte, others are interpolated
    /// linearly, as where the picture grows; where it shrinks and `isAveraged`, each sample is the mean of what it
    /// covers. Throws `std::logic_error` for what is not upright, and for an inverse over anything but white.
    void Draw(PlanarPicture& source, std::span<float const> vertices, PlaneBlend const& blend, bool isAveraged);

    /// What has been drawn; further drawing leaves it as it is.
    boost::intrusive_ptr<Proc::DataVideoFF const> Get();

private:
    using Codes = std::array<std::uint8_t, 3>;

    void DrawWhole(PlanarPicture& source, PlaneBlend const& blend);
    /// Makes `own` a picture that can be written to; `keepsContent`: with what is there.
    void Own(bool keepsContent);
    Codes Encode(std::array<double, 3> const& color) const;

    std::uint32_t width;
    std::uint32_t height;
    ColorSpec spec;
    // What is there: a picture of others, or an own one, or one colour.
    boost::intrusive_ptr<Proc::DataVideoFF const> shared;
    boost::intrusive_ptr<Proc::DataVideoFF> own;
    std::optional<std::array<double, 3>> flat;
    std::array<PlaneSeams, 3> seams;
};

}  // namespace Kaltor::Ogl

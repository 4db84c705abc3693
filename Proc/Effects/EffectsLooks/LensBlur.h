#pragma once

#include "Ogl/Frame.h"
#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// The picture as a lens out of focus shows it: every point a disc or a polygon of the aperture's shape, bright points
/// stronger than the rest. Drawn small, since it is blurred. Premultiplied. GL thread only.
class LensBlur {
public:
    struct Aperture {
        double radius;       ///< of the disc, in longer sides of the picture
        int blades = 0;      ///< corners of the aperture; less than 3: round
        double angle = 0.0;  ///< radians by which it is turned
        double boost = 0.0;  ///< how much stronger highlights are
    };

    LensBlur(Frame const& picture, Aperture const& aperture, ShaderStorage const& storage);

    Texture const& Get() const { return blurred.Get(); }

    /// How much of the small picture is to be mixed in, 0 to 1: a blur of about a pixel is not yet drawn small.
    static double GetShare(double radius, double pixels);

private:
    PooledTexture blurred;
};

}  // namespace Kaltor::Ogl

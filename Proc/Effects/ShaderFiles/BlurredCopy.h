#pragma once

#include <glm/vec2.hpp>

#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {

class ShaderStorage;

/// A Gaussian blur of a picture with straight alpha, premultiplied, in few and small passes: what is blurred widely is
/// made smaller first, and the copy stays so. Sampled linearly. `deviation` is that of the Gaussian in widths and
/// heights of the picture. GL thread only.
PooledTexture MakeBlurredCopy(Texture const& picture, glm::dvec2 deviation, ShaderStorage const& storage);

}  // namespace Kaltor::Ogl

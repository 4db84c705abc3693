#pragma once

#include <optional>

#include "Ogl/Frame.h"
#include "Ogl/TexturePool.h"

namespace Kaltor::Ogl {

/// An RGB picture with its colours multiplied by alpha, so that samples of it may be filtered and added without showing
/// the colours under transparent pixels; programs divide by alpha again before they write a frame. An opaque picture is
/// used directly; others are drawn once, with 16 bits per channel. GL thread only.
class Premultiplied {
public:
    Premultiplied(Frame const& picture, ShaderStorage const& storage)
        : Premultiplied(picture.GetFirstTexture(), storage) {
        frame = picture;
    }
    /// Of a texture with straight alpha that lives longer.
    Premultiplied(Texture const& picture, ShaderStorage const& storage);

    Texture const& Get() const { return multiplied ? multiplied->Get() : *straight; }

private:
    Frame frame;  ///< keeps its texture
    Texture const* straight;
    std::optional<PooledTexture> multiplied;
};

}  // namespace Kaltor::Ogl

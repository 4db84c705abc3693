#pragma once

#include <cstdint>

#include <boost/intrusive_ptr.hpp>

#include "Ogl/DataVideoOGL.h"

namespace Kaltor::Embed {

/// A texture of the caller's; see `TextureView`.
struct SharedTexture {
    unsigned name;
    std::uint32_t width;
    std::uint32_t height;
    bool hasAlpha;
    bool isTopRowFirst;
};

/// A frame that is filled from the texture when its tasks are run.
boost::intrusive_ptr<Ogl::DataVideoOGL> MakeFrame(SharedTexture const& source);

/// Draws the frame and fills a texture of its size with it; finished when this returns. Throws what the frame's tasks
/// throw, and `std::invalid_argument` for a texture that cannot be drawn to.
void FillTexture(boost::intrusive_ptr<Ogl::DataVideoOGL> const& frame, SharedTexture const& target);

}  // namespace Kaltor::Embed

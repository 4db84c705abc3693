#pragma once

#include <algorithm>
#include <cstdint>

#include "Ogl/Frame.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

/// How many times finer than `like` a picture is drawn before it is made smaller: twice, or where no texture is that
/// large, not at all. GL thread only.
inline std::uint32_t GetFineness(Frame const& like) {
    auto const limit = static_cast<std::uint32_t>(OglManager::GetInstance().GetInfo().maxTextureSize);
    return std::max(like.GetWidth(), like.GetHeight()) <= limit / 2 ? 2 : 1;
}

}  // namespace Kaltor::Ogl

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>

#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

/// Keeps the textures of destroyed frames for new ones. A texture can be given back on any thread.
class TexturePool {
public:
    /// A texture of this form, whose content counts as transparent black. GL thread.
    Texture Take(TextureForm const& form);
    void GiveBack(Texture texture) noexcept;
    /// Deletes the idle textures.
    void Clear() noexcept;
    /// The number of idle textures.
    std::size_t GetIdleCount() const;

private:
    static constexpr std::size_t kMostIdleBytes = std::size_t{512} << 20U;

    mutable std::mutex mutex;
    std::list<Texture> idle;  ///< most recently used first
    std::size_t idleBytes = 0;
};

/// A texture from the manager's pool, to which it goes back. Taken on the GL thread; may be destroyed on any.
class PooledTexture {
public:
    explicit PooledTexture(TextureForm const& form);
    PooledTexture(PooledTexture&&) noexcept = default;
    PooledTexture& operator=(PooledTexture&&) = delete;
    ~PooledTexture();

    Texture const& Get() const { return texture; }

private:
    Texture texture;
};

}  // namespace Kaltor::Ogl

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>

#include "Ogl/Texture.h"

namespace Kaltor::Ogl {

/// Keeps the textures of frames that are gone for frames to come. Giving back works on any thread.
class TexturePool {
public:
    /// A texture of this form, whose content counts as transparent black. GL thread.
    Texture Take(TextureForm const& form);
    void GiveBack(Texture texture) noexcept;
    /// Deletes what lies idle.
    void Clear() noexcept;
    /// Textures that lie idle.
    std::size_t GetIdleCount() const;

private:
    static constexpr std::size_t kMostIdleBytes = std::size_t{512} << 20U;

    mutable std::mutex mutex;
    std::list<Texture> idle;  ///< most recently used first
    std::size_t idleBytes = 0;
};

/// A texture on loan from the manager's pool, which it goes back to. Taken on the GL thread; may die on any.
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

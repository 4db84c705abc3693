#include "Ogl/TexturePool.h"

#include <algorithm>
#include <utility>

#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {

Texture TexturePool::Take(TextureForm const& form) {
    {
        std::lock_guard const lock(mutex);
        auto const found = std::find_if(idle.begin(), idle.end(),
                                        [&form](Texture const& texture) { return texture.GetForm() == form; });
        if (found != idle.end()) {
            Texture texture = std::move(*found);
            idle.erase(found);
            idleBytes -= form.GetBytes();
            texture.SetFresh(true);
            return texture;
        }
    }
    return Texture(form);
}

void TexturePool::GiveBack(Texture texture) noexcept {
    std::list<Texture> surplus;
    std::lock_guard const lock(mutex);
    idleBytes += texture.GetForm().GetBytes();
    idle.push_front(std::move(texture));
    while (idleBytes > kMostIdleBytes) {
        idleBytes -= idle.back().GetForm().GetBytes();
        surplus.splice(surplus.begin(), idle, std::prev(idle.end()));
    }
}

void TexturePool::Clear() noexcept {
    std::list<Texture> all;
    std::lock_guard const lock(mutex);
    all.swap(idle);
    idleBytes = 0;
}

PooledTexture::PooledTexture(TextureForm const& form)
    : texture(OglManager::GetInstance().GetTexturePool().Take(form)) {}

PooledTexture::~PooledTexture() {
    if (texture) {
        OglManager::GiveBack(std::move(texture));
    }
}

std::size_t TexturePool::GetIdleCount() const {
    std::lock_guard const lock(mutex);
    return idle.size();
}

}  // namespace Kaltor::Ogl

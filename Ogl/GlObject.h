#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <epoxy/gl.h>

namespace Kaltor::Ogl {

enum class GlKind : std::uint8_t { Texture, Buffer, Framebuffer, Renderbuffer, Program };
constexpr std::size_t kGlKinds = 5;

/// Owns one name of a GL object. Made on the GL thread; may die on any thread: the manager deletes the name on the GL
/// thread.
class GlObject {
public:
    GlObject() = default;
    /// Generates a name of this kind. GL thread.
    explicit GlObject(GlKind objectKind);
    GlObject(GlObject&& other) noexcept : kind(other.kind), name(std::exchange(other.name, 0)) {}
    GlObject& operator=(GlObject&& other) noexcept {
        std::swap(kind, other.kind);
        std::swap(name, other.name);
        return *this;
    }
    ~GlObject();

    GLuint Get() const { return name; }
    explicit operator bool() const { return name != 0; }

private:
    GlKind kind = GlKind::Texture;
    GLuint name = 0;
};

/// How many objects of each kind exist now, and how many were ever made. Tests look for leaks and needless new objects.
struct GlObjectCounts {
    std::array<std::int64_t, kGlKinds> alive{};
    std::array<std::int64_t, kGlKinds> made{};

    std::int64_t Alive(GlKind kind) const { return alive[static_cast<std::size_t>(kind)]; }
    std::int64_t Made(GlKind kind) const { return made[static_cast<std::size_t>(kind)]; }
    bool operator==(GlObjectCounts const&) const = default;
};

/// Deletes a name at once. GL thread, for the manager.
void DeleteGlName(GlKind kind, GLuint name);

}  // namespace Kaltor::Ogl

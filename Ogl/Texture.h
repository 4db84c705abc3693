#pragma once

#include <cstddef>
#include <cstdint>

#include <epoxy/gl.h>

#include "Ogl/GlObject.h"

namespace Kaltor::Ogl {

/// What a texture's texels hold.
enum class TexelFormat : std::uint8_t {
    Rgba8,   ///< with alpha
    Rgbx8,   ///< opaque: alpha reads as 1 whatever is drawn
    R8,      ///< one plane of a YUV frame
    Rg8,     ///< interleaved chroma
    R16,     ///< one plane of more than 8 bits
    Rg16,    ///< tables of two numbers
    Rgba16,  ///< for intermediate results finer than 8 bits
    R32f,
    Rgba16f,  ///< deep pictures
    Rgbx16f,  ///< the same, opaque
};

/// Whether texels are finer than 8 bits and hold values above 1.
constexpr bool IsDeep(TexelFormat format) {
    return format == TexelFormat::Rgba16f || format == TexelFormat::Rgbx16f;
}
/// For intermediate results of a picture with such texels, with alpha: as fine as the picture, or finer.
constexpr TexelFormat LikeWithAlpha(TexelFormat picture) {
    return IsDeep(picture) ? TexelFormat::Rgba16f : TexelFormat::Rgba8;
}
constexpr TexelFormat FinerWithAlpha(TexelFormat picture) {
    return IsDeep(picture) ? TexelFormat::Rgba16f : TexelFormat::Rgba16;
}

/// Size, texel type and order in memory. Textures of equal form are interchangeable.
struct TextureForm {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    TexelFormat format = TexelFormat::Rgba8;
    bool isBlueFirst = false;

    std::size_t GetBytes() const;
    bool operator==(TextureForm const&) const = default;
};

enum class TextureFilter : std::uint8_t { Linear, Nearest };

/// A two-dimensional texture, clamped to its edge. GL thread only, except for the destructor.
class Texture {
public:
    Texture() = default;
    /// A texture with undefined content, which reads as transparent black from its first attachment on. Throws
    /// `std::runtime_error` if the size is beyond the GL's limit or memory runs out.
    explicit Texture(TextureForm const& textureForm);
    /// A table: one 32-bit float per texel, `width` * `height` of them, row by row from t = 0, sampled nearest.
    Texture(std::uint32_t width, std::uint32_t height, float const* data);

    /// Binds to a texture unit (-1: the active one) and sets the filter for sampling.
    void Use(int unit, TextureFilter filter = TextureFilter::Linear) const;
    /// Binds to unit 0 for a change of the texels.
    void Bind() const;

    TextureForm const& GetForm() const { return form; }
    GLuint GetName() const { return object.Get(); }
    explicit operator bool() const { return static_cast<bool>(object); }

    /// Whether alpha is always 1.
    bool IsOpaque() const { return form.format == TexelFormat::Rgbx8 || form.format == TexelFormat::Rgbx16f; }
    /// Whether nothing has been drawn or uploaded yet.
    bool IsFresh() const { return isFresh; }
    void SetFresh(bool value) const { isFresh = value; }

private:
    void SetFilter(TextureFilter filter) const;

    GlObject object;
    TextureForm form;
    mutable TextureFilter currentFilter = TextureFilter::Linear;
    mutable bool isFresh = true;
};

}  // namespace Kaltor::Ogl

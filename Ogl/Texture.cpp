#include "Ogl/Texture.h"

#include <array>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Ogl {
namespace {

struct TexelFacts {
    GLint internalFormat;
    GLenum format;
    GLenum type;
    std::size_t bytes;
};

/// The driver of software GL stores blue first only if it may choose the internal format; a sized format is stored red
/// first.
constexpr TexelFacts kBlueFirst{GL_RGBA, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, 4};

TexelFacts GetFacts(TextureForm const& form) {
    switch (form.format) {
        case TexelFormat::Rgba8:
            return form.isBlueFirst ? kBlueFirst : TexelFacts{GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 4};
        case TexelFormat::Rgbx8:
            // There is no fast layout without alpha. So the surface protects the alpha channel from drawing.
            return form.isBlueFirst ? kBlueFirst : TexelFacts{GL_RGB8, GL_RGB, GL_UNSIGNED_BYTE, 4};
        case TexelFormat::R8:
            return {GL_R8, GL_RED, GL_UNSIGNED_BYTE, 1};
        case TexelFormat::Rg8:
            return {GL_RG8, GL_RG, GL_UNSIGNED_BYTE, 2};
        case TexelFormat::R16:
            return {GL_R16, GL_RED, GL_UNSIGNED_SHORT, 2};
        case TexelFormat::Rg16:
            return {GL_RG16, GL_RG, GL_UNSIGNED_SHORT, 4};
        case TexelFormat::Rgba16:
            return {GL_RGBA16, GL_RGBA, GL_UNSIGNED_SHORT, 8};
        case TexelFormat::Rgba16f:
        case TexelFormat::Rgbx16f:  // as above
            return {GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT, 8};
        case TexelFormat::R32f:
            break;
    }
    return {GL_R32F, GL_RED, GL_FLOAT, 4};
}

/// Fills a texture that is sampled before anything was drawn to it.
void Clear(GLuint texture, bool isOpaque) {
    GLint before = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &before);
    GlObject const target(GlKind::Framebuffer);
    OglManager::FinishTarget();
    glBindFramebuffer(GL_FRAMEBUFFER, target.Get());
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    std::array<GLboolean, 4> mask{};
    glGetBooleanv(GL_COLOR_WRITEMASK, mask.data());
    ClearAttached(isOpaque);
    glColorMask(mask[0], mask[1], mask[2], mask[3]);
    OglManager::FinishTarget();
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(before));
}

}  // namespace

std::size_t TextureForm::GetBytes() const {
    return GetFacts(*this).bytes * width * height;
}

Texture::Texture(TextureForm const& textureForm) : form(textureForm) {
    int const limit = OglManager::GetInstance().GetInfo().maxTextureSize;
    if (form.width == 0 || form.height == 0 || form.width > static_cast<unsigned>(limit) ||
        form.height > static_cast<unsigned>(limit)) {
        Core::Throw(std::runtime_error(fmt::format(
            "a picture of {}x{} pixels cannot be drawn: both sides must be 1 to {}", form.width, form.height, limit)));
    }
    object = GlObject(GlKind::Texture);
    Bind();
    TexelFacts const facts = GetFacts(form);
    glTexImage2D(GL_TEXTURE_2D, 0, facts.internalFormat, static_cast<GLsizei>(form.width),
                 static_cast<GLsizei>(form.height), 0, facts.format, facts.type, nullptr);
    ThrowOnGlError("allocating a texture");
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    SetFilter(TextureFilter::Linear);
}

Texture::Texture(std::uint32_t width, std::uint32_t height, float const* data)
    : Texture(TextureForm{width, height, TexelFormat::R32f, false}) {
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height), GL_RED, GL_FLOAT,
                    data);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    ThrowOnGlError("filling a table texture");
    SetFilter(TextureFilter::Nearest);
    isFresh = false;
}

void Texture::Use(int unit, TextureFilter filter) const {
    OglManager::AssertOpenGLThread();
    if (isFresh) {
        Clear(object.Get(), IsOpaque());
        isFresh = false;
    }
    if (unit >= 0) {
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(unit));
    }
    glBindTexture(GL_TEXTURE_2D, object.Get());
    // Tables are always sampled at their texels.
    TextureFilter const wanted = form.format == TexelFormat::R32f ? TextureFilter::Nearest : filter;
    if (wanted != currentFilter) {
        SetFilter(wanted);
    }
}

void Texture::Bind() const {
    OglManager::AssertOpenGLThread();
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, object.Get());
}

void Texture::SetFilter(TextureFilter filter) const {
    GLint const value = filter == TextureFilter::Linear ? GL_LINEAR : GL_NEAREST;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, value);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, value);
    currentFilter = filter;
}

}  // namespace Kaltor::Ogl

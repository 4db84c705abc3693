#include "Adapters/Embed/TextureTransfer.h"

#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/GlObject.h"
#include "Ogl/GlState.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Embed {
namespace {

/// Copies a picture between two textures of one size, turned over where their rows run against each other.
void Blit(GLuint source, GLuint target, std::uint32_t width, std::uint32_t height, bool isTurned, bool isOpaque) {
    Ogl::Interlude const interlude;
    Ogl::GlObject const read(Ogl::GlKind::Framebuffer);
    Ogl::GlObject const draw(Ogl::GlKind::Framebuffer);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, read.Get());
    glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, source, 0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, draw.Get());
    glFramebufferTexture2D(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
    if (glIsTexture(source) == GL_FALSE || glIsTexture(target) == GL_FALSE ||
        glCheckFramebufferStatus(GL_READ_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE ||
        glCheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        Core::Throw(std::invalid_argument(
            "the texture is not one that can be drawn to, of a context that shares its objects (see ShareGl)"));
    }
    auto const right = static_cast<GLint>(width);
    auto const top = static_cast<GLint>(height);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glBlitFramebuffer(0, 0, right, top, 0, isTurned ? top : 0, right, isTurned ? 0 : top, GL_COLOR_BUFFER_BIT,
                      GL_NEAREST);
    if (isOpaque) {
        glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_TRUE);
        glClearColor(0.0F, 0.0F, 0.0F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
    }
}

class ReadTask final : public Ogl::IOglTask {
public:
    ReadTask(SharedTexture const& texture, Ogl::DataVideoOGL& target)
        : IOglTask(Ogl::OglCapability::Transfer, nullptr), source(texture), dst(&target) {}

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const&) override {
        Ogl::Texture const& texture = dst->FrameData().GetFirstTexture();
        Blit(source.name, texture.GetName(), source.width, source.height, source.isTopRowFirst, !source.hasAlpha);
        texture.SetFresh(false);
    }

private:
    SharedTexture source;
    Ogl::DataVideoOGL* dst;  // owns this task
};

}  // namespace

boost::intrusive_ptr<Ogl::DataVideoOGL> MakeFrame(SharedTexture const& source) {
    boost::intrusive_ptr<Ogl::DataVideoOGL> frame =
        Ogl::DataVideoOGL::Create(source.hasAlpha ? kAlphaFormat : kOpaqueFormat, {source.width, source.height, 1, 1});
    frame->AttachTask({new ReadTask(source, *frame)});
    return frame;
}

void FillTexture(boost::intrusive_ptr<Ogl::DataVideoOGL> const& frame, SharedTexture const& target) {
    frame->Execute();
    Ogl::OglManager::GetInstance().Invoke([&](Ogl::ShaderStorage const& storage) {
        Ogl::Frame const picture = frame->FrameData().ConvertToRGBA(storage);
        Ogl::Texture const& texture = picture.GetFirstTexture();
        bool const isOpaque = !PixFmtDescription::Find(frame->GetPixFmt()).HasAlpha();
        Blit(texture.GetName(), target.name, target.width, target.height, target.isTopRowFirst, isOpaque);
        glFinish();  // other contexts see it whole
    });
}

}  // namespace Kaltor::Embed

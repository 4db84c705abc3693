#include "Proc/Effects/Shared/Blend.h"

#include "Ogl/GlState.h"

namespace Kaltor::Ogl {

void AttachTarget(DataVideoOGL& target, ShaderStorage const& storage) {
    target.FrameData().AttachTo(storage.FBO());
}

void DrawUnchanged(DataVideoOGL& target, DataVideoOGL& source, ShaderStorage const& storage) {
    AttachTarget(target, storage);
    source.FrameData().Draw(storage.Quad(), storage);
}

Frame MakeScaled(Frame const& picture, std::uint32_t width, std::uint32_t height, ShaderStorage const& storage) {
    Frame scaled;
    scaled.Allocate(picture.GetPixFmt(), width, height);
    storage.FBO().Attach(scaled.GetFirstTexture());
    picture.Draw(storage.Quad(), storage);
    return scaled;
}

void BlendConstantAlpha(Frame const& frame, double alpha, ShaderStorage const& storage) {
    EnableState const blend(GL_BLEND);
    glBlendColor(0.0F, 0.0F, 0.0F, static_cast<float>(alpha));
    glBlendFunc(GL_CONSTANT_ALPHA, GL_ONE_MINUS_CONSTANT_ALPHA);
    frame.Draw(storage.Quad(), storage);
}

bool DrawAtRest(DataVideoOGL& target, DataVideoOGL& first, DataVideoOGL& second, double progress,
                ShaderStorage const& storage) {
    if (progress > 0.0 && progress < 1.0) {
        return false;
    }
    DrawUnchanged(target, progress >= 1.0 ? second : first, storage);
    return true;
}

}  // namespace Kaltor::Ogl

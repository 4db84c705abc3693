#include "Proc/Effects/EffectsOgl/Blend.h"

#include <algorithm>
#include <cmath>

#include "Ogl/GlState.h"

namespace Kaltor::Ogl {

void AttachTarget(DataVideoOGL& target, ShaderStorage const& storage) {
    storage.FBO().Attach(target.FrameData().GetFirstTexture());
}

void DrawUnchanged(DataVideoOGL& target, DataVideoOGL& source, ShaderStorage const& storage) {
    AttachTarget(target, storage);
    source.FrameData().Draw(storage.Quad(), storage);
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

void SetScissor(glm::dvec4 const& area, std::uint32_t width, std::uint32_t height) {
    auto const floor = [](double at, std::uint32_t side) { return static_cast<GLint>(std::floor(at * side)); };
    auto const ceil = [](double at, std::uint32_t side) { return static_cast<GLint>(std::ceil(at * side)); };
    GLint const left = floor(area.x, width);
    GLint const bottom = floor(area.y, height);
    glScissor(left, bottom, std::max(ceil(area.z, width) - left, 0), std::max(ceil(area.w, height) - bottom, 0));
}

}  // namespace Kaltor::Ogl

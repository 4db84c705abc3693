#include "Proc/Effects/EffectsOgl/Effects/Backdrop.h"

#include <algorithm>
#include <cmath>

#include "Ogl/GlState.h"
#include "Proc/Effects/EffectsOgl/Effects/EffectBlur.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/QuadBuilders.h"

namespace Kaltor::Ogl {

Src MakeBackdrop(DataVideoOGL const& frame, Frame const& picture, ShaderStorage const& storage) {
    constexpr double kLargestSide = 200.0;
    constexpr double kSmaller = 0.6;  // at least, so that the picture is reduced, by means over alpha
    constexpr double kBlur = 0.035;
    constexpr float kLow = 0.125F;
    constexpr float kHigh = 1.0F - kLow;
    double const side = std::min(kLargestSide, kSmaller * std::max(picture.GetWidth(), picture.GetHeight()));
    double const aspect = GetDisplayAspect(frame.GetFrameInfo());
    auto const scale = [side](double share) {
        return static_cast<std::uint32_t>(std::max(1L, std::lround(side * std::min(share, 1.0))));
    };
    Conf::FrameInfo const info{scale(aspect), scale(1.0 / aspect), 1, 1};
    PixFmt const format = picture.GetPixFmt();
    Src const small = DataVideoOGL::Create(format, info);
    Src blurred = DataVideoOGL::Create(format, info);
    Quad quad(GL_STREAM_DRAW);
    quad.SetCorners({kLow, kLow, -1, -1, kHigh, kLow, 1, -1, kHigh, kHigh, 1, 1, kLow, kHigh, -1, 1});
    AttachTarget(*small, storage);
    {
        EnableState const blend(GL_BLEND);
        glBlendFuncSeparate(GL_SRC_ALPHA, GL_ZERO, GL_ONE, GL_ZERO);
        picture.Draw(quad, storage);
    }
    EffectBlur(kBlur).Processing(blurred.get(), small, 0.0, 0.0, storage, nullptr);
    return blurred;
}

}  // namespace Kaltor::Ogl

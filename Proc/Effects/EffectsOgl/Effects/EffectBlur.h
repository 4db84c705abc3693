#pragma once

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {

/// Separable Gaussian blur, straight through all four channels. Embedded by effects that need a blurred picture.
class EffectBlur final : public EffectWithSettings<Proc::SettingsEffectBlurGaussian> {
public:
    EffectBlur() = default;
    explicit EffectBlur(double scale) { settings.SetScale(scale); }

    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override;
    bool WorksInMemory(Conf::FrameInfo const&) const override { return true; }
};

}  // namespace Kaltor::Ogl

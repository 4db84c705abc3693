#pragma once

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Settings/SettingsColorEffects.h"

namespace Kaltor::Ogl {

/// Fades with `progress` from nothing at 0 to the picture itself at 1: by alpha if the output has it, else from black.
/// Embedded by transitions that fade.
class EffectFadeInFadeOut final : public EffectWithSettings<Proc::SettingsEffectVideoFadeInFadeOut> {
public:
    bool WorksOnPlanes() const override { return true; }
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override;
};

}  // namespace Kaltor::Ogl

#pragma once

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Settings/SettingsFilterEffects.h"

namespace Kaltor::Ogl {

/// The edges of a picture as lines on an even ground. Embedded by effects that draw.
class EffectFindEdges final : public EffectWithSettings<Proc::SettingsEffectFindEdges> {
public:
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const& storage,
                    OglCache* cache) const override;
    bool WorksInMemory(Conf::FrameInfo const& info) const override;
};

}  // namespace Kaltor::Ogl

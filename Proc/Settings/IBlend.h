#pragma once

#include "Proc/Interfaces/ITwoInputEffect.h"

namespace Kaltor::Proc {

struct SettingsEffectImageBlender;

/// Lays pictures over a base. `ProcessData` of a list takes the base and any number of overlays.
class IBlend : public ITwoInputEffectVideo {
public:
    using ITwoInputEffectVideo::SetSettings;
    virtual void SetSettings(SettingsEffectImageBlender const& settings) = 0;

    /// Like those of `IResize`.
    static Core::Property Settings2Property(SettingsEffectImageBlender const& settings);
    static SettingsEffectImageBlender Property2Settings(Core::Property const& property);
};

}  // namespace Kaltor::Proc

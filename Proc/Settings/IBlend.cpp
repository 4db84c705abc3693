#include "Proc/Settings/IBlend.h"

#include "Proc/Settings/SettingsProperty.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Proc {

Core::Property IBlend::Settings2Property(SettingsEffectImageBlender const& settings) {
    return ToProperty(settings);
}

SettingsEffectImageBlender IBlend::Property2Settings(Core::Property const& property) {
    SettingsEffectImageBlender settings;
    FromProperty(settings, property);
    return settings;
}

}  // namespace Kaltor::Proc

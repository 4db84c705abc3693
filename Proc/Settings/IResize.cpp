#include "Proc/Settings/IResize.h"

#include <array>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Proc/Settings/SettingsProperty.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Proc {

Core::Property IResize::Settings2Property(SettingsResizer const& settings) {
    Core::Property property = ToProperty(settings);
    property.SetChild("implName", Core::Property::Of(settings.GetImplName()));
    return property;
}

SettingsResizer IResize::Property2Settings(Core::Property const& property) {
    SettingsResizer settings;
    FromProperty(settings, property);
    if (property.HasChild("implName")) {
        settings.SetImplName(property.GetChild("implName").Get<std::string>());
    }
    return settings;
}

std::string IResize::ResizeMethods2String(int method) {
    static constexpr std::array kNames{"nearest", "bilinear", "bicubic"};
    if (method < 0 || method >= static_cast<int>(kNames.size())) {
        Core::Throw(std::invalid_argument(fmt::format("there is no interpolation method {}", method)));
    }
    return kNames[static_cast<std::size_t>(method)];
}

}  // namespace Kaltor::Proc

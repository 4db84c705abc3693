#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionCrossfade final : public SettingsOf<SettingsTransitionCrossfade> {
public:
    static inline std::string const CLASS_ID = "TransitionCrossfade";

    static std::vector<Field> DeclareFields() { return {}; }
};

}  // namespace Kaltor::Proc

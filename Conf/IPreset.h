#pragma once

#include <string>

namespace Kaltor::Conf {

/// Keys of saved presets.
struct IPreset {
    static inline std::string const KEY_TYPE_ID = "typeId";
};

}  // namespace Kaltor::Conf

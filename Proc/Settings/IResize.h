#pragma once

#include <cstdint>
#include <string>

#include "Proc/Interfaces/IOneInputEffect.h"

namespace Kaltor::Proc {

struct SettingsResizer;

/// Margins in pixels that are cut from a picture or left free around it.
struct CropInfo {
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    std::uint32_t top = 0;
    std::uint32_t bottom = 0;

    bool operator==(CropInfo const&) const = default;
};

/// Brings pictures to another size.
class IResize : public IOneInputEffectVideo {
public:
    using IOneInputEffectVideo::SetSettings;
    virtual void SetSettings(SettingsResizer const& settings) = 0;

    /// Converts the settings to a tree with a child for each field, and back. `Property2Settings` keeps the defaults of
    /// fields that are missing and throws `std::invalid_argument` for a tree of another class.
    static Core::Property Settings2Property(SettingsResizer const& settings);
    static SettingsResizer Property2Settings(Core::Property const& property);
    /// The name of an interpolation method: 0 nearest, 1 bilinear, 2 bicubic. Throws `std::invalid_argument` for
    /// others.
    static std::string ResizeMethods2String(int method);
};

}  // namespace Kaltor::Proc

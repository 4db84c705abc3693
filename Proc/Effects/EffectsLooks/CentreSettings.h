#pragma once

#include <glm/vec2.hpp>

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// Settings of what happens around a point of the picture.
template <typename Derived>
struct CentreSettings : SettingsOf<Derived> {
    double x = 0.5;
    double y = 0.5;

    /// In texture coordinates.
    glm::vec2 GetCentre() const { return {static_cast<float>(x), static_cast<float>(y)}; }

protected:
    static Field DeclareX() { return CentreSettings::template Declare<&Derived::x>(0.0, 1.0, "centre, from the left"); }
    static Field DeclareY() { return CentreSettings::template Declare<&Derived::y>(0.0, 1.0, "centre, from below"); }
};

}  // namespace Kaltor::Proc

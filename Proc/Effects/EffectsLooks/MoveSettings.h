#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

/// Settings of what moves with weight. The derived class has the members that it declares: defaults differ.
template <typename Derived>
struct WeightSettings : SettingsOf<Derived> {
protected:
    static Field DeclareEase(std::string_view help = "how sharply it speeds up and brakes; 1 is steady") {
        return WeightSettings::template Declare<&Derived::ease>(1.0, 6.0, help);
    }
    static Field DeclareOvershoot(double most = 0.3,
                                  std::string_view help = "how far it goes beyond its goal before it settles") {
        return WeightSettings::template Declare<&Derived::overshoot>(0.0, most, help);
    }
    static Field DeclareBlur() {
        return WeightSettings::template Declare<&Derived::blur>(0.0, 1.0, "how long the shutter is open");
    }
};

/// The same with a direction, named by where a viewer sees things go.
template <typename Derived>
struct MoveSettings : WeightSettings<Derived> {
    enum class Direction : std::int32_t { Left, Right, Up, Down };

    Direction direction = Direction::Left;

protected:
    static Field DeclareDirection(std::string_view help) {
        return MoveSettings::template Declare<&Derived::direction>(
            {{Direction::Left, "left"}, {Direction::Right, "right"}, {Direction::Up, "up"}, {Direction::Down, "down"}},
            help);
    }
};

}  // namespace Kaltor::Proc

#pragma once

#include <cstdint>
#include <string>

#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {

/// What flies, and how it moves. A shape is drawn by its distance field, in its own plane, which turns in space.
struct FlyingShape {
    char const* name;
    char const* fragment;  ///< what its fragment program adds to the common part: `vec4 Draw(vec2 p)`
    int spin;              ///< fastest turn in its own plane, turns a minute
    int tumble;            ///< fastest turn out of its plane, turns a minute
    float tilt;            ///< how far it turns out of its plane, radians; 0: all around
    float rock;            ///< how far it leans to where it sways, radians
    float sway;            ///< how far it sways, in radii
    int swayRate;          ///< fastest sway, a minute
    bool isUpright;        ///< turns about its own vertical axis; else about any
};

/// The shape of `kind` as in `SettingsEffectFlyingObjects`.
FlyingShape const& GetFlyingShape(Proc::SettingsEffectFlyingObjects::Kind kind);

extern char const* const kFlyingVertex;
/// The whole fragment program of a shape.
std::string MakeFlyingFragment(FlyingShape const& shape);

}  // namespace Kaltor::Ogl

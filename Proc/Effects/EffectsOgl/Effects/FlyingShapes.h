#pragma once

#include <array>
#include <cstdint>

#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

#include "Ogl/VertexLayout.h"
#include "Proc/Settings/SettingsStyleEffects.h"

namespace Kaltor::Ogl {

/// What flies, and how it moves. A shape is drawn by its distance field, in its own plane, which turns in space.
struct FlyingShape {
    char const* name;
    char const* fragment;  ///< what its program adds to the common part: `vec4 Draw(vec2 p)`
    int spin;              ///< fastest turn in its own plane, turns per minute
    int tumble;            ///< fastest turn out of its plane, turns per minute
    float tilt;            ///< how far it turns out of its plane, radians; 0: all around
    float rock;            ///< how far it leans to where it sways, radians
    float sway;            ///< how far it sways, in radii
    int swayRate;          ///< fastest sway, swings per minute
    bool isUpright;        ///< turns about its own vertical axis; else about any axis
};

/// The shape of `kind` as in `SettingsEffectFlyingObjects`; snow is soft flakes or crystals.
FlyingShape const& GetFlyingShape(Proc::SettingsEffectFlyingObjects::Kind kind, bool crystals);

/// A corner of an object.
struct FlyingVertex {
    glm::vec2 start;   ///< across its way and along it, 0 to 1
    float pace;        ///< laps in the time that the nearest ones make 64
    glm::vec3 random;  ///< the object's random numbers, 0 to 1
    glm::vec2 corner;  ///< of its quad, -1 or 1

    static constexpr std::array<VertexAttribute, 4> kLayout{
        {{"start", 2}, {"pace", 1}, {"random", 3}, {"quad_corner", 2}}};
};

extern char const* const kFlyingVertex;
/// A shape's fragment program begins with the first text and ends with the second.
extern char const* const kFlyingBegin;
extern char const* const kFlyingEnd;

}  // namespace Kaltor::Ogl

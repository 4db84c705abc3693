#pragma once

// What every source file of a look includes. It ends with `template void
// AddEffect<EffectName>(Proc::IEffectRegistry&);` or the same for a transition, so that neither its class nor its
// settings need a header.

#include <algorithm>
#include <cmath>
#include <numbers>

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/mat2x2.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include "Ogl/GlslText.h"
#include "Proc/Effects/EffectsLooks/Easing.h"
#include "Proc/Effects/EffectsLooks/LookRow.h"
#include "Proc/Effects/EffectsLooks/Pieces.h"
#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/Aspect.h"
#include "Proc/Effects/Shared/Blend.h"
#include "Proc/Effects/Shared/Pass.h"
#include "Proc/Effects/Shared/Premultiplied.h"
#include "Proc/Effects/Shared/Progress.h"
#include "Proc/Effects/Shared/Registration.h"

namespace Kaltor::Ogl {

namespace details {

template <typename Algorithm, typename S>
S SettingsOf(WithSettings<Algorithm, S> const*);

/// The settings class of an algorithm.
template <typename T>
using SettingsClass = decltype(SettingsOf(static_cast<T const*>(nullptr)));

}  // namespace details

template <typename T>
void AddEffect(Proc::IEffectRegistry& registry) {
    Proc::RegisterEffect<details::SettingsClass<T>, T>(registry);
}

template <typename T>
void AddTransition(Proc::IEffectRegistry& registry) {
    Proc::RegisterTransition<details::SettingsClass<T>, T>(registry);
}

}  // namespace Kaltor::Ogl

#pragma once

#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Ogl {

/// Makes one look known to the host: its settings class and its factory. Each source file instantiates this function
/// for its class (see Look.h); the registration needs only the class's name.
template <typename T>
void AddEffect(Proc::IEffectRegistry& registry);
template <typename T>
void AddTransition(Proc::IEffectRegistry& registry);

}  // namespace Kaltor::Ogl

#pragma once

#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Proc {

/// A CPU colour-space converter (libswscale) for `SettingsColorspaceConverter`: frames that are already in an accepted
/// format, and all that are not in main memory, pass unchanged.
boost::intrusive_ptr<IOneInputEffectVideo> CreateColorspaceConverter(
    boost::intrusive_ptr<IEffectFactory const> const& factory);

/// Registers the effects of the default implementation.
void RegisterDefaultEffects(IEffectRegistry& registry);

}  // namespace Kaltor::Proc

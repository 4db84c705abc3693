#pragma once

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

/// Scales, crops and letterboxes on the GPU (`SettingsResizer`): an `IResize`.
boost::intrusive_ptr<IOneInputEffectVideo> CreateResizeOGL(boost::intrusive_ptr<IEffectFactory const> const& factory);

}  // namespace Kaltor::Proc

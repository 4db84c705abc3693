#pragma once

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

/// Turns CPU frames into GPU frames: adds the upload to the new frame as a task. GPU frames pass unchanged.
boost::intrusive_ptr<IOneInputEffectVideo> CreateFrameUploader(
    boost::intrusive_ptr<IEffectFactory const> const& factory);

}  // namespace Kaltor::Proc

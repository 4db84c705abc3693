#pragma once

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

/// Turns GPU frames into CPU frames: runs the frame's pending tasks, downloads it and waits. CPU frames pass unchanged.
/// Not to be called on the GL thread.
boost::intrusive_ptr<IOneInputEffectVideo> CreateFrameDownloader(
    boost::intrusive_ptr<IEffectFactory const> const& factory);

}  // namespace Kaltor::Proc

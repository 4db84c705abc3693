#pragma once

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

/// Makes CPU frames of GPU frames: runs what is pending on the frame, downloads it and waits. CPU frames pass
/// unchanged. Not to be called on the GL thread.
boost::intrusive_ptr<IOneInputEffectVideo> CreateFrameDownloader(
    boost::intrusive_ptr<IEffectFactory const> const& factory);

}  // namespace Kaltor::Proc

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/ShaderFiles/ShaderFile.h"
#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Proc {

/// What shader files need of the program that runs them.
struct ShaderHost {
    /// Reads a picture, as Rgb24 or Rgba, for a uniform of the type sampler2D, or for a field of an effect.
    /// Without it those are refused.
    PictureReader readPicture;
    /// Is called, on a thread of its own, where the first frame of a file is not drawn within the time: its loops may
    /// never end, and nothing else stops them than the end of the process. Gets the file's name and its program's,
    /// which is another one once the file is changed.
    std::function<void(std::string const& name, std::string const& program)> onHang;
    std::chrono::milliseconds limit = std::chrono::seconds(30);
    /// Programs that were not drawn in time by a process before this one: drawing them throws `std::invalid_argument`.
    std::set<std::string> refused;
};

/// A new host effect that draws the file's `effect`. Throws `std::logic_error` for a transition.
boost::intrusive_ptr<IOneInputEffectVideo> MakeShaderEffect(boost::intrusive_ptr<IEffectFactory const> const& factory,
                                                            std::shared_ptr<ShaderFile const> const& file,
                                                            ShaderHost const& host);

/// A new host transition that draws the file's `transition`. Throws `std::logic_error` for an effect.
boost::intrusive_ptr<ITwoInputEffectVideo> MakeShaderTransition(
    boost::intrusive_ptr<IEffectFactory const> const& factory, std::shared_ptr<ShaderFile const> const& file,
    ShaderHost const& host);

}  // namespace Kaltor::Proc

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "Render/Render.h"

namespace Kaltor::Render {

/// What `make` gives, where it draws with the GL, from a process of its own; where that dies and the options ask for
/// it, once more with software GL, after a warning. Throws `WorkerDied`, and what `make` throws; see `Worker` for when
/// it may be called.
std::vector<std::uint8_t> MakeApart(Isolation const& isolation, std::function<std::vector<std::uint8_t>()> const& make,
                                    Media::WarningFn const& warn);

}  // namespace Kaltor::Render

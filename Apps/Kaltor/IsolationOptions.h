#pragma once

#include <optional>
#include <string>

#include "Apps/Kaltor/CommandLine.h"
#include "Render/Render.h"

namespace Kaltor::Cli {

/// Whether the GL works in a process of its own.
struct IsolationOptions {
    std::string isolate;
    double seconds = 30.0;

    void AddTo(Verb& verb);
    /// Empty where it works in this one. Throws `UsageError`.
    std::optional<Render::Isolation> Get() const;
};

}  // namespace Kaltor::Cli

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Edit/DocumentReader.h"
#include "Host/Catalog.h"
#include "Media/VideoReader.h"

namespace Kaltor::Edit {

/// What a conversion wants to know of a file.
struct FileFacts {
    double seconds = 0.0;  ///< of a video or a sound
    bool isStill = false;
    bool hasPicture = false;
    bool hasSound = false;
    std::int64_t pictures = 0;  ///< of a sequence, whose duration follows from its rate
    double aspect = 0.0;        ///< width by height, as shown
};

/// What a conversion from another program's document is given.
struct Conversion {
    Host::Catalog const& catalog;
    /// Looks at a file, named as the document names it. Nothing where it is missing or cannot be read.
    std::function<std::optional<FileFacts>(std::string const& file)> probe;
    /// Takes one line for each thing that has no counterpart, which begins with its place in the document.
    Media::WarningFn warn;
    Home home = {};
};

inline double InSeconds(Media::Microseconds time) {
    return std::chrono::duration<double>(time).count();
}

}  // namespace Kaltor::Edit

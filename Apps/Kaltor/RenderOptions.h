#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Apps/Kaltor/Catalog.h"
#include "Media/Render.h"

namespace Kaltor::Cli {

/// The options of `render` as they are typed.
struct RenderOptions {
    std::vector<std::string> clips;
    std::string output;
    std::vector<std::string> transitions;
    std::string transitionDuration = "1";
    std::string stillDuration = "3";
    std::vector<std::string> effects;
    std::string size;
    std::string rate;
    std::string codec;
    std::optional<int> crf;
    bool hasNoAudio = false;
    bool allowPlaylists = false;
    std::optional<unsigned> seed;
    bool overwrite = false;
};

/// The options as a job. Throws `UsageError` for what was typed wrongly.
Media::RenderJob MakeRenderJob(RenderOptions const& options, Catalog const& catalog);

}  // namespace Kaltor::Cli

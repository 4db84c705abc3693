#pragma once

#include <cstdint>
#include <optional>

#include "Render/Composer.h"
#include "Render/EffectStage.h"
#include "Render/Pipeline.h"

namespace Kaltor::Render {

/// Makes a plan's frames one after the other on the caller's thread, from the beginning again after the last one: for
/// measuring. Pictures are read on threads of their own.
class PlanRun {
public:
    PlanRun(Edit::Plan plan, FactoryPtr const& factory);

    /// Composes and draws so many frames. Returns when they are drawn.
    void Draw(int count);
    /// The same, with their way back to main memory.
    void DrawEndToEnd(int count);

private:
    FramePtr Next();

    Edit::Plan plan;
    FactoryPtr factory;
    Pipeline pipeline;
    std::optional<Composer> composer;
    Downloader downloader;
    std::int64_t position = 0;
};

}  // namespace Kaltor::Render

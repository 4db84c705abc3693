#include "Render/PlanRun.h"

#include "Ogl/DataVideoOGL.h"

namespace Kaltor::Render {

PlanRun::PlanRun(Edit::Plan wholePlan, FactoryPtr const& effectFactory)
    : plan(std::move(wholePlan)), factory(effectFactory), downloader(effectFactory, plan.target) {}

FramePtr PlanRun::Next() {
    if (!composer || position == plan.frames) {
        composer.reset();
        composer.emplace(plan, factory, pipeline, true, 0);
        position = 0;
    }
    Composed composed = composer->Next();
    if (composed.IsEmpty()) {
        pipeline.Rethrow();
    }
    FramePtr frame =
        composed.frame ? std::move(composed.frame) : MakeFrame(std::move(composed.picture), plan.time, position);
    ++position;
    return frame;
}

void PlanRun::Draw(int count) {
    for (int i = 0; i < count; ++i) {
        FramePtr const frame = Next();
        if (auto* const drawn = dynamic_cast<Ogl::DataVideoOGL*>(frame.get())) {
            drawn->Execute();
        }
    }
}

void PlanRun::DrawEndToEnd(int count) {
    for (int i = 0; i < count; ++i) {
        downloader.Process(Next());
    }
}

}  // namespace Kaltor::Render

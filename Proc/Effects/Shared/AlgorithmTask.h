#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include <boost/shared_ptr.hpp>

#include "Proc/Effects/Shared/Algorithms.h"

namespace Kaltor::Proc {

constexpr double kMicrosecondsPerSecond = 1'000'000.0;

/// One output frame of an algorithm with `kInputs` inputs, to be drawn on the GL thread. Keeps algorithm, cache and
/// inputs alive until it has run. The output frame owns the task.
template <typename Algorithm, std::size_t kInputs>
class AlgorithmTask final : public Ogl::IOglTask {
public:
    using Inputs = std::array<Ogl::Src, kInputs>;

    AlgorithmTask(boost::intrusive_ptr<Ogl::TaskTimer> timer, boost::shared_ptr<Algorithm> const& drawing,
                  boost::shared_ptr<Ogl::OglCache> const& kept, Inputs inputs, Ogl::DataVideoOGL& output,
                  double outputProgress)
        : IOglTask(Ogl::OglCapability::Render, std::move(timer)),
          algorithm(drawing),
          cache(kept),
          src(std::move(inputs)),
          dst(&output),
          time(static_cast<double>(output.GetTimestamp()) / kMicrosecondsPerSecond),
          progress(outputProgress) {}

    /// Releases the cache first, on the GL thread, then the inputs and the algorithm.
    ~AlgorithmTask() override {
        Ogl::DestroyOglCache(cache);
        DropReferences();
    }

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override {
        if (algorithm->WorksOnPlanes()) {
            std::optional<ColorSpec> const tags = dst->FindPlaneTags(src);
            if (tags && algorithm->SuitsPlanes({src[0]->GetFrameInfo(), *tags, progress})) {
                dst->DrawOnPlanes(*tags);
            }
        }
        if constexpr (kInputs == 1) {
            if (algorithm->WorksInMemory(src[0]->GetFrameInfo())) {
                dst->WriteInMemory(src);
            }
            algorithm->Processing(dst, src[0], time, progress, storage, cache.get());
        } else {
            algorithm->Processing(dst, src[0], src[1], time, progress, storage, cache.get());
        }
        DropReferences();
    }

private:
    void DropReferences() noexcept {
        for (Ogl::Src& input : src) {
            input.reset();
        }
        cache.reset();
        algorithm.reset();
    }

    boost::shared_ptr<Algorithm> algorithm;
    boost::shared_ptr<Ogl::OglCache> cache;
    Inputs src;
    Ogl::DataVideoOGL* dst;
    double time;
    double progress;
};

using EffectTask = AlgorithmTask<Ogl::IEffectAlgorithm, 1>;
using TransitionTask = AlgorithmTask<Ogl::ITransitionAlgorithm, 2>;

}  // namespace Kaltor::Proc

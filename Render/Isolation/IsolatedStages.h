#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "Edit/Plan.h"
#include "Render/FrameSink.h"
#include "Render/Isolation/FrameRing.h"
#include "Render/Isolation/Worker.h"
#include "Render/Pipeline.h"
#include "Render/Render.h"

namespace Kaltor::Render {

/// What a worker is to make.
struct Production {
    std::int64_t first = 0;  ///< of the frames
    std::uint32_t seed = 0;
    std::optional<Media::SoundFormat> sound;
};

/// The stages of a render up to the encoder in a process of their own, where files are decoded and the GL draws; here
/// pictures and sound come out, in memory that both have. Where it dies, a second process may go on with software GL,
/// at the frame at which the first one has stopped.
class IsolatedStages {
public:
    /// Runs in the worker: makes all that is wanted from the production's first frame on, and calls `beat` several
    /// times a second meanwhile.
    using Produce = std::function<void(Production const&, FrameSink&, Pipeline::Callbacks const&)>;

    /// Makes the processes, as copies of this one; see `Worker`. `reads`: files can be read again, by a second process.
    IsolatedStages(Isolation const& options, Conf::FrameInfo const& size, bool canReadAgain, Produce produce);

    /// The largest side of a picture that effects can take. Waits for the GL's start.
    std::uint32_t GetMaximumSide(std::function<bool()> const& isStopped);

    /// Writes all that comes into `sink`, on a thread of the pipeline's. Throws `WorkerDied`, and what the worker
    /// threw.
    void Receive(Production const& wanted, FrameSink& sink, Pipeline& pipeline);

    std::int64_t GetFrames() const { return frames; }

private:
    struct Attempt {
        std::shared_ptr<FrameRing> ring;
        std::unique_ptr<Worker> worker;
    };

    std::uint32_t Start(std::function<bool()> const& isStopped);
    /// False where the worker died and another one is to go on.
    bool ReceiveFrom(Production const& wanted, FrameSink& sink, Pipeline& pipeline);
    void Work(WorkerSide& side, FrameRing& ring, bool onSoftware) const;

    Isolation isolation;
    Produce produce;
    std::vector<Attempt> attempts;  ///< the one that runs first, then those that wait
    std::size_t current = 0;
    bool hasStarted = false;
    std::int64_t frames = 0;  ///< that were written
    std::size_t samples = 0;  ///< written since the last frame
};

}  // namespace Kaltor::Render

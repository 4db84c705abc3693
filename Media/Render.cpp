#include "Media/Render.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Composer.h"
#include "Media/MediaWriter.h"
#include "Media/SoundMixer.h"
#include "Ogl/DataVideoOGL.h"

namespace Kaltor::Media {
namespace {

/// Frames between two stages: one that is worked on at each side, one waiting.
constexpr std::size_t kBetweenStages = 2;
constexpr std::size_t kBeforeEncoder = 4;
constexpr std::size_t kSoundAhead = 8;
/// In samples: a stop waits for one at most.
constexpr std::size_t kLongestChunk = 8192;

using SoundChunk = std::vector<std::vector<float>>;

bool NeedsEffects(RenderJob const& job, Timeline const& timeline) {
    bool needs = !job.effects.empty();
    for (PlannedClip const& clip : timeline.clips) {
        needs = needs || clip.fadeIn > 0 || NeedsSizing(clip.info.frame, timeline.target);
    }
    return needs;
}

void CheckSide(RenderJob const& job, Timeline const& timeline) {
    if (!job.getMaximumSide) {
        return;
    }
    std::uint32_t const side = job.getMaximumSide();
    auto const check = [side](std::string const& path, Conf::FrameInfo const& frame) {
        if (frame.width > side || frame.height > side) {
            Core::Throw(MediaError(
                fmt::format("{}: {}x{} is too large for effects here; the largest side possible is {} pixels", path,
                            frame.width, frame.height, side)));
        }
    };
    check(job.size ? job.output : timeline.clips.front().path, timeline.target.frame);
    for (PlannedClip const& clip : timeline.clips) {
        check(clip.path, clip.info.frame);
    }
}

WriterOptions MakeWriterOptions(RenderJob const& job, Timeline const& timeline, WarningFn const& warn) {
    WriterOptions options;
    options.path = job.output;
    options.overwrite = job.overwrite;
    options.video = timeline.target;
    options.codec = job.codec;
    options.crf = job.crf;
    options.sound = timeline.sound;
    options.warn = warn;
    return options;
}

std::uint32_t SeedFromClock() {
    return static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count());
}

/// The stages of one render and the queues between them. Decoding has threads of its own, a clip each (`ClipFeed`).
class Stages {
public:
    Stages(RenderJob const& renderJob, Timeline const& plan, FactoryPtr const& effectFactory, MediaWriter& output,
           Pipeline& threads)
        : job(renderJob),
          timeline(plan),
          factory(effectFactory),
          writer(output),
          pipeline(threads),
          composed(kBetweenStages, threads.GetStop()),
          drawn(kBetweenStages, threads.GetStop()),
          finished(kBeforeEncoder, threads.GetStop()),
          sound(kSoundAhead, threads.GetStop()) {}

    ~Stages() { pipeline.StopAndJoin(); }
    Stages(Stages const&) = delete;
    Stages& operator=(Stages const&) = delete;

    void Start(bool needsEffects) {
        pipeline.Start([this, needsEffects] { Compose(needsEffects); });
        if (needsEffects) {
            pipeline.Start([this] { Draw(); });
            pipeline.Start([this] { Download(); });
        }
        if (writer.GetSound()) {
            pipeline.Start([this] { MixSound(); });
        }
        pipeline.Start([this] { Encode(); });
    }

    std::int64_t GetProcessedFrames() const { return processedFrames; }

private:
    void Compose(bool needsEffects) {
        Composer composer(job, timeline, factory, pipeline, needsEffects, job.seed.value_or(SeedFromClock()));
        for (std::int64_t i = 0; i < timeline.frames; ++i) {
            Composed item = composer.Next();
            bool const isThere = item.picture || item.frame;
            if (!isThere || !(needsEffects ? composed.Push(std::move(item)) : finished.Push(std::move(item.picture)))) {
                return;
            }
        }
        (needsEffects ? composed.Close() : finished.Close());
    }

    /// Runs the GL work of frames in their order, while the one before is downloaded.
    void Draw() {
        while (std::optional<Composed> item = composed.Pop()) {
            if (auto* const frame = dynamic_cast<Ogl::DataVideoOGL*>(item->frame.get())) {
                frame->Execute();
            }
            if (!drawn.Push(std::move(*item))) {
                return;
            }
        }
        drawn.Close();
    }

    void Download() {
        Downloader downloader(factory, timeline.target);
        while (std::optional<Composed> item = drawn.Pop()) {
            if (item->frame) {
                item->picture = downloader.Process(std::move(item->frame));
                ++processedFrames;
            }
            if (!finished.Push(std::move(item->picture))) {
                return;
            }
        }
        finished.Close();
    }

    /// Samples that sound with a picture.
    std::size_t CountSamples(std::int64_t frame) const {
        int const rate = writer.GetSound()->sampleRate;
        return static_cast<std::size_t>(timeline.SampleOf(frame + 1, rate) - timeline.SampleOf(frame, rate));
    }

    /// Those of each picture, in chunks: a picture may stand for hours.
    void MixSound() {
        SoundMixer mixer(timeline, *writer.GetSound(), [this](std::string const& text) { pipeline.Warn(text); },
                         {job.allowPlaylists, pipeline.GetStop().GetFlag()});
        for (std::int64_t i = 0; i < timeline.frames; ++i) {
            for (std::size_t left = CountSamples(i); left > 0;) {
                std::size_t const count = std::min(left, kLongestChunk);
                if (!sound.Push(mixer.Read(count))) {
                    return;
                }
                left -= count;
            }
        }
        sound.Close();
    }

    void Encode() {
        std::int64_t done = 0;
        while (std::optional<Proc::AvFramePtr> const picture = finished.Pop()) {
            writer.WritePicture(**picture);
            if (writer.GetSound() && !WriteSound(CountSamples(done))) {
                return;
            }
            pipeline.ReportProgress(++done);
        }
        if (done == timeline.frames && !pipeline.GetStop().IsTripped()) {
            writer.Close();
        }
    }

    /// False where there is no more.
    bool WriteSound(std::size_t count) {
        while (count > 0) {
            std::optional<SoundChunk> const chunk = sound.Pop();
            if (!chunk) {
                return false;
            }
            std::vector<float const*> planes;
            for (std::vector<float> const& plane : *chunk) {
                planes.push_back(plane.data());
            }
            writer.WriteSound(planes.data(), chunk->front().size());
            count -= chunk->front().size();
        }
        return true;
    }

    RenderJob const& job;
    Timeline const& timeline;
    FactoryPtr factory;
    MediaWriter& writer;
    Pipeline& pipeline;
    BoundedQueue<Composed> composed;
    BoundedQueue<Composed> drawn;
    BoundedQueue<Proc::AvFramePtr> finished;
    BoundedQueue<SoundChunk> sound;
    std::int64_t processedFrames = 0;
};

}  // namespace

RenderResult Render(RenderJob const& job, FactoryPtr const& factory) {
    WarningFn const warn = [&job](std::string const& message) {
        if (job.onWarning) {
            job.onWarning(message);
        }
    };
    Timeline const timeline = Plan(job, warn);
    bool const needsEffects = NeedsEffects(job, timeline);
    if (needsEffects) {
        CheckSide(job, timeline);
    }
    MediaWriter writer(MakeWriterOptions(job, timeline, warn));
    if (timeline.sound && !writer.GetSound()) {
        warn(fmt::format("{}: this kind of file carries no sound; it is left out", job.output));
    }
    Pipeline pipeline;
    Stages stages(job, timeline, factory, writer, pipeline);
    stages.Start(needsEffects);
    pipeline.Run({[&](std::int64_t done) {
                      if (job.onProgress) {
                          job.onProgress(done, timeline.frames);
                      }
                  },
                  warn, [&job] { return job.cancel != nullptr && job.cancel->load(std::memory_order_relaxed); }});
    writer.Finish();
    return {timeline.frames,   timeline.target.frameRate,     timeline.target.frame,
            writer.GetCodec(), writer.GetSound().has_value(), stages.GetProcessedFrames()};
}

}  // namespace Kaltor::Media

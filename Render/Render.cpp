#include "Render/Render.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaWriter.h"
#include "Media/Sequence.h"
#include "Media/SequenceFiles.h"
#include "Ogl/DataVideoOGL.h"
#include "Render/Composer.h"
#include "Render/Isolation/IsolatedStages.h"
#include "Render/Losses.h"
#include "Render/OutputForm.h"
#include "Render/SoundMix.h"

namespace Kaltor::Render {
namespace {

using Media::BoundedQueue;
using Media::MediaError;
using Media::MediaWriter;
using Media::WarningFn;
using Media::WriterOptions;

/// Frames between two stages: one that is worked on at each side, one waiting.
constexpr std::size_t kBetweenStages = 2;
constexpr std::size_t kBeforeEncoder = 4;
constexpr std::size_t kSoundAhead = 8;
/// In samples: a stop waits for one at most.
constexpr std::size_t kLongestChunk = 8192;

using SoundChunk = std::vector<std::vector<float>>;

Edit::Plan MakePlan(RenderJob const& job, WarningFn const& warn) {
    return Edit::MakePlan(job.document, {job.allowPlaylists, job.documentName, job.cancel, warn});
}

void CheckSide(RenderJob const& job, Edit::Plan const& plan, std::uint32_t side) {
    auto const check = [side](std::string const& path, Conf::FrameInfo const& frame) {
        if (frame.width > side || frame.height > side) {
            Core::Throw(MediaError(
                fmt::format("{}: {}x{} is too large for effects here; the largest side possible is {} pixels", path,
                            frame.width, frame.height, side)));
        }
    };
    check(job.document.output.size ? job.output : plan.clips.front().feed.path, plan.target.frame);
    for (Edit::PlannedClip const& clip : plan.clips) {
        check(clip.feed.path, clip.feed.info.frame);
    }
    for (Edit::PlannedOverlay const& overlay : plan.overlays) {
        check(overlay.feed.path, overlay.feed.info.frame);
    }
}

/// Whether frames will be drawn, as far as the document alone says so.
bool IsDrawnInAnyCase(Edit::Document const& document) {
    auto const hasAny = [](std::vector<Edit::Effect> const& effects) {
        return std::any_of(effects.begin(), effects.end(), [](Edit::Effect const& effect) { return !effect.isMuted; });
    };
    auto const hasLook = [](std::optional<Edit::Joint> const& joint) { return joint && joint->settings; };
    if (hasAny(document.effects) || hasLook(document.opening) || hasLook(document.closing) ||
        !document.overlays.empty()) {
        return true;
    }
    for (std::size_t i = 0; i < document.clips.size(); ++i) {
        Edit::Clip const& clip = document.clips[i];
        bool const isLast = i + 1 == document.clips.size();
        Edit::Joint const& joint = clip.joint ? *clip.joint : document.joint;
        if (hasAny(clip.effects) || (!isLast && joint.settings)) {
            return true;
        }
    }
    return false;
}

/// The pictures of a sequence that are there already.
std::int64_t CountResumed(RenderJob const& job, Edit::Plan const& plan) {
    if (!job.isResumed) {
        return 0;
    }
    if (!Media::HasNumberPlace(job.output)) {
        Core::Throw(std::invalid_argument(
            fmt::format("{}: only a sequence of pictures, such as frame%04d.png, is resumed", job.output)));
    }
    std::int64_t const first = job.document.output.firstNumber;
    std::int64_t const count = Media::CountWritten(job.output, first);
    if (count > 0) {
        std::string const last = Media::MakeNumberedName(job.output, first + count - 1);
        Conf::FrameInfo const size = Media::Probe(last).frame;
        Conf::FrameInfo const& wanted = plan.target.frame;
        if (size.width != wanted.width || size.height != wanted.height) {
            Core::Throw(MediaError(fmt::format("{}: {}x{} is not the size of the video, {}x{}, so it is not resumed",
                                               last, size.width, size.height, wanted.width, wanted.height)));
        }
    }
    if (count >= plan.frames) {
        Core::Throw(MediaError(fmt::format("{}: all {} pictures are there already", job.output, count)));
    }
    return count;
}

/// The frames that are made: from the first up to the last, which is not among them.
Piece ChoosePiece(RenderJob const& job, Edit::Plan const& plan) {
    if (job.frames) {
        if (job.frames->first < 0 || job.frames->first >= job.frames->end || job.frames->end > plan.frames) {
            Core::Throw(std::invalid_argument(fmt::format("there are no frames {} to {}: the video has {}",
                                                          job.frames->first, job.frames->end, plan.frames)));
        }
        return {job.frames->first, job.frames->end};
    }
    if (!job.range) {
        return {CountResumed(job, plan), plan.frames, plan.isOpenEnded};
    }
    if (job.isResumed) {
        Core::Throw(std::invalid_argument("a range is not resumed: render it again, or all of the video"));
    }
    return FindPiece(*job.range, plan);
}

Media::Microseconds TimeOf(Edit::Plan const& plan, std::int64_t frame) {
    return Media::Microseconds(std::llround(plan.time.SecondsOf(frame) * AV_TIME_BASE));
}

/// One for each clip that shows in the piece.
std::vector<Media::Chapter> MakeChapters(Edit::Plan const& plan, Piece const& piece) {
    std::vector<Media::Chapter> chapters;
    for (Edit::PlannedClip const& clip : plan.clips) {
        if (clip.first >= piece.end || clip.GetEnd() <= piece.first) {
            continue;
        }
        std::int64_t const first = std::max<std::int64_t>(clip.first - piece.first, 0);
        std::string title = clip.title ? clip.title->text : std::filesystem::path(clip.GetName()).stem().string();
        if (title.empty()) {
            title = fmt::format("{}", chapters.size() + 1);
        }
        // A clip that ends in the first frame of the piece would make two chapters of the same time.
        if (!chapters.empty() && chapters.back().start == TimeOf(plan, first)) {
            chapters.pop_back();
        }
        chapters.push_back({TimeOf(plan, first), std::move(title)});
    }
    return chapters;
}

WriterOptions MakeWriterOptions(RenderJob const& job, Edit::Plan const& plan, Piece const& piece,
                                WarningFn const& warn) {
    WriterOptions options;
    static_cast<Media::EncoderSettings&>(options) = ChooseSettings(plan, job.document.output, job.output);
    options.path = job.output;
    options.overwrite = job.overwrite || job.isResumed;  // what comes after a gap is made again
    options.video = plan.target;
    options.hasPictures = job.content != RenderJob::Content::Sound;
    options.sound = job.content != RenderJob::Content::Pictures ? plan.sound : std::nullopt;
    options.hasChapters = options.hasChapters && job.content == RenderJob::Content::All;
    options.warn = warn;
    options.isVerbose = job.isVerbose;
    options.cancel = job.cancel;
    options.pictures = piece.isOpen ? 0 : piece.Count();
    options.keepsEach = job.isResumed;
    if (job.isResumed) {
        options.firstNumber += static_cast<std::uint32_t>(piece.first);
    }
    if (options.hasChapters) {
        if (piece.isOpen) {
            Core::Throw(
                std::invalid_argument("chapters need to know how long the video is, which a pipe does not say"));
        }
        options.chapters = MakeChapters(plan, piece);
        options.duration = TimeOf(plan, piece.Count());
    }
    return options;
}

std::uint32_t GetSeed(RenderJob const& job) {
    auto const clock = [] { return std::chrono::system_clock::now().time_since_epoch().count(); };
    return job.document.output.seed.value_or(static_cast<std::uint32_t>(clock()));
}

std::vector<float const*> PlanesOf(SoundChunk const& chunk) {
    std::vector<float const*> planes;
    for (std::vector<float> const& plane : chunk) {
        planes.push_back(plane.data());
    }
    return planes;
}

/// The output, in this process.
class WriterSink final : public FrameSink {
public:
    explicit WriterSink(MediaWriter& output) : writer(output) {}

    std::optional<Media::SoundFormat> GetSound() const override { return writer.GetSound(); }
    void WritePicture(AVFrame const& picture, bool isDrawn) override {
        writer.WritePicture(picture);
        processedFrames += isDrawn ? 1 : 0;
    }
    void WriteSound(float const* const* planes, std::size_t count) override { writer.WriteSound(planes, count); }
    void Close() override { writer.Close(); }

    std::int64_t GetProcessedFrames() const { return processedFrames; }

private:
    MediaWriter& writer;
    std::int64_t processedFrames = 0;
};

/// Keeps the last picture.
class PictureSink final : public FrameSink {
public:
    std::optional<Media::SoundFormat> GetSound() const override { return {}; }
    void WritePicture(AVFrame const& written, bool) override { picture = Proc::ShareAvFrame(written); }
    void WriteSound(float const* const*, std::size_t) override {}
    void Close() override {}

    Proc::AvFramePtr picture;
};

/// The stages of one render and the queues between them. Decoding has threads of its own, a clip each (`ClipFeed`).
class Stages {
public:
    Stages(RenderJob const& renderJob, Edit::Plan const& wholePlan, Piece const& wanted,
           FactoryPtr const& effectFactory, FrameSink& output, std::uint32_t seedOfJob, Pipeline& threads)
        : job(renderJob),
          plan(wholePlan),
          piece(wanted),
          factory(effectFactory),
          sink(output),
          seed(seedOfJob),
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
        if (sink.GetSound()) {
            pipeline.Start([this] { MixSound(); });
        }
        pipeline.Start([this] { Encode(); });
    }

    std::int64_t GetFrames() const { return done; }

private:
    struct Finished {
        Proc::AvFramePtr picture;
        bool isDrawn;
    };

    void Compose(bool needsEffects) {
        Composer composer(plan, factory, pipeline, needsEffects, seed, piece.first, piece.end);
        for (std::int64_t i = 0; i < piece.Count(); ++i) {
            Composed item = composer.Next();
            if (item.IsEmpty() && piece.isOpen && !pipeline.GetStop().IsTripped()) {
                break;
            }
            if (item.IsEmpty() ||
                !(needsEffects ? composed.Push(std::move(item)) : finished.Push({std::move(item.picture), false}))) {
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
        Downloader downloader(factory, plan.target);
        while (std::optional<Composed> item = drawn.Pop()) {
            bool const isDrawn = item->frame != nullptr;
            if (isDrawn) {
                item->picture = downloader.Process(std::move(item->frame));
            }
            if (!finished.Push({std::move(item->picture), isDrawn})) {
                return;
            }
        }
        finished.Close();
    }

    /// Samples that sound with a picture.
    std::size_t CountSamples(std::int64_t frame) const {
        int const rate = sink.GetSound()->sampleRate;
        return static_cast<std::size_t>(plan.time.SampleOf(frame + 1, rate) - plan.time.SampleOf(frame, rate));
    }

    std::size_t CountSamplesBefore(std::int64_t frame) const {
        return static_cast<std::size_t>(plan.time.SampleOf(frame, sink.GetSound()->sampleRate));
    }

    /// Those of each picture, in chunks: a picture may stand for hours.
    void MixSound() {
        SoundMix mixer(MakeSoundPlan(plan), *sink.GetSound(), [this](std::string const& text) { pipeline.Warn(text); },
                       {job.allowPlaylists, pipeline.GetStop().GetFlag()});
        // What comes before the range is mixed, too: what is heard depends on it.
        for (std::size_t left = CountSamplesBefore(piece.first); left > 0;) {
            std::size_t const count = std::min(left, kLongestChunk);
            mixer.Read(count);
            left -= count;
            if (pipeline.GetStop().IsTripped()) {
                return;
            }
        }
        for (std::int64_t i = piece.first; i < piece.end; ++i) {
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
        while (std::optional<Finished> const item = finished.Pop()) {
            sink.WritePicture(*item->picture, item->isDrawn);
            if (sink.GetSound() && !WriteSound(CountSamples(piece.first + done))) {
                return;
            }
            pipeline.ReportProgress(++done);
        }
        if ((done == piece.Count() || piece.isOpen) && !pipeline.GetStop().IsTripped()) {
            sound.Abort();  // no more is wanted than goes with the pictures
            sink.Close();
        }
    }

    /// False where there is no more.
    bool WriteSound(std::size_t count) {
        while (count > 0) {
            std::optional<SoundChunk> const chunk = sound.Pop();
            if (!chunk) {
                return false;
            }
            sink.WriteSound(PlanesOf(*chunk).data(), chunk->front().size());
            count -= chunk->front().size();
        }
        return true;
    }

    RenderJob const& job;
    Edit::Plan const& plan;
    Piece piece;
    FactoryPtr factory;
    FrameSink& sink;
    std::uint32_t seed;
    Pipeline& pipeline;
    BoundedQueue<Composed> composed;
    BoundedQueue<Composed> drawn;
    BoundedQueue<Finished> finished;
    BoundedQueue<SoundChunk> sound;
    std::int64_t done = 0;  ///< of the frames, by the encoder
};

/// The whole video's sound without its pictures, on a thread of the pipeline's.
void WriteSoundAlone(RenderJob const& job, Edit::Plan const& plan, MediaWriter& writer, Pipeline& pipeline) {
    SoundMix mixer(MakeSoundPlan(plan), *writer.GetSound(),
                   [&pipeline](std::string const& text) { pipeline.Warn(text); },
                   {job.allowPlaylists, pipeline.GetStop().GetFlag()});
    int const rate = writer.GetSound()->sampleRate;
    for (std::int64_t frame = 0; frame < plan.frames && !pipeline.GetStop().IsTripped(); ++frame) {
        auto left = static_cast<std::size_t>(plan.time.SampleOf(frame + 1, rate) - plan.time.SampleOf(frame, rate));
        while (left > 0) {
            SoundChunk const chunk = mixer.Read(std::min(left, kLongestChunk));
            writer.WriteSound(PlanesOf(chunk).data(), chunk.front().size());
            left -= chunk.front().size();
        }
        pipeline.ReportProgress(frame + 1);
    }
    writer.Close();
}

/// Whether all of it can be read more than once.
bool CanReadAgain(Edit::Plan const& plan) {
    auto const isPipe = [](auto const& part) { return part.feed.pipe != nullptr; };
    return std::none_of(plan.clips.begin(), plan.clips.end(), isPipe) &&
           std::none_of(plan.overlays.begin(), plan.overlays.end(), isPipe) &&
           std::none_of(plan.sounds.begin(), plan.sounds.end(),
                        [](PlannedSound const& sound) { return sound.pipe != nullptr; });
}

/// Warns of what is lost, or refuses it.
void ReportLosses(RenderJob const& job, Edit::Plan const& plan, WarningFn const& warn) {
    std::vector<Loss> const losses = FindLosses(job, plan, DescribeOutput(job, plan));
    if (job.isStrict && !losses.empty()) {
        std::string const more =
            losses.size() == 1
                ? std::string()
                : fmt::format(" (and {} more of what is lost, which --dry-run lists)", losses.size() - 1);
        Core::Throw(MediaError(losses.front().message + more));
    }
    for (Loss const& loss : losses) {
        warn(loss.message);
    }
}

}  // namespace

Piece FindPiece(RenderJob::Range const& range, Edit::Plan const& plan) {
    std::int64_t const first = plan.time.FrameAtSeconds(range.begin);
    std::int64_t const end = range.end ? std::min(plan.frames, plan.time.FrameAtSeconds(*range.end)) : plan.frames;
    if (first < 0 || first >= end) {
        Core::Throw(
            std::invalid_argument(fmt::format("the range from {:.3g} s on has no frame: the video lasts {:.3g} s",
                                              range.begin, plan.time.SecondsOf(plan.frames))));
    }
    return {first, end, plan.isOpenEnded};
}

RenderResult Render(RenderJob const& job, FactoryPtr const& factory) {
    WarningFn const warn = [&job](std::string const& message) {
        if (job.onWarning) {
            job.onWarning(message);
        }
    };
    std::future<std::uint32_t> side;
    if (job.plan == nullptr && job.content != RenderJob::Content::Sound && !job.isolation && job.getMaximumSide &&
        IsDrawnInAnyCase(job.document)) {
        try {
            side = std::async(std::launch::async, job.getMaximumSide);  // the GL starts while files are examined
        } catch (std::system_error const&) {
            // There are too many threads: it is asked later.
        }
    }
    Edit::Plan plan = job.plan == nullptr ? MakePlan(job, warn) : *job.plan;
    ChooseForm(plan, job.document.output, job.output);
    Piece const piece = ChoosePiece(job, plan);
    if (job.content == RenderJob::Content::All) {
        ReportLosses(job, plan, warn);
    }
    bool const makesPictures = job.content != RenderJob::Content::Sound;
    bool const needsEffects = makesPictures && NeedsDrawing(plan);
    auto const isCancelled = [&job] { return job.cancel != nullptr && job.cancel->load(std::memory_order_relaxed); };
    std::optional<IsolatedStages> isolated;
    if (needsEffects && job.isolation) {
        isolated.emplace(
            *job.isolation, plan.target.frame, CanReadAgain(plan),
            [&](Production const& wanted, FrameSink& sink, Pipeline::Callbacks const& callbacks) {
                if (!wanted.sound) {
                    plan.sounds.clear();
                }
                Pipeline threads;
                Stages stages(job, plan, {wanted.first, piece.end, piece.isOpen}, factory, sink, wanted.seed, threads);
                stages.Start(true);
                threads.Run(callbacks);
            });
        CheckSide(job, plan, isolated->GetMaximumSide(isCancelled));
    } else if (needsEffects && job.getMaximumSide) {
        CheckSide(job, plan, side.valid() ? side.get() : job.getMaximumSide());
    }
    if (job.onStart) {
        job.onStart(plan.target.frameRate);
    }
    Pipeline pipeline;
    WriterOptions options = MakeWriterOptions(job, plan, piece, warn);
    options.stop = pipeline.GetStop().GetFlag();
    MediaWriter writer(options);
    if (!makesPictures && !writer.GetSound()) {
        Core::Throw(std::invalid_argument(fmt::format("{}: there is no sound to write", job.output)));
    }
    if (!writer.GetSound()) {
        plan.sounds.clear();  // what a pipe gives for it would be kept for ever
    }
    if (makesPictures && !needsEffects && plan.target.like != AV_PIX_FMT_NONE) {
        plan.target = writer.GetForm();  // straight from the decoder to the encoder
    }
    WriterSink sink(writer);
    std::uint32_t const seed = GetSeed(job);
    Stages stages(job, plan, piece, factory, sink, seed, pipeline);
    if (isolated) {
        pipeline.Start([&] { isolated->Receive({piece.first, seed, writer.GetSound()}, sink, pipeline); });
    } else if (makesPictures) {
        stages.Start(needsEffects);
    } else {
        pipeline.Start([&] { WriteSoundAlone(job, plan, writer, pipeline); });
    }
    pipeline.Run({[&](std::int64_t done) {
                      if (job.onProgress) {
                          job.onProgress(done, piece.isOpen ? 0 : piece.Count());
                      }
                  },
                  warn, isCancelled});
    writer.Finish();
    RenderResult result;
    result.frames = isolated ? isolated->GetFrames() : stages.GetFrames();
    result.frameRate = plan.target.frameRate;
    result.frame = plan.target.frame;
    result.codec = writer.GetCodec();
    result.hasSound = writer.GetSound().has_value();
    result.container = writer.GetContainer();
    result.pixelFormat = writer.GetPixelFormat();
    result.sound = writer.GetSound();
    result.bytes = writer.GetSize();
    result.processedFrames = sink.GetProcessedFrames();
    result.soundDelay = writer.GetSoundDelay();
    return result;
}

std::vector<Media::Chapter> ListChapters(Edit::Plan const& plan) {
    return MakeChapters(plan, {0, plan.frames});
}

Proc::AvFramePtr RenderPicture(RenderJob const& job, double seconds, FactoryPtr const& factory) {
    WarningFn const warn = job.onWarning ? job.onWarning : [](std::string const&) {};
    Edit::Plan plan = MakePlan(job, warn);
    ChoosePictureForm(plan, job.document.output);
    // The frame that shows then, not the nearest one.
    constexpr double kRounding = 1e-6;
    auto const number = static_cast<std::int64_t>(std::floor((seconds + kRounding) * av_q2d(plan.time.frameRate)));
    if (number < 0 || number >= plan.frames) {
        Core::Throw(std::invalid_argument(fmt::format("there is no frame at {:.3g} s: the video lasts {:.3g} s",
                                                      seconds, plan.time.SecondsOf(plan.frames))));
    }
    bool const draws = NeedsDrawing(plan);
    auto const isCancelled = [&job] { return job.cancel != nullptr && job.cancel->load(std::memory_order_relaxed); };
    auto const make = [&](std::uint32_t seed, Pipeline::Callbacks const& callbacks) {
        Composed composed;
        Pipeline pipeline;
        pipeline.Start([&] {
            Composer composer(plan, factory, pipeline, draws, seed, number);
            composed = composer.Next();
            if (composed.frame) {
                composed.picture = Downloader(factory, plan.target).Process(std::move(composed.frame));
            }
        });
        pipeline.Run(callbacks);
        return std::move(composed.picture);
    };
    if (!draws || !job.isolation) {
        if (draws && job.getMaximumSide) {
            CheckSide(job, plan, job.getMaximumSide());
        }
        return make(GetSeed(job), {[](std::int64_t) {}, warn, isCancelled});
    }
    IsolatedStages isolated(*job.isolation, plan.target.frame, CanReadAgain(plan),
                            [&](Production const& wanted, FrameSink& sink, Pipeline::Callbacks const& callbacks) {
                                sink.WritePicture(*make(wanted.seed, callbacks), true);
                                sink.Close();
                            });
    CheckSide(job, plan, isolated.GetMaximumSide(isCancelled));
    PictureSink sink;
    Pipeline pipeline;
    pipeline.Start([&] { isolated.Receive({number, GetSeed(job), std::nullopt}, sink, pipeline); });
    pipeline.Run({[](std::int64_t) {}, warn, isCancelled});
    return std::move(sink.picture);
}

}  // namespace Kaltor::Render

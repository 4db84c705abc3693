#include "Render/Isolation/IsolatedStages.h"

#include <algorithm>

#include <fmt/format.h>

#include "Media/MediaError.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Render {
namespace {

// Messages to the worker.
constexpr std::uint32_t kStart = 0;    // no content: start the GL
constexpr std::uint32_t kProduce = 1;  // a Production
// Messages from the worker.
constexpr std::uint32_t kReady = 2;    // the largest side
constexpr std::uint32_t kPicture = 3;  // a SentPicture
constexpr std::uint32_t kSound = 4;    // samples of the first plane, then of the next one, and so on
constexpr std::uint32_t kWarning = 5;  // text
constexpr std::uint32_t kEnd = 6;      // no content

struct SentPicture {
    RingPicture picture;
    std::uint32_t isDrawn = 0;
};

class RemoteSink final : public FrameSink {
public:
    RemoteSink(Channel& toOther, FrameRing& shared, std::optional<Media::SoundFormat> const& soundFormat)
        : channel(toOther), ring(shared), sound(soundFormat) {}

    std::optional<Media::SoundFormat> GetSound() const override { return sound; }

    void WritePicture(AVFrame const& picture, bool isDrawn) override {
        SentPicture sent;
        sent.picture = ring.Put(picture);
        sent.isDrawn = isDrawn ? 1 : 0;
        channel.Send(kPicture, sent);
    }

    void WriteSound(float const* const* planes, std::size_t count) override {
        auto const channels = static_cast<std::size_t>(sound->channels);
        std::size_t const most = std::max<std::size_t>(Channel::kLongest / (sizeof(float) * channels), 1);
        for (std::size_t done = 0; done < count;) {
            std::size_t const now = std::min(most, count - done);
            buffer.clear();
            for (std::size_t i = 0; i < channels; ++i) {
                buffer.insert(buffer.end(), planes[i] + done, planes[i] + done + now);
            }
            channel.Send(kSound, buffer.data(), buffer.size() * sizeof(float));
            done += now;
        }
    }

    void Close() override { channel.Send(kEnd, nullptr, 0); }

private:
    Channel& channel;
    FrameRing& ring;
    std::optional<Media::SoundFormat> sound;
    std::vector<float> buffer;
};

/// Writes a message's samples, without the first `skipped` ones, of which those that were skipped are taken off.
void WriteSamples(Message const& message, FrameSink& sink, std::size_t& skipped, std::size_t& written) {
    auto const channels = static_cast<std::size_t>(sink.GetSound() ? sink.GetSound()->channels : 0);
    if (channels == 0 || message.content.size() % (sizeof(float) * channels) != 0) {
        throw std::runtime_error("the process that draws has sent something that is no sound");
    }
    std::vector<float> samples(message.content.size() / sizeof(float));
    std::copy_n(message.content.data(), message.content.size(), reinterpret_cast<std::uint8_t*>(samples.data()));
    std::size_t const count = samples.size() / channels;
    std::size_t const left = std::min(skipped, count);
    skipped -= left;
    if (left == count) {
        return;
    }
    std::vector<float const*> planes;
    for (std::size_t i = 0; i < channels; ++i) {
        planes.push_back(samples.data() + i * count + left);
    }
    sink.WriteSound(planes.data(), count - left);
    written += count - left;
}

}  // namespace

IsolatedStages::IsolatedStages(Isolation const& options, Conf::FrameInfo const& size, bool canReadAgain, Produce work)
    : isolation(options), produce(std::move(work)) {
    std::size_t const count = options.retries && canReadAgain ? 2 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        std::shared_ptr<FrameRing> const ring = FrameRing::Create(size.width, size.height);
        attempts.push_back(
            {ring, std::make_unique<Worker>([this, &ring, i](WorkerSide& side) { Work(side, *ring, i > 0); })});
    }
    attempts.front().worker->GetChannel().Send(kStart, nullptr, 0);
}

void IsolatedStages::Work(WorkerSide& side, FrameRing& ring, bool onSoftware) const {
    Channel& channel = side.GetChannel();
    Message message;
    if (!channel.Receive(message)) {
        return;  // not needed
    }
    if (onSoftware) {
        Ogl::OglManager::WantSoftware();
    }
    channel.Send(kReady, static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize));
    while (!channel.Wait(std::chrono::milliseconds(50))) {
        side.Beat();
    }
    if (!channel.Receive(message)) {
        return;
    }
    auto const wanted = message.As<Production>();
    RemoteSink sink(channel, ring, wanted.sound);
    produce(wanted, sink,
            {[](std::int64_t) {},
             [&channel](std::string const& text) {
                 channel.Send(kWarning, text.data(), std::min(text.size(), Channel::kLongest));
             },
             [&side] {
                 side.Beat();
                 return false;
             }});
}

std::uint32_t IsolatedStages::Start(std::function<bool()> const& isStopped) {
    Message const message =
        attempts[current].worker->Receive(std::max(isolation.limit, Worker::kLongestStart), isStopped);
    hasStarted = true;
    return message.As<std::uint32_t>();
}

std::uint32_t IsolatedStages::GetMaximumSide(std::function<bool()> const& isStopped) {
    try {
        return Start(isStopped);
    } catch (WorkerDied const&) {
        if (current + 1 == attempts.size()) {
            throw;
        }
    }
    ++current;
    attempts[current].worker->Wake();
    attempts[current].worker->GetChannel().Send(kStart, nullptr, 0);
    return Start(isStopped);
}

void IsolatedStages::Receive(Production const& wanted, FrameSink& sink, Pipeline& pipeline) {
    while (!ReceiveFrom(wanted, sink, pipeline)) {
    }
}

bool IsolatedStages::ReceiveFrom(Production const& wanted, FrameSink& sink, Pipeline& pipeline) {
    // A frame whose sound has come in part is made again, and what was written of it is left out.
    Production rest = wanted;
    bool const isAgain = frames > 0 && wanted.sound.has_value();
    rest.first += isAgain ? frames - 1 : frames;
    std::size_t skippedFrames = isAgain ? 1 : 0;
    std::size_t skippedSamples = isAgain ? samples : 0;
    Worker& worker = *attempts[current].worker;
    auto const isStopped = [&pipeline] { return pipeline.GetStop().IsTripped(); };
    try {
        if (!hasStarted) {
            Start(isStopped);
        }
        worker.Wake();
        worker.GetChannel().Send(kProduce, rest);
        while (true) {
            Message const message = worker.Receive(isolation.limit, isStopped);
            if (message.kind == kEnd) {
                sink.Close();
                return true;
            }
            if (message.kind == kWarning) {
                pipeline.Warn(std::string(message.content.begin(), message.content.end()));
            } else if (message.kind == kSound) {
                WriteSamples(message, sink, skippedSamples, samples);
            } else {
                auto const sent = message.As<SentPicture>();
                Proc::AvFramePtr const picture = attempts[current].ring->Take(sent.picture);
                if (skippedFrames > 0) {
                    --skippedFrames;
                    continue;
                }
                sink.WritePicture(*picture, sent.isDrawn != 0);
                samples = 0;
                pipeline.ReportProgress(++frames);
            }
        }
    } catch (WorkerDied const& death) {
        std::string const text = fmt::format("{}; {} frames were done", death.what(), frames);
        if (current + 1 == attempts.size()) {
            throw WorkerDied(current == 0 ? text : text + ", with software GL at last");
        }
        pipeline.Warn(text + ", and software GL goes on");
        ++current;
        hasStarted = false;
        attempts[current].worker->Wake();
        attempts[current].worker->GetChannel().Send(kStart, nullptr, 0);
        return false;
    }
}

}  // namespace Kaltor::Render

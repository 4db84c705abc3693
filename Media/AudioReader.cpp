#include "Media/AudioReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/StreamDecoder.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace Kaltor::Media {
namespace {

/// Timestamps are rounded by containers and jitter; less than this is no gap.
constexpr double kJitterSeconds = 0.010;

/// Samples a second. Beyond these nobody records, and a small file takes gigabytes to be converted.
constexpr int kLeastRate = 1'000;
constexpr int kMostRate = 10'000'000;

}  // namespace

class AudioReader::Impl {
public:
    Impl(std::string const& file, SoundFormat const& soundFormat, Microseconds clipStart, WarningFn warnFn,
         InputRules const& inputRules)
        : path(file),
          format(soundFormat),
          start(clipStart),
          warn(std::move(warnFn)),
          rules(inputRules),
          pending(static_cast<std::size_t>(soundFormat.channels)) {
        Open();
        Seek(true);
    }

    void Restart(std::int64_t sample) {
        offset = sample;
        resampler.reset();
        held.reset();
        pendingBegin = pendingCount = 0;
        silence = toSkip = produced = 0;
        expected = 0.0L;
        isEnded = false;
        Seek(false);
    }

    void SkipSilence() { silence = 0; }

    std::optional<std::int64_t> GetEnd() const { return isEnded ? std::optional(offset + produced) : std::nullopt; }

    void Read(float* const* planes, std::size_t count) {
        std::size_t done = 0;
        while (done < count) {
            std::size_t const left = count - done;
            if (pendingCount > 0) {
                std::size_t const taken = std::min(left, pendingCount);
                for (std::size_t c = 0; c < pending.size(); ++c) {
                    std::copy_n(pending[c].begin() + static_cast<std::ptrdiff_t>(pendingBegin), taken,
                                planes[c] + done);
                }
                pendingBegin += taken;
                pendingCount -= taken;
                done += taken;
            } else if (silence > 0 || isEnded) {
                std::size_t const taken =
                    isEnded
                        ? left
                        : static_cast<std::size_t>(std::min<std::int64_t>(silence, static_cast<std::int64_t>(left)));
                for (std::size_t c = 0; c < pending.size(); ++c) {
                    std::fill_n(planes[c] + done, taken, 0.0F);
                }
                silence -= isEnded ? 0 : static_cast<std::int64_t>(taken);
                done += taken;
            } else {
                DecodeMore();
            }
        }
    }

private:
    void Open() {
        decoder.reset();
        demuxer = std::make_unique<Demuxer>(path, rules);
        AVStream* const stream = demuxer->FindAudio();
        if (stream == nullptr) {
            Core::Throw(MediaError(path + ": has no sound"));
        }
        decoder = std::make_unique<StreamDecoder>(*demuxer, *stream);
    }

    /// To a little before the first sample: many codecs need some packets to settle.
    void Seek(bool isJustOpened) {
        constexpr std::array kEarlier{Microseconds(500'000), Microseconds(10'000'000)};
        Microseconds const begin =
            start + Microseconds(av_rescale(offset, AV_TIME_BASE, static_cast<std::int64_t>(format.sampleRate)));
        for (Microseconds const earlier : kEarlier) {
            if (begin <= earlier || !demuxer->Seek(decoder->GetStream(), begin - earlier)) {
                break;
            }
            decoder->Flush();
            held = decoder->Next();
            if (held && held->pts != AV_NOPTS_VALUE && ToPosition(held->pts) <= 0.0L) {
                return;
            }
        }
        // A pipe is read from its beginning in any case.
        if (!demuxer->IsPipe() && (!isJustOpened || begin > kEarlier.front())) {
            held.reset();
            Open();
        }
    }

    /// From the stream's time base to output samples from the first one.
    long double ToPosition(std::int64_t time) const {
        AVRational const base = decoder->GetStream().time_base;
        long double const seconds = static_cast<long double>(time) * base.num / base.den -
                                    static_cast<long double>(demuxer->GetOrigin() + start.count()) / AV_TIME_BASE;
        // Timestamps may be anything; sums of what is left here are whole numbers still.
        constexpr long double kFarthest = 1e17L;
        return std::clamp(seconds * format.sampleRate - static_cast<long double>(offset), -kFarthest, kFarthest);
    }

    void DecodeMore() {
        Proc::AvFramePtr frame = held ? std::move(held) : decoder->Next();
        ReportDamage();
        pendingBegin = 0;
        if (!frame) {
            Drain();
            resampler.reset();
            isEnded = pendingCount == 0;
            return;
        }
        bool const isSameForm = resampler && frame->sample_rate == inputRate && frame->format == inputFormat &&
                                frame->ch_layout.nb_channels == inputChannels;
        long double const position = frame->pts != AV_NOPTS_VALUE ? ToPosition(frame->pts) : expected;
        if (!isSameForm || std::abs(position - expected) > kJitterSeconds * format.sampleRate) {
            Drain();
            resampler.reset();
            if (pendingCount > 0) {
                held = std::move(frame);  // first what sounded before
                return;
            }
            BeginRun(*frame, position);
            if (silence > 0) {
                held = std::move(frame);
                return;
            }
        }
        Resample(frame.get());
        expected += static_cast<long double>(frame->nb_samples) * format.sampleRate / inputRate;
    }

    /// A stretch without gaps in one form.
    void BeginRun(AVFrame const& frame, long double position) {
        if (frame.sample_rate < kLeastRate || frame.sample_rate > kMostRate) {
            Core::Throw(MediaError(fmt::format("{}: its sound has {} samples a second; {} to {} can be converted", path,
                                               frame.sample_rate, kLeastRate, kMostRate)));
        }
        inputRate = frame.sample_rate;
        inputFormat = frame.format;
        inputChannels = frame.ch_layout.nb_channels;
        expected = position;
        auto const begin = static_cast<std::int64_t>(std::llround(position));
        silence = std::max<std::int64_t>(begin - produced, 0);
        toSkip = std::max<std::int64_t>(produced - begin, 0);
        produced += silence;

        AVChannelLayout from{};
        AVChannelLayout to{};
        if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
            av_channel_layout_default(&from, inputChannels);
        } else {
            av_channel_layout_copy(&from, &frame.ch_layout);
        }
        av_channel_layout_default(&to, format.channels);
        SwrContext* context = nullptr;
        ClearFfmpegLog();
        int result = swr_alloc_set_opts2(&context, &to, AV_SAMPLE_FMT_FLTP, format.sampleRate, &from,
                                         static_cast<AVSampleFormat>(inputFormat), inputRate, 0, nullptr);
        resampler.reset(context);
        if (result >= 0 && inputChannels == 1 && format.channels == 2) {
            // Both sides as loud as the one: FFmpeg's own matrix takes 3 dB off.
            constexpr std::array kBoth{1.0, 1.0};
            result = swr_set_matrix(context, kBoth.data(), 1);
        }
        if (result >= 0 && inputChannels > 1 && format.channels == 1) {
            // Half of the two sides' sum, where FFmpeg's own matrix keeps the power of unlike sides: what came from one
            // channel is as loud as before, and nothing clips.
            result = av_opt_set_double(context, "rematrix_volume", std::numbers::sqrt2 / 2.0, 0);
        }
        if (result >= 0) {
            result = swr_init(context);
        }
        av_channel_layout_uninit(&from);
        av_channel_layout_uninit(&to);
        if (result < 0) {
            ThrowMediaError(path, "its sound cannot be converted", result);
        }
    }

    void Drain() {
        if (resampler) {
            Resample(nullptr);
        }
    }

    void Resample(AVFrame const* frame) {
        int const room = swr_get_out_samples(resampler.get(), frame != nullptr ? frame->nb_samples : 0);
        std::size_t const used = pendingBegin + pendingCount;
        std::vector<std::uint8_t*> planes;
        for (std::vector<float>& plane : pending) {
            if (plane.size() < used + static_cast<std::size_t>(std::max(room, 0))) {
                plane.resize(used + static_cast<std::size_t>(std::max(room, 0)));
            }
            planes.push_back(reinterpret_cast<std::uint8_t*>(plane.data() + used));
        }
        ClearFfmpegLog();
        int const made =
            room <= 0 ? 0
                      : swr_convert(resampler.get(), planes.data(), room,
                                    frame != nullptr ? const_cast<std::uint8_t const**>(frame->extended_data) : nullptr,
                                    frame != nullptr ? frame->nb_samples : 0);
        if (made < 0) {
            ThrowMediaError(path, "its sound cannot be converted", made);
        }
        std::int64_t const skipped = std::min<std::int64_t>(toSkip, made);
        toSkip -= skipped;
        std::int64_t const kept = made - skipped;
        if (skipped > 0 && kept > 0) {
            for (std::vector<float>& plane : pending) {
                auto const begin = plane.begin() + static_cast<std::ptrdiff_t>(used);
                std::copy(begin + skipped, begin + made, begin);
            }
        }
        pendingCount += static_cast<std::size_t>(kept);
        produced += kept;
    }

    void ReportDamage() {
        if (isDamageReported || !decoder->GetDamage()) {
            return;
        }
        isDamageReported = true;
        if (warn) {
            std::int64_t const time = *decoder->GetDamage();
            long double const position = time == AV_NOPTS_VALUE ? static_cast<long double>(produced) : ToPosition(time);
            long double const seconds = (position + static_cast<long double>(offset)) / format.sampleRate +
                                        std::chrono::duration<long double>(start).count();
            warn(fmt::format("{}: sound damaged from {:.2f} s on ({}); there is silence where it is missing", path,
                             static_cast<double>(std::max(seconds, 0.0L)), decoder->GetDamageText()));
        }
    }

    std::string path;
    SoundFormat format;
    Microseconds start;
    WarningFn warn;
    InputRules rules;
    std::unique_ptr<Demuxer> demuxer;
    std::unique_ptr<StreamDecoder> decoder;
    SwrPtr resampler;
    int inputRate = 0;
    int inputFormat = -1;
    int inputChannels = 0;

    Proc::AvFramePtr held;                    ///< decoded, to come after what is pending
    std::vector<std::vector<float>> pending;  ///< per channel; the part from `pendingBegin` waits to be read
    std::size_t pendingBegin = 0;
    std::size_t pendingCount = 0;
    std::int64_t offset = 0;    ///< the number of the first sample
    std::int64_t silence = 0;   ///< samples of it to read after what is pending
    std::int64_t toSkip = 0;    ///< samples of the run that lie before what was read
    std::int64_t produced = 0;  ///< where the next sample goes, counted from the first
    long double expected = 0.0L;
    bool isEnded = false;
    bool isDamageReported = false;
};

AudioReader::AudioReader(std::string const& path, SoundFormat const& format, Microseconds start, WarningFn warn,
                         InputRules const& rules)
    : impl(std::make_unique<Impl>(path, format, start, std::move(warn), rules)) {}
AudioReader::~AudioReader() = default;

void AudioReader::Read(float* const* planes, std::size_t count) {
    impl->Read(planes, count);
}

void AudioReader::Restart(std::int64_t sample) {
    impl->Restart(sample);
}

void AudioReader::SkipSilence() {
    impl->SkipSilence();
}

std::optional<std::int64_t> AudioReader::GetEnd() const {
    return impl->GetEnd();
}

SoundInfo ProbeSound(std::string const& path, InputRules const& rules) {
    constexpr int kHighestRate = 192'000;      // headers may hold anything
    constexpr std::int64_t kLongest = 86'400;  // seconds beyond the declared end
    SoundInfo info;
    std::int64_t declared = 0;
    {
        Demuxer const demuxer(path, rules);
        AVStream const* const stream = demuxer.FindAudio();
        if (stream == nullptr) {
            Core::Throw(MediaError(path + ": has no sound"));
        }
        info.format = {stream->codecpar->sample_rate, stream->codecpar->ch_layout.nb_channels};
        declared = std::clamp<std::int64_t>(demuxer.Get().duration, 0, std::int64_t{1} << 50);  // below 0: unknown
    }
    std::int64_t const rate = std::min(info.format.sampleRate, kHighestRate);
    AudioReader reader(path, {static_cast<int>(rate), 1}, Microseconds(0), {}, rules);
    std::vector<float> plane(static_cast<std::size_t>(rate));
    std::array<float*, 1> const planes{plane.data()};
    std::int64_t const longest = kLongest + declared / AV_TIME_BASE;
    auto const findEnd = [&](std::int64_t from) {
        reader.Restart(from);
        // A gap may last for days: nobody waits for its silence.
        for (std::int64_t seconds = 0; seconds <= longest && !reader.GetEnd(); ++seconds) {
            if (rules.stop != nullptr && rules.stop->load(std::memory_order_relaxed)) {
                Core::Throw(Cancelled());
            }
            reader.Read(planes.data(), plane.size());
            reader.SkipSilence();
        }
        std::optional<std::int64_t> const end = reader.GetEnd();
        if (!end || (*end - from) / rate > longest) {
            Core::Throw(MediaError(path + ": its sound has no end"));
        }
        return *end;
    };
    std::int64_t const from = std::max<std::int64_t>(av_rescale(declared, rate, AV_TIME_BASE) - rate, 0);
    std::int64_t end = findEnd(from);
    if (end == from && from > 0) {
        end = findEnd(0);  // the declared duration is wrong
    }
    info.duration = Microseconds(av_rescale(end, AV_TIME_BASE, rate));
    return info;
}

}  // namespace Kaltor::Media

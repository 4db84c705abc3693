#include "Media/VideoReader.h"

#include <array>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Conformer.h"
#include "Media/Deinterlacer.h"
#include "Media/StreamDecoder.h"

namespace Kaltor::Media {
namespace {

/// Output picture k is the last one that begins before k plus this part of a frame. Not one half: with half the rate,
/// every other picture would begin there exactly, and rounded timestamps would choose between them at random. Thirds
/// and quarters are left out for the same reason.
constexpr long double kReach = 0.29L;

/// Decoding from the beginning is as fast as seeking.
constexpr Microseconds kNearStart = std::chrono::seconds(1);

}  // namespace

class VideoReader::Impl {
public:
    Impl(std::string const& file, VideoTarget const& target, Microseconds clipStart, WarningFn warnFn,
         InputRules const& inputRules)
        : path(file), start(clipStart), warn(std::move(warnFn)), rules(inputRules), conformer(file, target) {
        Open();
        if (demuxer->IsStillFormat() || demuxer->IsPipe() || start < kNearStart) {
            next = Decode();
        } else {
            SeekToStart();
        }
        if (!next) {
            std::string const why = decoder->GetDamage() ? decoder->GetDamageText() : "it is cut off";
            Core::Throw(MediaError(fmt::format("{}: no picture can be decoded ({})", path, why)));
        }
        Advance();
        while (next && next->place <= kReach) {
            Advance();
        }
    }

    Proc::AvFramePtr Read() {
        while (next && next->place <= static_cast<long double>(number) + kReach) {
            Advance();
        }
        if (!conformed) {
            conformer.SetPremultiplied(current.isPremultiplied);
            conformed = conformer.Convert(*current.frame, current.orientation);
            current.frame.reset();
        }
        Proc::AvFramePtr picture = Proc::ShareAvFrame(*conformed);
        picture->pts = number++;
        return picture;
    }

    Conf::FrameInfo GetStoredSize() const {
        AVCodecParameters const& parameters = *decoder->GetStream().codecpar;
        return {static_cast<std::uint32_t>(parameters.width), static_cast<std::uint32_t>(parameters.height), 1, 1};
    }

    bool IsAtEnd() const { return !isStill && !next && current.end <= static_cast<long double>(number) + kReach; }

private:
    /// A decoded picture and where it begins and ends, in output frames from the start.
    struct Picture {
        Proc::AvFramePtr frame;
        Orientation orientation;
        bool isPremultiplied = false;
        long double place = 0.0L;
        long double end = 0.0L;
    };

    void Open() {
        decoder.reset();
        demuxer = std::make_unique<Demuxer>(path, rules);
        AVStream& stream = demuxer->RequireVideo();
        decoder = std::make_unique<StreamDecoder>(*demuxer, stream);
        deinterlacer.emplace(path, stream.time_base);
        hasDecoded = false;
        orientation = Orientation::Of(stream);
        conformer.SetLevels(GetHdrLevels(stream));
        isStill = demuxer->IsStillFormat();
    }

    /// Files whose index is coarse or wrong land behind the wanted time; then from farther before it.
    void SeekToStart() {
        constexpr std::array kFarther{Microseconds(0), Microseconds(2'000'000), Microseconds(15'000'000)};
        for (Microseconds const farther : kFarther) {
            if (start <= farther || !demuxer->Seek(decoder->GetStream(), start - farther)) {
                break;
            }
            decoder->Flush();
            deinterlacer->Reset();
            hasDecoded = false;
            previousEnd.reset();
            next = Decode();
            // Fields are made whole with those of the picture before: the first one decoded has none.
            long double const known = next && deinterlacer->IsActive() ? next->end : next ? next->place : 0.0L;
            if (next && known <= kReach) {
                return;
            }
        }
        Open();
        previousEnd.reset();
        next = Decode();
    }

    void Advance() {
        current = std::move(*next);
        next.reset();
        conformed.reset();
        if (!isStill) {
            next = Decode();
        }
    }

    /// From the stream's time base to output frames from the start.
    long double ToPlace(std::int64_t time) const {
        AVStream const& stream = decoder->GetStream();
        AVRational const rate = conformer.GetTarget().frameRate;
        std::int64_t const origin = stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time;
        auto const perUnit = static_cast<long double>(rate.num) * stream.time_base.num;
        long double const place = static_cast<long double>(time - origin) * perUnit /
                                  (static_cast<long double>(rate.den) * stream.time_base.den);
        return place - static_cast<long double>(start.count()) * rate.num / (1'000'000.0L * rate.den);
    }

    /// The next whole picture, or null at the end.
    Proc::AvFramePtr NextFrame() {
        for (;;) {
            if (Proc::AvFramePtr whole = deinterlacer->Pull()) {
                return whole;
            }
            if (hasDecoded) {
                return nullptr;
            }
            Proc::AvFramePtr frame = decoder->Next();
            hasDecoded = !frame;
            deinterlacer->Push(std::move(frame));
        }
    }

    std::optional<Picture> Decode() {
        Proc::AvFramePtr frame = NextFrame();
        ReportDamage();
        if (!frame) {
            return std::nullopt;
        }
        Picture picture;
        AVStream const& stream = decoder->GetStream();
        AVRational const sourceRate =
            stream.avg_frame_rate.num > 0 && stream.avg_frame_rate.den > 0 ? stream.avg_frame_rate : AVRational{30, 1};
        AVRational const rate = conformer.GetTarget().frameRate;
        if (frame->pts != AV_NOPTS_VALUE) {
            picture.place = ToPlace(frame->pts);
        } else {
            picture.place = previousEnd.value_or(ToPlace(stream.start_time == AV_NOPTS_VALUE ? 0 : stream.start_time));
        }
        picture.end = frame->pts != AV_NOPTS_VALUE && frame->pkt_duration > 0
                          ? ToPlace(frame->pts + frame->pkt_duration)
                          : picture.place + static_cast<long double>(av_q2d(av_div_q(rate, sourceRate)));
        previousEnd = picture.end;
        if (frame->sample_aspect_ratio.num <= 0) {
            frame->sample_aspect_ratio = av_guess_sample_aspect_ratio(&demuxer->Get(), &LookUpStream(), nullptr);
        }
        picture.orientation = isStill ? Orientation::Of(*frame) : orientation;
        picture.isPremultiplied = rules.alpha == InputRules::Alpha::Auto
                                      ? decoder->IsPremultiplied()
                                      : rules.alpha == InputRules::Alpha::Premultiplied;
        picture.frame = std::move(frame);
        return picture;
    }

    AVStream& LookUpStream() { return *demuxer->Get().streams[decoder->GetStream().index]; }

    void ReportDamage() {
        if (isDamageReported || !decoder->GetDamage()) {
            return;
        }
        std::int64_t const time = *decoder->GetDamage();
        AVRational const rate = conformer.GetTarget().frameRate;
        long double const place = time == AV_NOPTS_VALUE ? std::max(previousEnd.value_or(0.0L), 0.0L) : ToPlace(time);
        if (place < -1.0L) {
            return;  // before what is asked for
        }
        isDamageReported = true;
        if (warn) {
            double const seconds =
                static_cast<double>(place) * rate.den / rate.num + std::chrono::duration<double>(start).count();
            warn(fmt::format("{}: damaged from {:.2f} s on ({}); the last good picture stands in for what is missing",
                             path, std::max(seconds, 0.0), decoder->GetDamageText()));
        }
    }

    std::string path;
    Microseconds start;
    WarningFn warn;
    InputRules rules;
    Conformer conformer;
    std::unique_ptr<Demuxer> demuxer;
    std::unique_ptr<StreamDecoder> decoder;
    std::optional<Deinterlacer> deinterlacer;
    bool hasDecoded = false;  ///< all that there is
    Orientation orientation;
    bool isStill = false;
    bool isDamageReported = false;
    std::optional<long double> previousEnd;

    Picture current;
    std::optional<Picture> next;
    Proc::AvFramePtr conformed;  ///< `current` in the target's form
    std::int64_t number = 0;
};

VideoReader::VideoReader(std::string const& path, VideoTarget const& target, Microseconds start, WarningFn warn,
                         InputRules const& rules)
    : impl(std::make_unique<Impl>(path, target, start, std::move(warn), rules)) {}
VideoReader::~VideoReader() = default;

Proc::AvFramePtr VideoReader::Read() {
    return impl->Read();
}
Conf::FrameInfo VideoReader::GetStoredSize() const {
    return impl->GetStoredSize();
}
bool VideoReader::IsAtEnd() const {
    return impl->IsAtEnd();
}

}  // namespace Kaltor::Media

#include "Render/Player.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Media/Conformer.h"
#include "Proc/Data/DataVideoFF.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace Kaltor::Render {
namespace {

using Edit::PlannedFeed;
using Media::Microseconds;
using Media::VideoTarget;

/// The rate at which a file's pictures are read so that they play at the feed's speed.
AVRational ReadingRate(PlannedFeed const& feed, AVRational rate) {
    constexpr int kPrecision = 100'000;
    return feed.speed == 1.0 ? rate : av_div_q(rate, av_d2q(feed.speed, kPrecision));
}

std::int64_t CountOnce(PlannedFeed const& feed, AVRational rate) {
    if (!feed.loops || feed.length <= Microseconds(0)) {
        return feed.played;
    }
    double const seconds = std::chrono::duration<double>(feed.length).count() / feed.speed;
    return std::max<std::int64_t>(1, std::llround(seconds * av_q2d(rate)));
}

}  // namespace

Proc::AvFramePtr MakePlainPicture(Proc::Color const& color, VideoTarget const& target) {
    boost::intrusive_ptr<Proc::DataVideoFF> const plain = Proc::DataVideoFF::Create(PixFmt::Rgba, target.frame);
    AVFrame& frame = plain->GetWritableFrame();
    for (int y = 0; y < frame.height; ++y) {
        std::uint8_t* pixel = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
        for (int x = 0; x < frame.width; ++x) {
            *pixel++ = color.red;
            *pixel++ = color.green;
            *pixel++ = color.blue;
            *pixel++ = color.alpha;
        }
    }
    VideoTarget form = target;
    form.shrink = 1.0;  // it has the frame's size already
    Media::Conformer conformer("a plain colour", form);
    return conformer.Convert(*plain->Share());
}

Player::Player(PlannedFeed const& plannedFeed, VideoTarget const& wanted, Media::WarningFn warnFn,
               Media::InputRules const& inputRules, std::int64_t skip)
    : feed(plannedFeed),
      target(wanted),
      warn(std::move(warnFn)),
      rules(inputRules),
      position(skip),
      once(CountOnce(plannedFeed, wanted.frameRate)) {
    target.frameRate = ReadingRate(feed, wanted.frameRate);
}

Player::~Player() {
    Close(std::move(reader));
}

Microseconds Player::TimeOf(std::int64_t place) const {
    constexpr AVRational kMicroseconds{1, 1'000'000};
    return feed.start + Microseconds(av_rescale_q(place, av_inv_q(target.frameRate), kMicroseconds));
}

std::unique_ptr<Media::VideoReader> Player::Open(std::int64_t place) const {
    return feed.kept ? feed.kept->Open(feed.path, target, TimeOf(place))
                     : std::make_unique<Media::VideoReader>(feed.path, target, TimeOf(place), warn, rules);
}

void Player::Close(std::unique_ptr<Media::VideoReader> done) const {
    if (done && feed.kept) {
        feed.kept->Keep(feed.path, target, std::move(done));
    }
}

Proc::AvFramePtr Player::FetchForward(std::int64_t place) {
    bool const goesOn = place == nextPlace;
    nextPlace = place + 1;
    if (feed.kept && (feed.info.isStill || !goesOn)) {
        // One look, as far as is known; a second one in a row goes on with a reader.
        Close(std::move(reader));
        return feed.kept->ReadOne(feed.path, target, feed.info.isStill ? Microseconds(0) : TimeOf(place));
    }
    if (!reader || !goesOn) {
        reader.reset();
        reader = Open(place);
    }
    return reader->Read();
}

Proc::AvFramePtr Player::FetchBackward(std::int64_t place) {
    // Read forwards in pieces, from the last one on: as many pictures as memory allows at a time.
    if (place < chunkBegin || place >= chunkBegin + static_cast<std::int64_t>(chunk.size())) {
        constexpr std::int64_t kMostBytes = std::int64_t{96} << 20U;
        constexpr std::int64_t kFewest = 4;
        constexpr std::int64_t kMost = 64;
        std::int64_t const bytes = std::max<std::int64_t>(
            1, std::int64_t{4} * feed.info.frame.width * static_cast<std::int64_t>(feed.info.frame.height));
        std::int64_t const count = std::clamp(kMostBytes / bytes, kFewest, kMost);
        chunk.clear();
        chunkBegin = std::max<std::int64_t>(0, place + 1 - count);
        std::unique_ptr<Media::VideoReader> piece = Open(chunkBegin);
        while (chunkBegin + static_cast<std::int64_t>(chunk.size()) <= place) {
            chunk.push_back(piece->Read());
        }
        Close(std::move(piece));
    }
    return Proc::ShareAvFrame(*chunk[static_cast<std::size_t>(place - chunkBegin)]);
}

Proc::AvFramePtr Player::FetchOfSequence(std::int64_t place) const {
    // The last picture that begins before the frame has passed its first third, as of a video.
    constexpr double kReach = 0.29;
    double const seconds = std::chrono::duration<double>(feed.start).count() +
                           (static_cast<double>(place) + kReach) / av_q2d(target.frameRate);
    std::int64_t const index = std::clamp<std::int64_t>(
        static_cast<std::int64_t>(std::floor(seconds * av_q2d(feed.info.frameRate))), 0, feed.sequence->count - 1);
    std::string const name = feed.sequence->GetName(index);
    Media::VideoReader picture(name, target, {}, warn, rules);
    // A turned picture's sides are compared either way round.
    Conf::FrameInfo const own = picture.GetStoredSize();
    Conf::FrameInfo const& first = feed.info.frame;
    bool const isSame = std::minmax(own.width, own.height) == std::minmax(first.width, first.height);
    if (!isSame) {
        Core::Throw(Media::MediaError(fmt::format("{}: {}x{} is not the size of the sequence's first picture, {}x{}",
                                                  name, own.width, own.height, first.width, first.height)));
    }
    return picture.Read();
}

Proc::AvFramePtr Player::Fetch(std::int64_t played) {
    if (feed.path.empty()) {
        return MakePlainPicture(feed.color, target);
    }
    std::int64_t const place = played % once;
    if (feed.sequence) {
        return FetchOfSequence(feed.isReversed ? once - 1 - place : place);
    }
    return feed.isReversed && !feed.info.isStill ? FetchBackward(once - 1 - place) : FetchForward(place);
}

Proc::AvFramePtr Player::Next() {
    std::int64_t const wanted =
        std::clamp<std::int64_t>(position - feed.holdFirst, 0, std::max<std::int64_t>(0, feed.played - 1));
    ++position;
    bool const isSame = current == wanted || (current >= 0 && (feed.info.isStill || feed.path.empty()));
    if (!isSame) {
        picture = Fetch(wanted);
        current = wanted;
    }
    return Proc::ShareAvFrame(*picture);
}

}  // namespace Kaltor::Render

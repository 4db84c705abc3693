#pragma once

#include <memory>
#include <vector>

#include "Edit/Plan.h"
#include "Media/VideoReader.h"

namespace Kaltor::Render {

/// The pictures of a feed at the output's rate: forwards or backwards, at any speed, again and again, with the first
/// and the last one held. Not thread-safe.
class Player {
public:
    /// `target`: the form of the pictures, with the output's rate. `skip`: frames that are left out. The feed must
    /// outlive it. Opens nothing before the first picture.
    Player(Edit::PlannedFeed const& feed, Media::VideoTarget const& target, Media::WarningFn warn,
           Media::InputRules const& rules, std::int64_t skip = 0);
    ~Player();
    Player(Player const&) = delete;
    Player& operator=(Player const&) = delete;

    /// The next picture; without end. Throws as `VideoReader`.
    Proc::AvFramePtr Next();
    /// An open-ended feed has no picture left.
    bool IsAtEnd() const { return feed.isOpenEnded && reader && reader->IsAtEnd(); }

private:
    Proc::AvFramePtr Fetch(std::int64_t played);
    Proc::AvFramePtr FetchForward(std::int64_t place);
    Proc::AvFramePtr FetchBackward(std::int64_t place);
    Proc::AvFramePtr FetchOfSequence(std::int64_t place) const;
    Media::Microseconds TimeOf(std::int64_t place) const;
    std::unique_ptr<Media::VideoReader> Open(std::int64_t place) const;
    void Close(std::unique_ptr<Media::VideoReader> done) const;

    Edit::PlannedFeed const& feed;
    Media::VideoTarget target;
    Media::WarningFn warn;
    Media::InputRules rules;
    std::int64_t position;
    std::int64_t once;  ///< frames of the piece, before it begins again
    std::int64_t current = -1;
    Proc::AvFramePtr picture;
    std::unique_ptr<Media::VideoReader> reader;
    std::int64_t nextPlace = -1;  ///< of the reader
    std::vector<Proc::AvFramePtr> chunk;
    std::int64_t chunkBegin = 0;
};

/// A picture of one colour in the target's form and size.
Proc::AvFramePtr MakePlainPicture(Proc::Color const& color, Media::VideoTarget const& target);

}  // namespace Kaltor::Render

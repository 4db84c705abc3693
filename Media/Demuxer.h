#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Media/Ffmpeg.h"
#include "Media/InputRules.h"
#include "Media/MediaInfo.h"

namespace Kaltor::Media {

/// An open media file. It reads that one file and opens nothing else, whatever its content asks for, unless the rules
/// allow it. Not thread-safe.
class Demuxer {
public:
    /// Throws `MediaError`, `Cancelled`.
    explicit Demuxer(std::string const& path, InputRules const& rules = {});
    /// Reads from memory, which must outlive the demuxer. `name` is for messages.
    Demuxer(std::vector<std::uint8_t> const& content, std::string const& name);
    ~Demuxer();
    Demuxer(Demuxer const&) = delete;
    Demuxer& operator=(Demuxer const&) = delete;

    std::string const& GetName() const { return name; }
    AVFormatContext& Get() { return *context; }
    AVFormatContext const& Get() const { return *context; }

    /// The best video stream. Throws `MediaError` where there is none, or it has no size.
    AVStream& RequireVideo() const;
    /// The best video stream that is no cover picture, or null.
    AVStream* FindVideo() const;
    /// The best audio stream, or null.
    AVStream* FindAudio() const;
    /// Only this stream's packets will be read.
    void Select(AVStream const& stream);

    /// A single picture, not an animation.
    bool IsStillFormat() const;
    /// It is read once, in its order.
    bool IsPipe() const { return pipe != nullptr; }

    /// The bytes of a picture that holds its alpha beside its colours (AVIF); empty for all other files.
    std::vector<std::uint8_t> ReadAvif() const;

    /// The presentation time, in AV_TIME_BASE units, that is time 0 of the clip: its first picture's, or where it has
    /// none, its first sound's.
    std::int64_t GetOrigin() const;

    /// 0, or FFmpeg's error. Errors that a later packet may mend are AVERROR_INVALIDDATA. Throws `SystemError` where
    /// the file itself cannot be read any more, `MediaError` where a pipe ends within a frame, `Cancelled`.
    int Read(AVPacket& packet);
    /// Moves to the key frame at or before a time of the clip. False where the file cannot do that.
    bool Seek(AVStream const& stream, Microseconds time);
    /// Whether somebody has made the file shorter since it was opened: its end is then no end.
    bool HasShrunk() const;

private:
    struct Memory;
    struct Pipe;
    struct List;

    struct IoCloser {
        void operator()(AVIOContext* io) const { avio_close(io); }
    };

    void Open();
    AVInputFormat const* FindFormat();
    int OpenFile(AVIOContext** io);
    void ReadList(AVIOContext& io);
    void TakeWhole();
    int FindStreams();
    [[noreturn]] void FailOpening(int error) const;
    void CheckStop() const;
    /// Frames that are not compressed: notes where they end, and checks that the pipe does not end within one.
    void NoteFrame(AVPacket const& packet);
    void CheckWholeFrames() const;

    std::string name;
    std::string url;  ///< empty: memory
    InputRules rules;
    std::vector<std::uint8_t> content;  ///< of a picture from a pipe
    std::unique_ptr<Memory> memory;
    std::unique_ptr<Pipe> pipe;
    std::unique_ptr<AVIOContext, IoCloser> file;
    std::unique_ptr<List> list;
    std::string fault;  ///< the last of looking at the streams
    std::int64_t openedSize = 0;
    int systemError = 0;  ///< the first of opening the file
    AVFormatContext* context = nullptr;
};

}  // namespace Kaltor::Media

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Media/EncoderSettings.h"
#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"

struct AVFormatContext;

namespace Kaltor::Media {

/// Where a part of the video begins, with what it is called.
struct Chapter {
    Microseconds start{0};
    std::string title;
};

/// To a file whose header is not written yet.
void AddChapters(AVFormatContext& context, std::vector<Chapter> const& chapters, Microseconds duration);

struct WriterOptions : EncoderSettings {
    /// The container follows from its ending, unless `format` says it. "-" is standard output; "frame%04d.png" is a
    /// sequence of pictures.
    std::string path;
    bool overwrite = false;
    /// The form of the pictures that will come. The encoder gets it as it is, or converted where it takes no such.
    VideoTarget video;
    /// In order, the first one at 0; each lasts to the next one, the last one to `duration`.
    std::vector<Chapter> chapters;
    Microseconds duration{0};
    /// The encoder may print.
    bool isVerbose = false;
    /// Of a sequence of pictures: how many there will be, where that is known; whether each appears as soon as it is
    /// whole.
    std::int64_t pictures = 0;
    bool keepsEach = false;
    /// Waiting for the reader of a pipe ends once one of them is true. They must outlive the writer.
    std::atomic<bool> const* cancel = nullptr;
    std::atomic<bool> const* stop = nullptr;
    /// What the sound should be, if any.
    std::optional<SoundFormat> sound;
    /// Takes what there is to say of the output's place; see `PartialFile`.
    WarningFn warn = {};
    /// Without them the file has sound only.
    bool hasPictures = true;
};

/// What an output will be.
struct OutputForm {
    std::string container;    ///< FFmpeg's names
    std::string codec;        ///< the encoder
    std::string pixelFormat;  ///< of the pictures that the encoder gets
    std::optional<SoundFormat> sound;
};
/// Without touching any file. Throws `std::invalid_argument` as the writer does.
OutputForm DescribeOutput(WriterOptions const& options);

/// Encodes pictures and sound into one file, which appears under its name only with `Finish`; without it nothing is
/// left. Sequences of pictures do the same; pipes and devices get each picture as soon as it is encoded. Not
/// thread-safe.
class MediaWriter {
public:
    /// Throws `std::invalid_argument` for options that cannot be (it names what would be right) and `MediaError` where
    /// the place cannot be written.
    explicit MediaWriter(WriterOptions const& options);
    ~MediaWriter();
    MediaWriter(MediaWriter const&) = delete;
    MediaWriter& operator=(MediaWriter const&) = delete;

    /// The form in which sound is taken: the wanted one or the nearest that the encoder has. Empty where none was
    /// wanted or the container carries none.
    std::optional<SoundFormat> GetSound() const;
    /// The form in which the encoder gets pictures; those that are in it already are not copied.
    VideoTarget const& GetForm() const;
    /// Samples by which the first packet of sound begins before the pictures; 0 where there is no sound.
    int GetSoundDelay() const;
    /// The encoder's name.
    std::string GetCodec() const;
    /// FFmpeg's names.
    std::string GetContainer() const;
    std::string GetPixelFormat() const;
    /// What has been written so far, in bytes.
    std::int64_t GetSize() const;

    /// The next picture, in the form of the options.
    void WritePicture(AVFrame const& picture);
    /// The next `count` samples of float planes.
    void WriteSound(float const* const* planes, std::size_t count);
    /// Completes the file under its hidden name; nothing can be written then. Throws `MediaError`.
    void Close();
    /// Completes the file and gives it its name. Throws `MediaError`.
    void Finish();

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

/// Encoders and containers of this machine, for messages and `list`-like output: names of video encoders that the
/// container of `path` takes. Empty for an unknown container.
std::vector<std::string> ListVideoEncoders(std::string const& path);

}  // namespace Kaltor::Media

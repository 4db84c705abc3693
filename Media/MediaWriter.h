#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Media/MediaInfo.h"
#include "Media/VideoReader.h"

namespace Kaltor::Media {

struct WriterOptions {
    /// The container follows from its ending.
    std::string path;
    bool overwrite = false;
    /// The form of the pictures that will come. The encoder gets it as it is, or converted where it takes no such.
    VideoTarget video;
    /// An encoder's name ("libx265") or a codec's ("hevc"); empty: H.264 where the container takes it.
    std::string codec;
    /// In the encoder's own scale.
    std::optional<int> crf;
    /// What the sound should be, if any.
    std::optional<SoundFormat> sound;
    /// Takes what there is to say of the output's place; see `PartialFile`.
    WarningFn warn = {};
    /// Without them the file has sound only.
    bool hasPictures = true;
};

/// Encodes pictures and sound into one file, which appears under its name only with `Finish`; without it nothing is
/// left. Not thread-safe.
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
    /// Samples by which the first packet of sound begins before the pictures; 0 where there is no sound.
    int GetSoundDelay() const;
    /// The encoder's name.
    std::string GetCodec() const;

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

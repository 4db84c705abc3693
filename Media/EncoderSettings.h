#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kaltor::Media {

/// Bits per second.
struct BitRate {
    std::int64_t value = 0;

    bool operator==(BitRate const&) const = default;
};

/// "800k", "5M", "2.5M" or a plain number of bits per second. Throws `std::invalid_argument`.
BitRate ParseBitRate(std::string_view text);
std::string Format(BitRate const& rate);

/// Names with their values.
using TextMap = std::map<std::string, std::string>;

/// How a video is encoded. What is left empty is as usual for the container and the encoder.
struct EncoderSettings {
    /// One of `GetProfiles`: it fills in what is left empty.
    std::string profile;
    /// The container, where the output's name does not say it: a name ("nut") or an ending ("mkv").
    std::string format;
    /// An encoder's name ("libx265") or a codec's ("hevc"); empty: H.264 where the container takes it.
    std::string codec;
    /// Quality in the encoder's own scale. Not together with `bitRate`.
    std::optional<int> crf;
    std::optional<BitRate> bitRate;
    /// A name or a number of the encoder's own: how much time it may take.
    std::string preset;
    /// FFmpeg's name for it ("yuv444p"); empty: the nearest to what is made.
    std::string pixelFormat;
    /// Frames from one key frame to the next, at most.
    std::optional<std::uint32_t> keyFrameInterval;
    /// The encoder's own options.
    TextMap encoderOptions;
    std::string audioCodec;
    std::optional<BitRate> audioBitRate;
    /// "title", "artist" and what else the container takes.
    TextMap metadata;
    /// Marks where clips begin.
    bool hasChapters = false;
    /// Of a sequence of pictures: the number of the first one.
    std::uint32_t firstNumber = 1;
};

/// Settings that suit a use.
struct Profile {
    std::string_view name;
    std::string_view help;
    /// Containers that it fits, by their endings; the first one where nothing else says it.
    std::vector<std::string_view> endings;
    EncoderSettings settings;
};
std::vector<Profile> const& GetProfiles();

/// The settings with what their profile fills in for an output of this name. What belongs to the profile's encoder is
/// left out where another codec is named. Throws `std::invalid_argument` for an unknown profile, or one that does not
/// fit the container.
EncoderSettings ApplyProfile(EncoderSettings settings, std::string const& path);

}  // namespace Kaltor::Media

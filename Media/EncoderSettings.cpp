#include "Media/EncoderSettings.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"

namespace Kaltor::Media {
namespace {

constexpr double kThousand = 1e3;
constexpr double kMillion = 1e6;

template <typename T>
void FillIn(T& member, T const& value) {
    if (member == T()) {
        member = value;
    }
}

void FillIn(TextMap& member, TextMap const& values) {
    member.insert(values.begin(), values.end());
}

}  // namespace

BitRate ParseBitRate(std::string_view text) {
    std::string_view number = text;
    double factor = 1.0;
    if (!number.empty() && std::string_view("kKmM").find(number.back()) != std::string_view::npos) {
        factor = number.back() == 'k' || number.back() == 'K' ? kThousand : kMillion;
        number.remove_suffix(1);
    }
    constexpr double kMost = 1e11;
    std::optional<double> const value = Core::ParseNumber<double>(number);
    if (!value || !(*value * factor >= 1.0 && *value * factor <= kMost)) {
        Core::Throw(std::invalid_argument(
            fmt::format("\"{}\" is not a bit rate: it takes bits per second, such as 800k or 5M", text)));
    }
    return {std::llround(*value * factor)};
}

std::string Format(BitRate const& rate) {
    constexpr std::int64_t kKilo = 1000;
    constexpr std::int64_t kMega = 1'000'000;
    return rate.value % kMega == 0   ? fmt::format("{}M", rate.value / kMega)
           : rate.value % kKilo == 0 ? fmt::format("{}k", rate.value / kKilo)
                                     : std::to_string(rate.value);
}

std::vector<Profile> const& GetProfiles() {
    static std::vector<Profile> const profiles = [] {
        std::vector<Profile> list;
        auto const add = [&list](std::string_view name, std::string_view help, std::vector<std::string_view> endings,
                                 std::string codec, std::string audioCodec) -> EncoderSettings& {
            Profile& profile = list.emplace_back(Profile{name, help, std::move(endings), {}});
            profile.settings.codec = std::move(codec);
            profile.settings.audioCodec = std::move(audioCodec);
            return profile.settings;
        };
        EncoderSettings& web = add("web", "MP4 that every browser plays: H.264, AAC", {"mp4", "mov"}, "libx264", "aac");
        web.crf = 23;
        web.pixelFormat = "yuv420p";
        web.audioBitRate = BitRate{160'000};
        EncoderSettings& small = add("small", "smaller than web, and slower to make: AV1, Opus", {"webm", "mkv", "mp4"},
                                     "libsvtav1", "libopus");
        small.crf = 35;
        small.preset = "8";
        small.audioBitRate = BitRate{96'000};
        EncoderSettings& archive =
            add("archive", "nothing is lost, files are large: FFV1, FLAC", {"mkv"}, "ffv1", "flac");
        archive.keyFrameInterval = 1;
        archive.encoderOptions = {{"level", "3"}, {"slicecrc", "1"}};
        EncoderSettings& prores =
            add("prores", "for editing programs: ProRes 422 HQ, PCM", {"mov", "mkv"}, "prores_ks", "pcm_s24le");
        prores.pixelFormat = "yuv422p10le";
        prores.encoderOptions = {{"profile", "hq"}, {"vendor", "apl0"}};
        add("gif", "an animation of 256 colours a picture, without sound", {"gif"}, "gif", "");
        EncoderSettings& webp = add("webp", "an animation in all colours, without sound", {"webp"}, "libwebp_anim", "");
        webp.encoderOptions = {{"quality", "80"}};
        return list;
    }();
    return profiles;
}

EncoderSettings ApplyProfile(EncoderSettings settings, std::string const& path) {
    if (settings.profile.empty()) {
        return settings;
    }
    std::vector<Profile> const& profiles = GetProfiles();
    auto const found = std::find_if(profiles.begin(), profiles.end(),
                                    [&](Profile const& profile) { return profile.name == settings.profile; });
    if (found == profiles.end()) {
        std::vector<std::string_view> names;
        for (Profile const& profile : profiles) {
            names.push_back(profile.name);
        }
        Core::Throw(std::invalid_argument(
            fmt::format("there is no profile \"{}\"; there are {}", settings.profile, fmt::join(names, ", "))));
    }
    std::string ending = std::filesystem::path(path).extension().string();
    std::string const format = !settings.format.empty() ? settings.format : ending.empty() ? "" : ending.substr(1);
    if (format.empty()) {
        settings.format = found->endings.front();
    } else {
        std::string const lower = Core::ToLower(format == "matroska" ? "mkv" : format);
        if (std::find(found->endings.begin(), found->endings.end(), lower) == found->endings.end()) {
            Core::Throw(std::invalid_argument(fmt::format("{}: the profile {} makes .{} files", path, found->name,
                                                          fmt::join(found->endings, " or ."))));
        }
    }
    EncoderSettings const& standard = found->settings;
    bool const isItsCodec = settings.codec.empty() || settings.codec == standard.codec;
    if (isItsCodec) {
        FillIn(settings.codec, standard.codec);
        if (!settings.bitRate && !settings.crf) {
            settings.crf = standard.crf;
        }
        FillIn(settings.preset, standard.preset);
        FillIn(settings.pixelFormat, standard.pixelFormat);
        FillIn(settings.keyFrameInterval, standard.keyFrameInterval);
        FillIn(settings.encoderOptions, standard.encoderOptions);
    }
    if (settings.audioCodec.empty()) {
        settings.audioCodec = standard.audioCodec;
        FillIn(settings.audioBitRate, standard.audioBitRate);
    }
    return settings;
}

}  // namespace Kaltor::Media

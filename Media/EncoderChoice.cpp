#include "Media/EncoderChoice.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Media/MediaWriter.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace Kaltor::Media {
namespace {

[[noreturn]] void Refuse(std::string const& message) {
    Core::Throw(std::invalid_argument(message));
}

/// The better encoders of codecs that have several.
constexpr std::array<std::string_view, 13> kPreferred{"libx264",    "libopenh264", "libx265",   "libvpx-vp9", "libvpx",
                                                      "libaom-av1", "libsvtav1",   "mpeg4",     "prores_ks",  "aac",
                                                      "libopus",    "libvorbis",   "libmp3lame"};

bool Carries(AVOutputFormat const& container, AVCodecID codec) {
    return codec != AV_CODEC_ID_NONE && avformat_query_codec(&container, codec, FF_COMPLIANCE_NORMAL) > 0;
}

/// Those that are known to take H.264 and AAC, also where FFmpeg has no list of what they take.
bool IsModern(AVOutputFormat const& container) {
    constexpr std::array<std::string_view, 7> kModern{"mp4", "mov", "ipod", "matroska", "mpegts", "flv", "3gp"};
    return std::find(kModern.begin(), kModern.end(), container.name) != kModern.end();
}

bool IsUsable(AVCodec const& codec) {
    constexpr int kUnfit = AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID | AV_CODEC_CAP_EXPERIMENTAL;
    std::string_view const wrapper = codec.wrapper_name != nullptr ? codec.wrapper_name : "";
    return av_codec_is_encoder(&codec) != 0 && (codec.capabilities & kUnfit) == 0 && wrapper != "v4l2m2m" &&
           wrapper != "vaapi" && wrapper != "nvenc" && wrapper != "omx" && wrapper != "qsv";
}

/// The best encoder of a codec in software, or null.
AVCodec const* FindEncoder(AVCodecID id) {
    AVCodec const* found = nullptr;
    std::size_t foundRank = kPreferred.size() + 1;
    void* position = nullptr;
    while (AVCodec const* const codec = av_codec_iterate(&position)) {
        if (codec->id != id || !IsUsable(*codec)) {
            continue;
        }
        auto const rank = static_cast<std::size_t>(
            std::distance(kPreferred.begin(), std::find(kPreferred.begin(), kPreferred.end(), codec->name)));
        if (rank < foundRank) {
            found = codec;
            foundRank = rank;
        }
    }
    return found;
}

std::string Ending(std::string const& path) {
    return std::filesystem::path(path).extension().string();
}

std::string ListForMessage(AVOutputFormat const& container) {
    std::vector<std::string> names = ListEncoders(container, AVMEDIA_TYPE_VIDEO);
    constexpr std::size_t kMost = 6;
    if (names.size() > kMost) {
        names.resize(kMost);
    }
    return names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace

AVOutputFormat const& FindContainer(std::string const& path) {
    constexpr char kGood[] = ".mp4, .mov, .mkv and .webm are some that work";
    AVOutputFormat const* const container = av_guess_format(nullptr, path.c_str(), nullptr);
    std::string const ending = Ending(path);
    if (container == nullptr) {
        Refuse(ending.empty() ? fmt::format("{}: a video's name needs an ending; {}", path, kGood)
                              : fmt::format("{}: no kind of video ends in {}; {}", path, ending, kGood));
    }
    std::string_view const name = container->name;
    // Music files take a cover picture only.
    bool const isCover = container->video_codec == AV_CODEC_ID_PNG && name != "apng";
    if (container->video_codec == AV_CODEC_ID_NONE || (container->flags & AVFMT_NOFILE) != 0 || isCover) {
        Refuse(fmt::format("{}: {} holds no video; {}", path, ending, kGood));
    }
    return *container;
}

std::vector<std::string> ListEncoders(AVOutputFormat const& container, AVMediaType type) {
    std::vector<std::string> names;
    auto const rank = [](std::string const& name) {
        return std::distance(kPreferred.begin(), std::find(kPreferred.begin(), kPreferred.end(), name));
    };
    void* position = nullptr;
    while (AVCodec const* const codec = av_codec_iterate(&position)) {
        if (codec->type == type && IsUsable(*codec) && Carries(container, codec->id)) {
            names.emplace_back(codec->name);
        }
    }
    std::stable_sort(names.begin(), names.end(),
                     [&rank](std::string const& a, std::string const& b) { return rank(a) < rank(b); });
    return names;
}

AVCodec const& FindVideoEncoder(AVOutputFormat const& container, std::string const& wanted, std::string const& path) {
    if (!wanted.empty()) {
        AVCodec const* encoder = avcodec_find_encoder_by_name(wanted.c_str());
        std::string const name = wanted == "h265" || wanted == "x265" ? "hevc" : wanted == "x264" ? "h264" : wanted;
        AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(name.c_str());
        if ((encoder == nullptr || !IsUsable(*encoder)) && descriptor != nullptr) {
            encoder = FindEncoder(descriptor->id);
        }
        if (encoder == nullptr || encoder->type != AVMEDIA_TYPE_VIDEO) {
            Refuse(fmt::format("no video encoder {} is installed; for {} there are {}", wanted, Ending(path),
                               ListForMessage(container)));
        }
        int const isCarried = avformat_query_codec(&container, encoder->id, FF_COMPLIANCE_NORMAL);
        if (isCarried == 0) {
            Refuse(fmt::format("{}: the codec {} cannot be in a {} file; these can: {}", path, wanted, Ending(path),
                               ListForMessage(container)));
        }
        return *encoder;
    }
    for (AVCodecID const id : {IsModern(container) ? AV_CODEC_ID_H264 : container.video_codec, container.video_codec,
                               AV_CODEC_ID_HEVC, AV_CODEC_ID_MPEG4}) {
        AVCodec const* const encoder = FindEncoder(id);
        bool const isKnown = id == container.video_codec || (id == AV_CODEC_ID_H264 && IsModern(container));
        if (encoder != nullptr && (isKnown || Carries(container, id))) {
            return *encoder;
        }
    }
    Refuse(fmt::format("{}: no encoder for {} files is installed; {}", path, Ending(path),
                       "other endings (.mkv, .avi) may work, or an FFmpeg with libx264"));
}

AVCodec const* FindAudioEncoder(AVOutputFormat const& container) {
    if (container.audio_codec == AV_CODEC_ID_NONE) {
        return nullptr;
    }
    bool const isWebm = std::string_view(container.name) == "webm";
    for (AVCodecID const id : {isWebm ? AV_CODEC_ID_OPUS : AV_CODEC_ID_AAC, container.audio_codec, AV_CODEC_ID_VORBIS,
                               AV_CODEC_ID_MP3, AV_CODEC_ID_AC3}) {
        // AVI and the like take AAC, but not as others read it.
        bool const isDoubtful = id == AV_CODEC_ID_AAC && !IsModern(container);
        bool const isKnown = id == container.audio_codec || (id == AV_CODEC_ID_AAC && IsModern(container));
        AVCodec const* const encoder = FindEncoder(id);
        if (encoder != nullptr && !isDoubtful && (isKnown || Carries(container, id))) {
            return encoder;
        }
    }
    return nullptr;
}

void SetQuality(AVCodecContext& codec, std::optional<int> crf) {
    std::string_view const name = codec.codec->name;
    AVOption const* const option = av_opt_find(codec.priv_data, "crf", nullptr, 0, 0);
    if (crf) {
        if (option == nullptr) {
            Refuse(fmt::format("the codec {} has no constant-quality setting (crf); libx264, libx265 and libvpx-vp9 do",
                               name));
        }
        // These two declare the end of the number, not of the scale.
        double const top = name == "libx264" || name == "libx265" ? 51.0 : option->max;
        if (*crf < 0 || *crf > top) {
            Refuse(fmt::format("crf {} is outside what {} takes: 0 to {:.0f}", *crf, name, top));
        }
        av_opt_set_double(codec.priv_data, "crf", *crf, 0);
    }
    if (name == "libx265") {
        av_opt_set(codec.priv_data, "x265-params", "log-level=none", 0);  // it prints on its own
    }
    if (name == "libvpx-vp9" || name == "libvpx" || name == "libaom-av1") {
        codec.bit_rate = 0;
        if (name == "libvpx") {
            codec.bit_rate = 100'000'000;  // the ceiling of its quality mode
        }
        if (!crf) {
            av_opt_set_double(codec.priv_data, "crf", name == "libvpx" ? 10 : 32, 0);
        }
        av_opt_set_int(codec.priv_data, "cpu-used", name == "libaom-av1" ? 6 : 4, 0);
        av_opt_set_int(codec.priv_data, "row-mt", 1, 0);
    } else if (option == nullptr && name != "gif" && name != "apng" && name != "png") {
        // Without a rate FFmpeg's older encoders aim at 200 kbit/s.
        constexpr int kQuantizer = 4;
        codec.flags |= AV_CODEC_FLAG_QSCALE;
        codec.global_quality = kQuantizer * FF_QP2LAMBDA;
    }
}

std::vector<std::string> ListVideoEncoders(std::string const& path) {
    AVOutputFormat const* const container = av_guess_format(nullptr, path.c_str(), nullptr);
    return container == nullptr ? std::vector<std::string>{} : ListEncoders(*container, AVMEDIA_TYPE_VIDEO);
}

}  // namespace Kaltor::Media

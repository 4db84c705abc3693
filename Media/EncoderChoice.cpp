#include "Media/EncoderChoice.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Media/AvifEncoder.h"
#include "Media/Ffmpeg.h"
#include "Media/MediaWriter.h"
#include "Media/Sequence.h"
#include "Proc/Settings/Settings.h"

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

/// What users call a format, where FFmpeg has another name for it.
std::string FormatName(std::string const& format) {
    return format == "raw" ? "rawvideo" : format == "y4m" ? "yuv4mpegpipe" : format;
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

AVOutputFormat const& FindContainer(std::string const& path, std::string const& format) {
    constexpr char kGood[] = ".mp4, .mov, .mkv and .webm are some that work";
    if (!format.empty()) {
        AVOutputFormat const* named = av_guess_format(FormatName(format).c_str(), nullptr, nullptr);
        named = named != nullptr ? named : av_guess_format(nullptr, ("." + format).c_str(), nullptr);
        bool const isVideo =
            named != nullptr && named->video_codec != AV_CODEC_ID_NONE && (named->flags & AVFMT_NOFILE) == 0;
        if (!isVideo) {
            Refuse(fmt::format(
                "\"{}\" is no kind of video; mp4, mkv, webm, mpegts, nut, y4m and raw are some that work", format));
        }
        return *named;
    }
    // FFmpeg knows AVIF as a video only.
    bool const isAvifSequence = IsAvifName(path) && HasNumberPlace(path);
    AVOutputFormat const* const container =
        isAvifSequence ? av_guess_format("image2", nullptr, nullptr) : av_guess_format(nullptr, path.c_str(), nullptr);
    std::string const ending = Ending(path);
    if (container == nullptr) {
        Refuse(ending.empty() ? fmt::format("{}: a video's name needs an ending; {}", path, kGood)
                              : fmt::format("{}: no kind of video ends in {}; {}", path, ending, kGood));
    }
    std::string_view const name = container->name;
    if (name == "image2") {
        if (!HasNumberPlace(path)) {
            Refuse(
                fmt::format("{}: one picture holds no video; frame%04d{} names a sequence, and --frame makes one "
                            "picture",
                            path, ending));
        }
        return *container;
    }
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
        bool const isFit = encoder != nullptr && (IsUsable(*encoder) || IsHardware(*encoder));
        if (!isFit) {
            encoder = descriptor != nullptr ? FindEncoder(descriptor->id) : nullptr;
        }
        if (encoder == nullptr || encoder->type != AVMEDIA_TYPE_VIDEO) {
            Refuse(fmt::format("no video encoder {} is installed; for {} there are {}", wanted, Ending(path),
                               ListForMessage(container)));
        }
        if (std::string_view(container.name) == "image2" && IsAvifName(path) && encoder->id != AV_CODEC_ID_AV1) {
            Refuse(
                fmt::format("{}: the codec {} cannot be in a .avif file; libaom-av1 and libsvtav1 can", path, wanted));
        }
        int const isCarried = avformat_query_codec(&container, encoder->id, FF_COMPLIANCE_NORMAL);
        if (isCarried == 0) {
            Refuse(fmt::format("{}: the codec {} cannot be in a {} file; these can: {}", path, wanted, Ending(path),
                               ListForMessage(container)));
        }
        return *encoder;
    }
    std::string_view const containerName = container.name;
    if (containerName == "image2" && IsAvifName(path)) {
        return RequireAvifEncoder();
    }
    if (containerName == "image2") {
        AVCodecID const id = av_guess_codec(&container, nullptr, path.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
        AVCodec const* const encoder =
            id == AV_CODEC_ID_WEBP ? avcodec_find_encoder_by_name("libwebp") : FindEncoder(id);
        if (encoder == nullptr) {
            Refuse(fmt::format("{}: no encoder for {} pictures is installed", path, Ending(path)));
        }
        return *encoder;
    }
    if (containerName == "nut") {
        return *FindEncoder(AV_CODEC_ID_RAWVIDEO);  // between programs nothing is lost
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

AVCodec const* FindAudioEncoder(AVOutputFormat const& container, std::string const& wanted, std::string const& path) {
    if (!wanted.empty()) {
        AVCodec const* encoder = avcodec_find_encoder_by_name(wanted.c_str());
        if (encoder == nullptr || !IsUsable(*encoder)) {
            AVCodecDescriptor const* const descriptor = avcodec_descriptor_get_by_name(wanted.c_str());
            encoder = descriptor != nullptr ? FindEncoder(descriptor->id) : nullptr;
        }
        bool const isAudio = encoder != nullptr && encoder->type == AVMEDIA_TYPE_AUDIO;
        if (!isAudio || avformat_query_codec(&container, encoder->id, FF_COMPLIANCE_NORMAL) == 0) {
            std::vector<std::string> const names = ListEncoders(container, AVMEDIA_TYPE_AUDIO);
            constexpr std::size_t kMost = 8;
            Refuse(fmt::format("{}: {}; there are {}", path,
                               isAudio ? fmt::format("the codec {} cannot be in such a file", wanted)
                                       : fmt::format("no audio encoder {} is installed", wanted),
                               names.empty()
                                   ? "none for it"
                                   : fmt::format("{}", fmt::join(names.begin(),
                                                                 names.begin() + static_cast<std::ptrdiff_t>(
                                                                                     std::min(kMost, names.size())),
                                                                 ", "))));
        }
        return encoder;
    }
    if (container.audio_codec == AV_CODEC_ID_NONE) {
        return nullptr;
    }
    if (std::string_view(container.name) == "nut") {
        return FindEncoder(AV_CODEC_ID_PCM_F32LE);
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

bool IsHardware(AVCodec const& encoder) {
    std::string_view const name = encoder.name;
    return name.ends_with("_vaapi") || name.ends_with("_nvenc") || name.ends_with("_qsv");
}

namespace {

std::string_view CodecName(AVCodecContext const& codec) {
    return codec.codec->name;
}

bool HasProperty(AVCodecContext const& codec, int property) {
    AVCodecDescriptor const* const descriptor = avcodec_descriptor_get(codec.codec_id);
    return descriptor != nullptr && (descriptor->props & property) != 0;
}

/// "ultrafast, superfast, ..." or "0 to 13".
std::string DescribeValues(AVCodecContext const& codec, AVOption const& option) {
    std::vector<std::string_view> names;
    for (AVOption const* one = nullptr;
         option.unit != nullptr && (one = av_opt_next(codec.priv_data, one)) != nullptr;) {
        if (one->type == AV_OPT_TYPE_CONST && one->unit != nullptr && std::string_view(one->unit) == option.unit) {
            names.emplace_back(one->name);
        }
    }
    return !names.empty() ? fmt::format("{}", fmt::join(names, ", "))
                          : fmt::format("{:.0f} to {:.0f}", option.min, option.max);
}

void SetQuality(AVCodecContext& codec, std::optional<int> crf, bool isPicture) {
    std::string_view const name = CodecName(codec);
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
    if (name == "libvpx-vp9" || name == "libvpx" || name == "libaom-av1") {
        codec.bit_rate = 0;
        if (name == "libvpx") {
            codec.bit_rate = 100'000'000;  // the ceiling of its quality mode
        }
        if (!crf) {
            av_opt_set_double(codec.priv_data, "crf", name == "libvpx" ? 10 : 32, 0);
        }
    } else if (option == nullptr && HasProperty(codec, AV_CODEC_PROP_LOSSY) && !IsHardware(*codec.codec) &&
               name != "gif" && codec.codec_id != AV_CODEC_ID_WEBP) {
        // Without a rate FFmpeg's older encoders aim at 200 kbit/s.
        constexpr int kQuantizer = 4;
        constexpr int kFineQuantizer = 2;
        codec.flags |= AV_CODEC_FLAG_QSCALE;
        codec.global_quality = (isPicture ? kFineQuantizer : kQuantizer) * FF_QP2LAMBDA;
    }
}

void SetBitRate(AVCodecContext& codec, EncoderSettings const& settings) {
    if (settings.crf) {
        Refuse("a bit rate and a quality (crf) exclude each other");
    }
    if (!HasProperty(codec, AV_CODEC_PROP_LOSSY) || CodecName(codec) == "gif") {
        Refuse(fmt::format("the codec {} takes no bit rate: it keeps what it is given", CodecName(codec)));
    }
    codec.bit_rate = settings.bitRate->value;
}

void SetPreset(AVCodecContext& codec, std::string const& preset) {
    std::string_view const name = CodecName(codec);
    if (name == "libx264" || name == "libx265") {
        constexpr std::array<std::string_view, 10> kPresets{
            "ultrafast", "superfast", "veryfast", "faster", "fast", "medium", "slow", "slower", "veryslow", "placebo"};
        if (std::find(kPresets.begin(), kPresets.end(), preset) == kPresets.end()) {
            Refuse(
                fmt::format("the codec {} has no preset \"{}\"; it has {}", name, preset, fmt::join(kPresets, ", ")));
        }
    }
    // Some call it otherwise.
    for (char const* const key : {"preset", "cpu-used", "speed"}) {
        if (AVOption const* const option = av_opt_find(codec.priv_data, key, nullptr, 0, 0)) {
            if (av_opt_set(codec.priv_data, key, preset.c_str(), 0) < 0) {
                Refuse(fmt::format("the codec {} has no preset \"{}\"; it has {}", name, preset,
                                   DescribeValues(codec, *option)));
            }
            return;
        }
    }
    Refuse(fmt::format("the codec {} has no presets", name));
}

/// The encoder's own options, and those that all have.
void SetOptions(AVCodecContext& codec, TextMap const& options) {
    for (auto const& [key, value] : options) {
        ClearFfmpegLog();
        int const result = av_opt_set(&codec, key.c_str(), value.c_str(), AV_OPT_SEARCH_CHILDREN);
        if (result == AVERROR_OPTION_NOT_FOUND) {
            std::vector<std::string> names;
            for (void* const object : {codec.priv_data, static_cast<void*>(&codec)}) {
                for (AVOption const* one = nullptr; object != nullptr && (one = av_opt_next(object, one)) != nullptr;) {
                    if (one->type != AV_OPT_TYPE_CONST && (one->flags & AV_OPT_FLAG_ENCODING_PARAM) != 0) {
                        names.emplace_back(one->name);
                    }
                }
            }
            std::string const nearest = Proc::FindNearest(key, names);
            Refuse(fmt::format("the encoder {} has no option \"{}\"; {}", CodecName(codec), key,
                               nearest.empty() ? fmt::format("ffmpeg -h encoder={} shows all", CodecName(codec))
                                               : fmt::format("did you mean {}?", nearest)));
        }
        if (result < 0) {
            Refuse(fmt::format("the encoder {} does not take \"{}\" for {} ({})", CodecName(codec), value, key,
                               ExplainFfmpeg(result)));
        }
    }
}

}  // namespace

void SetEncoding(AVCodecContext& codec, EncoderSettings const& settings, bool isPicture, bool isVerbose) {
    std::string_view const name = CodecName(codec);
    if (name == "libvpx-vp9" || name == "libvpx" || name == "libaom-av1") {
        av_opt_set_int(codec.priv_data, "cpu-used", name == "libaom-av1" ? 6 : 4, 0);
        av_opt_set_int(codec.priv_data, "row-mt", 1, 0);
    }
    if (settings.bitRate) {
        SetBitRate(codec, settings);
    } else {
        SetQuality(codec, settings.crf, isPicture);
    }
    if (!settings.preset.empty()) {
        SetPreset(codec, settings.preset);
    }
    if (settings.keyFrameInterval) {
        if (HasProperty(codec, AV_CODEC_PROP_INTRA_ONLY) && *settings.keyFrameInterval != 1) {
            Refuse(fmt::format("the codec {} makes key frames only", name));
        }
        codec.gop_size = static_cast<int>(*settings.keyFrameInterval);
    }
    TextMap options = settings.encoderOptions;
    if (name == "libx265" && !isVerbose) {  // it prints on its own
        std::string& parameters = options["x265-params"];
        parameters = "log-level=none" + (parameters.empty() ? "" : ":" + parameters);
    }
    SetOptions(codec, options);
}

std::vector<std::string> ListVideoEncoders(std::string const& path) {
    AVOutputFormat const* const container = av_guess_format(nullptr, path.c_str(), nullptr);
    return container == nullptr ? std::vector<std::string>{} : ListEncoders(*container, AVMEDIA_TYPE_VIDEO);
}

}  // namespace Kaltor::Media

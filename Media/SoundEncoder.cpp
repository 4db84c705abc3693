#include "Media/SoundEncoder.h"

#include <algorithm>
#include <cstdlib>

#include "Media/MediaError.h"

namespace Kaltor::Media {
namespace {

constexpr int kVariableFrame = 1024;

AVSampleFormat ChooseSampleFormat(AVCodec const& encoder) {
    AVSampleFormat const* const formats = encoder.sample_fmts;
    if (formats == nullptr) {
        return AV_SAMPLE_FMT_FLTP;
    }
    for (AVSampleFormat const wanted : {AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_S32P, AV_SAMPLE_FMT_S32}) {
        for (AVSampleFormat const* f = formats; *f != AV_SAMPLE_FMT_NONE; ++f) {
            if (*f == wanted) {
                return wanted;
            }
        }
    }
    return formats[0];
}

}  // namespace

SoundFormat SoundEncoder::ChooseForm(AVCodec const& encoder, SoundFormat const& wanted) {
    SoundFormat form = wanted;
    if (int const* const rates = encoder.supported_samplerates) {
        form.sampleRate = rates[0];
        for (int const* rate = rates; *rate != 0; ++rate) {
            if (std::abs(*rate - wanted.sampleRate) < std::abs(form.sampleRate - wanted.sampleRate)) {
                form.sampleRate = *rate;
            }
        }
    }
    if (AVChannelLayout const* const layouts = encoder.ch_layouts) {
        form.channels = layouts[0].nb_channels;
        for (AVChannelLayout const* layout = layouts; layout->nb_channels != 0; ++layout) {
            if (std::abs(layout->nb_channels - wanted.channels) < std::abs(form.channels - wanted.channels)) {
                form.channels = layout->nb_channels;
            }
        }
    }
    return form;
}

CodecContextPtr SoundEncoder::SetUp(AVCodec const& encoder, SoundFormat const& format,
                                    std::optional<BitRate> bitRate) {
    constexpr std::int64_t kBitsPerChannel = 96'000;
    CodecContextPtr codec(CheckAllocated(avcodec_alloc_context3(&encoder)));
    codec->sample_rate = format.sampleRate;
    codec->sample_fmt = ChooseSampleFormat(encoder);
    av_channel_layout_default(&codec->ch_layout, format.channels);
    codec->time_base = {1, format.sampleRate};
    codec->bit_rate = bitRate ? bitRate->value : kBitsPerChannel * format.channels;
    return codec;
}

SoundEncoder::SoundEncoder(std::string const& nameOfFile, AVCodec const& encoder, SoundFormat const& format,
                           std::optional<BitRate> bitRate, AVFormatContext& file)
    : name(nameOfFile),
      stream(nameOfFile, file, SetUp(encoder, format, bitRate)),
      pending(static_cast<std::size_t>(format.channels)) {
    AVCodecContext& codec = stream.GetCodec();
    frameSize = codec.frame_size > 0 ? codec.frame_size : kVariableFrame;
    SwrContext* context = nullptr;
    int result = swr_alloc_set_opts2(&context, &codec.ch_layout, codec.sample_fmt, codec.sample_rate, &codec.ch_layout,
                                     AV_SAMPLE_FMT_FLTP, codec.sample_rate, 0, nullptr);
    converter.reset(context);
    if (result >= 0) {
        result = swr_init(context);
    }
    if (result < 0) {
        ThrowMediaError(name, "its sound cannot be converted", result);
    }
}

void SoundEncoder::Write(float const* const* planes, std::size_t count) {
    auto const whole = static_cast<std::size_t>(frameSize);
    for (std::size_t done = 0; done < count;) {
        std::size_t const taken = std::min(count - done, whole - pending[0].size());
        for (std::size_t c = 0; c < pending.size(); ++c) {
            pending[c].insert(pending[c].end(), planes[c] + done, planes[c] + done + taken);
        }
        done += taken;
        if (pending[0].size() == whole) {
            EncodePending();
        }
    }
}

void SoundEncoder::EncodePending() {
    AVCodecContext const& codec = stream.GetCodec();
    Proc::AvFramePtr const frame = Proc::MakeAvFrame();
    frame->format = codec.sample_fmt;
    frame->sample_rate = codec.sample_rate;
    auto const samples = static_cast<int>(pending[0].size());
    frame->nb_samples = samples;
    frame->pts = position;
    int result = av_channel_layout_copy(&frame->ch_layout, &codec.ch_layout);
    if (result >= 0) {
        result = av_frame_get_buffer(frame.get(), 0);
    }
    std::vector<std::uint8_t const*> planes;
    for (std::vector<float> const& plane : pending) {
        planes.push_back(reinterpret_cast<std::uint8_t const*>(plane.data()));
    }
    if (result >= 0) {
        result = swr_convert(converter.get(), frame->extended_data, samples, planes.data(), samples);
    }
    if (result < 0) {
        ThrowMediaError(name, "its sound cannot be converted", result);
    }
    position += samples;
    for (std::vector<float>& plane : pending) {
        plane.clear();
    }
    stream.Write(frame.get());
}

void SoundEncoder::Finish() {
    if (!pending[0].empty()) {
        bool const takesLess = (stream.GetCodec().codec->capabilities &
                                (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE)) != 0;
        if (!takesLess) {
            for (std::vector<float>& plane : pending) {
                plane.resize(static_cast<std::size_t>(frameSize), 0.0F);
            }
        }
        EncodePending();
    }
    stream.Write(nullptr);
}

}  // namespace Kaltor::Media

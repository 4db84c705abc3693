#include "MediaTest.h"

#include <algorithm>
#include <cmath>

#include <unistd.h>

#include "Media/AudioReader.h"
#include "Media/Demuxer.h"

namespace Kaltor::Media::Tests {

namespace fs = std::filesystem;

MediaTest::MediaTest() {
    auto const* const info = testing::UnitTest::GetInstance()->current_test_info();
    folder = fs::temp_directory_path() / ("kaltor-media-" + std::to_string(::getpid()) + "-" + info->name());
    fs::create_directories(folder);
}

MediaTest::~MediaTest() {
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, ignored);
    fs::remove_all(folder, ignored);
}

std::vector<std::string> MediaTest::ListFolder() const {
    std::vector<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

Proc::AvFramePtr MakePicture(std::uint32_t width, std::uint32_t height, Yuv const& color) {
    Proc::AvFramePtr picture =
        Proc::AllocateAvFrame(AV_PIX_FMT_YUV420P, static_cast<int>(width), static_cast<int>(height));
    int const values[3] = {color.y, color.u, color.v};
    for (int plane = 0; plane < 3; ++plane) {
        int const rows = plane == 0 ? picture->height : (picture->height + 1) / 2;
        std::fill_n(picture->data[plane], static_cast<std::ptrdiff_t>(picture->linesize[plane]) * rows,
                    static_cast<std::uint8_t>(values[plane]));
    }
    return picture;
}

void DrawNoise(AVFrame& picture, int frame) {
    unsigned state = static_cast<unsigned>(frame) * 7919U + 1U;
    for (int i = 0; i < picture.linesize[0] * picture.height; ++i) {
        state = state * 1664525U + 1013904223U;
        picture.data[0][i] = static_cast<std::uint8_t>(state >> 24U);
    }
}

void MakeClip(std::string const& path, ClipSpec const& spec) {
    WriterOptions options;
    options.path = path;
    options.overwrite = true;
    options.video.frame = {spec.width, spec.height, spec.pixelAspectX, spec.pixelAspectY};
    options.video.frameRate = spec.frameRate;
    options.video.colorSpec = spec.colorSpec;
    bool const takesAny = path.ends_with(".mkv");
    options.codec = spec.codec == "ffv1" && !takesAny ? "" : spec.codec;
    options.sound = spec.sound;
    MediaWriter writer(options);
    std::int64_t sample = 0;
    for (int k = 0; k < spec.frames; ++k) {
        Proc::AvFramePtr const picture =
            MakePicture(spec.width, spec.height, spec.color ? spec.color(k) : Yuv{LumaOf(k), 128, 128});
        picture->sample_aspect_ratio = {static_cast<int>(spec.pixelAspectX), static_cast<int>(spec.pixelAspectY)};
        Proc::SetColorSpec(*picture, spec.colorSpec);
        if (spec.draw) {
            spec.draw(*picture, k);
        }
        writer.WritePicture(*picture);
        if (spec.sound) {
            std::int64_t const end = av_rescale_q(k + 1, av_inv_q(spec.frameRate), {1, spec.sound->sampleRate});
            std::vector<float> plane;
            for (; sample < end; ++sample) {
                plane.push_back(spec.wave ? spec.wave(sample) : 0.0F);
            }
            std::vector<float const*> const planes(static_cast<std::size_t>(spec.sound->channels), plane.data());
            writer.WriteSound(planes.data(), plane.size());
        }
    }
    writer.Finish();
}

void Remux(std::string const& from, std::string const& to, std::function<bool(AVPacket&, AVStream const&)> const& edit,
           std::int32_t const* matrix, std::string const& options) {
    Demuxer input(from);
    AVFormatContext* output = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&output, nullptr, nullptr, to.c_str()), 0);
    for (unsigned i = 0; i < input.Get().nb_streams; ++i) {
        AVStream const& source = *input.Get().streams[i];
        AVStream* const stream = avformat_new_stream(output, nullptr);
        avcodec_parameters_copy(stream->codecpar, source.codecpar);
        stream->codecpar->codec_tag = 0;
        stream->time_base = source.time_base;
        stream->avg_frame_rate = source.avg_frame_rate;
        if (matrix != nullptr && source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            std::uint8_t* const data =
                av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t));
            std::copy_n(matrix, 9, reinterpret_cast<std::int32_t*>(data));
        }
    }
    AVDictionary* dictionary = nullptr;
    av_dict_parse_string(&dictionary, options.c_str(), "=", ":", 0);
    ASSERT_GE(avio_open(&output->pb, to.c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(output, &dictionary), 0);
    av_dict_free(&dictionary);
    PacketPtr const packet = MakePacket();
    while (input.Read(*packet) >= 0) {
        AVStream const& source = *input.Get().streams[packet->stream_index];
        if (edit && !edit(*packet, source)) {
            continue;
        }
        av_packet_rescale_ts(packet.get(), source.time_base, output->streams[packet->stream_index]->time_base);
        ASSERT_GE(av_interleaved_write_frame(output, packet.get()), 0);
    }
    av_write_trailer(output);
    avio_closep(&output->pb);
    avformat_free_context(output);
}

void Truncate(std::string const& path, double part) {
    fs::resize_file(path, static_cast<std::uintmax_t>(static_cast<double>(fs::file_size(path)) * part));
}

double EndOf(std::string const& path, AVMediaType type) {
    Demuxer demuxer(path);
    PacketPtr const packet = MakePacket();
    double end = -1.0;
    while (demuxer.Read(*packet) >= 0) {
        AVStream const& stream = *demuxer.Get().streams[packet->stream_index];
        if (stream.codecpar->codec_type == type) {
            end = std::max(end, static_cast<double>(packet->pts + packet->duration) * av_q2d(stream.time_base));
        }
    }
    return end;
}

double MeanOf(AVFrame const& picture, int plane) {
    int const width = plane == 0 ? picture.width : (picture.width + 1) / 2;
    int const height = plane == 0 ? picture.height : (picture.height + 1) / 2;
    double sum = 0.0;
    int count = 0;
    for (int y = height / 4; y < std::max(height * 3 / 4, 1); ++y) {
        for (int x = width / 4; x < std::max(width * 3 / 4, 1); ++x, ++count) {
            sum += picture.data[plane][static_cast<std::ptrdiff_t>(y) * picture.linesize[plane] + x];
        }
    }
    return sum / count;
}

Yuv ColorAt(AVFrame const& picture, int x, int y) {
    auto const at = [&](int plane, int px, int py) {
        return static_cast<int>(picture.data[plane][static_cast<std::ptrdiff_t>(py) * picture.linesize[plane] + px]);
    };
    return {at(0, x, y), at(1, x / 2, y / 2), at(2, x / 2, y / 2)};
}

std::vector<Proc::AvFramePtr> ReadAll(std::string const& path, int most) {
    MediaInfo const info = Probe(path);
    VideoReader reader(path, {info.frame, info.frameRate, info.resolvedColorSpec, PixFmt::Yuv420p});
    std::vector<Proc::AvFramePtr> pictures;
    while (!reader.IsAtEnd() && static_cast<int>(pictures.size()) < most) {
        pictures.push_back(reader.Read());
    }
    return pictures;
}

std::vector<std::vector<float>> ReadSound(std::string const& path, SoundFormat const& format, std::size_t samples) {
    AudioReader reader(path, format);
    std::vector<std::vector<float>> sound(static_cast<std::size_t>(format.channels), std::vector<float>(samples));
    std::vector<float*> planes;
    for (std::vector<float>& plane : sound) {
        planes.push_back(plane.data());
    }
    reader.Read(planes.data(), samples);
    return sound;
}

std::vector<Proc::Field> const& FakeSettings::GetFields() const {
    static std::vector<Proc::Field> const none;
    return none;
}

RenderJob MakeJob(std::vector<std::string> const& clips, std::string const& output, Microseconds transition) {
    RenderJob job;
    for (std::string const& clip : clips) {
        job.clips.push_back({clip, {}, {}});
    }
    for (std::size_t i = 1; i < clips.size(); ++i) {
        job.transitions.push_back({std::make_shared<FakeSettings>("Mix"), transition});
    }
    job.output = output;
    return job;
}

}  // namespace Kaltor::Media::Tests

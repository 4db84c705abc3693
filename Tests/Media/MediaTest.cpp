#include "MediaTest.h"

#include "Media/AudioReader.h"
#include "Media/Demuxer.h"

namespace Kaltor::Media::Tests {

std::vector<std::string> MediaTest::ListFolder() const {
    std::vector<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string MediaTest::Make(std::string const& name, ClipSpec const& spec) const {
    WriterOptions options;
    options.path = At(name);
    options.overwrite = true;
    options.video.frame = spec.frame;
    options.video.frameRate = spec.frameRate;
    options.video.colorSpec = spec.colorSpec;
    options.video.transfer = spec.transfer;
    options.codec = spec.codec == "ffv1" && !name.ends_with(".mkv") ? "" : spec.codec;
    options.sound = spec.sound;
    MediaWriter writer(options);
    std::int64_t sample = 0;
    for (int k = 0; k < spec.frames; ++k) {
        Proc::AvFramePtr const picture = MakePicture(spec.frame, spec.color(k));
        Proc::SetColorSpec(*picture, spec.colorSpec);
        if (spec.draw) {
            spec.draw(*picture, k);
        }
        writer.WritePicture(*picture);
        if (spec.sound) {
            std::vector<float> plane;
            for (; sample < av_rescale_q(k + 1, av_inv_q(spec.frameRate), {1, spec.sound->sampleRate}); ++sample) {
                plane.push_back(spec.wave(sample));
            }
            std::vector<float const*> const planes(static_cast<std::size_t>(spec.sound->channels), plane.data());
            writer.WriteSound(planes.data(), plane.size());
        }
    }
    writer.Finish();
    return options.path;
}

std::string MediaTest::Remux(std::string const& from, std::string const& name,
                             std::function<bool(AVPacket&, AVStream const&)> const& edit,
                             std::int32_t const* matrix) const {
    Demuxer input(from);
    std::string const to = At(name);
    AVFormatContext* output = nullptr;
    EXPECT_GE(avformat_alloc_output_context2(&output, nullptr, nullptr, to.c_str()), 0);
    for (unsigned i = 0; i < input.Get().nb_streams; ++i) {
        AVStream const& source = *input.Get().streams[i];
        AVStream* const stream = avformat_new_stream(output, nullptr);
        avcodec_parameters_copy(stream->codecpar, source.codecpar);
        stream->codecpar->codec_tag = 0;
        stream->time_base = source.time_base;
        if (matrix != nullptr && source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
            constexpr std::size_t kBytes = 9 * sizeof(std::int32_t);
            std::uint8_t* const data = av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, kBytes);
            std::copy_n(matrix, 9, reinterpret_cast<std::int32_t*>(data));
        }
    }
    EXPECT_GE(avio_open(&output->pb, to.c_str(), AVIO_FLAG_WRITE), 0);
    EXPECT_GE(avformat_write_header(output, nullptr), 0);
    PacketPtr const packet = MakePacket();
    while (input.Read(*packet) >= 0) {
        AVStream const& source = *input.Get().streams[packet->stream_index];
        if (!edit || edit(*packet, source)) {
            av_packet_rescale_ts(packet.get(), source.time_base, output->streams[packet->stream_index]->time_base);
            EXPECT_GE(av_interleaved_write_frame(output, packet.get()), 0);
        }
    }
    av_write_trailer(output);
    avio_closep(&output->pb);
    avformat_free_context(output);
    return to;
}

Watchdog::Watchdog() {
    testing::TestInfo const& test = *testing::UnitTest::GetInstance()->current_test_info();
    thread = std::thread([&test, isDone = done.get_future()] {
        constexpr std::chrono::minutes kPatience(20);
        if (isDone.wait_for(kPatience) == std::future_status::timeout) {
            fmt::print(stderr, "{}.{} hangs: not done after {} minutes\n", test.test_suite_name(), test.name(),
                       kPatience.count());
            std::abort();
        }
    });
}

Watchdog::~Watchdog() {
    done.set_value();
    thread.join();
}

void DrawNoise(AVFrame& picture, int frame) {
    unsigned state = static_cast<unsigned>(frame) * 7919U + 1U;
    for (int i = 0; i < picture.linesize[0] * picture.height; ++i) {
        state = state * 1664525U + 1013904223U;
        picture.data[0][i] = static_cast<std::uint8_t>(state >> 24U);
    }
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

Proc::AvFramePtr MakePicture(Conf::FrameInfo const& frame, Codes const& color) {
    Proc::AvFramePtr picture =
        Kaltor::Tests::MakeYuv(PixFmt::Yuv420p, frame.width, frame.height, {}, [&](auto...) { return color; })->Share();
    picture->sample_aspect_ratio = {static_cast<int>(frame.pixelAspectX), static_cast<int>(frame.pixelAspectY)};
    return picture;
}

double MeanLuma(AVFrame const& picture) {
    double sum = 0.0;
    int count = 0;
    for (int y = picture.height / 4; y < picture.height * 3 / 4; ++y) {
        for (int x = picture.width / 4; x < picture.width * 3 / 4; ++x, ++count) {
            sum += picture.data[0][y * picture.linesize[0] + x];
        }
    }
    return sum / count;
}

testing::AssertionResult Shows(AVFrame const& picture, Kaltor::Tests::CodesAt const& expected, int tolerance) {
    boost::intrusive_ptr<Proc::DataVideoFF> const seen = Proc::DataVideoFF::Wrap(Proc::ShareAvFrame(picture));
    Conf::FrameInfo const& info = seen->GetFrameInfo();
    return Kaltor::Tests::HaveSameSamples(
        *seen, *Kaltor::Tests::MakeYuv(PixFmt::Yuv420p, info.width, info.height, {}, expected), tolerance);
}

namespace {

template <typename T, typename Map>
std::vector<T> ReadEach(std::string const& path, Map const& map) {
    MediaInfo const info = Probe(path);
    VideoReader reader(path, {info.frame, info.frameRate, info.resolvedColorSpec, PixFmt::Yuv420p});
    std::vector<T> results;
    while (!reader.IsAtEnd() && results.size() < 1000) {
        results.push_back(map(*reader.Read()));
    }
    return results;
}

}  // namespace

std::vector<std::vector<std::uint8_t>> ReadPlanes(std::string const& path) {
    return ReadEach<std::vector<std::uint8_t>>(path, [](AVFrame const& picture) {
        std::vector<std::uint8_t> plane;
        for (int y = 0; y < picture.height; ++y) {
            std::uint8_t const* const row = picture.data[0] + std::ptrdiff_t{picture.linesize[0]} * y;
            plane.insert(plane.end(), row, row + picture.width);
        }
        return plane;
    });
}

std::vector<int> ReadLumas(std::string const& path) {
    return ReadEach<int>(path, [](AVFrame const& picture) { return static_cast<int>(std::lround(MeanLuma(picture))); });
}

std::vector<std::vector<float>> ReadSound(std::string const& path, SoundFormat const& format, std::size_t samples,
                                          Microseconds start) {
    AudioReader reader(path, format, start);
    std::vector<std::vector<float>> sound(static_cast<std::size_t>(format.channels), std::vector<float>(samples));
    constexpr std::size_t kStep = 1001;  // pieces of a size that no codec uses
    for (std::size_t done = 0; done < samples; done += kStep) {
        std::vector<float*> planes;
        for (std::vector<float>& plane : sound) {
            planes.push_back(plane.data() + done);
        }
        reader.Read(planes.data(), std::min(kStep, samples - done));
    }
    return sound;
}

}  // namespace Kaltor::Media::Tests

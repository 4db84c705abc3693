#include "SoundTest.h"

#include "Media/Ffmpeg.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace Kaltor::Render::Tests {

Wave Sine(double frequency, double amplitude) {
    return [=](std::int64_t n, int) {
        return amplitude * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(n) / kRate);
    };
}

Wave Noise(double amplitude, unsigned seed) {
    return [=](std::int64_t n, int channel) {
        auto x = static_cast<std::uint64_t>(n) * 2654435761U + static_cast<std::uint64_t>(channel) * 97U + seed;
        for (int i = 0; i < 3; ++i) {
            x = (x ^ (x >> 31U)) * 0x9E3779B97F4A7C15U;
        }
        return amplitude * (static_cast<double>(x >> 11U) / static_cast<double>(1ULL << 52U) - 1.0);
    };
}

std::string SoundTest::Write(std::string const& name, double seconds, Wave const& wave, int channels, int rate) const {
    auto const samples = static_cast<std::int64_t>(std::llround(seconds * rate));
    std::vector<float> data;
    for (std::int64_t n = 0; n < samples; ++n) {
        for (int c = 0; c < channels; ++c) {
            data.push_back(static_cast<float>(wave(n, c)));
        }
    }
    std::string header;
    auto const put = [&header](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            header.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
        }
    };
    auto const bytes = static_cast<std::uint32_t>(data.size() * sizeof(float));
    header += "RIFF";
    put(36 + bytes, 4);
    header += "WAVEfmt ";
    put(16, 4);
    put(3, 2);  // IEEE float
    put(static_cast<std::uint32_t>(channels), 2);
    put(static_cast<std::uint32_t>(rate), 4);
    put(static_cast<std::uint32_t>(rate * channels) * sizeof(float), 4);
    put(static_cast<std::uint32_t>(channels) * sizeof(float), 2);
    put(32, 2);
    header += "data";
    put(bytes, 4);
    std::ofstream file(At(name), std::ios::binary);
    file << header;
    file.write(reinterpret_cast<char const*>(data.data()), bytes);
    return At(name);
}

PlannedSound SoundTest::Whole(std::string const& path, double seconds, std::int64_t first) const {
    PlannedSound sound;
    sound.path = path;
    sound.length = Microseconds(std::llround(seconds * 1e6));
    sound.first = first;
    sound.frames = std::llround(seconds * 100.0);
    return sound;
}

SoundPlan SoundTest::MakePlan(std::vector<PlannedSound> sounds, double seconds) const {
    return {{100, 1}, std::llround(seconds * 100.0), std::move(sounds), {}};
}

Planes SoundTest::Mix(SoundPlan const& plan, int channels, int rate) {
    SoundMix mix(plan, {rate, channels}, [this](std::string const& text) { warnings.push_back(text); }, {});
    auto const samples = static_cast<std::size_t>(plan.SampleOf(plan.frames, rate));
    Planes all(static_cast<std::size_t>(channels));
    for (std::size_t piece = 1; all[0].size() < samples; piece = piece * 7 % 8191 + 1) {
        Planes const part = mix.Read(std::min(piece, samples - all[0].size()));
        for (std::size_t c = 0; c < all.size(); ++c) {
            all[c].insert(all[c].end(), part[c].begin(), part[c].end());
        }
    }
    return all;
}

double LargestStep(std::vector<float> const& plane, std::size_t from, std::size_t to) {
    double largest = 0.0;
    for (std::size_t i = std::max<std::size_t>(from, 1); i < to; ++i) {
        largest = std::max(largest, std::abs(static_cast<double>(plane[i]) - static_cast<double>(plane[i - 1])));
    }
    return largest;
}

double StepOf(double frequency, double amplitude) {
    return amplitude * 2.0 * std::numbers::pi * frequency / kRate;
}

double Level(std::vector<float> const& plane, std::size_t from, std::size_t to) {
    double sum = 0.0;
    for (std::size_t i = from; i < to; ++i) {
        sum += static_cast<double>(plane[i]) * static_cast<double>(plane[i]);
    }
    return std::sqrt(sum / static_cast<double>(to - from));
}

double AmplitudeOf(std::vector<float> const& plane, double frequency, std::size_t from, std::size_t to) {
    double real = 0.0;
    double imaginary = 0.0;
    for (std::size_t i = from; i < to; ++i) {
        double const angle = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / kRate;
        real += static_cast<double>(plane[i]) * std::cos(angle);
        imaginary += static_cast<double>(plane[i]) * std::sin(angle);
    }
    return 2.0 * std::hypot(real, imaginary) / static_cast<double>(to - from);
}

std::size_t PlaceOfPeak(std::vector<float> const& plane, std::size_t from, std::size_t to) {
    auto const begin = plane.begin() + static_cast<std::ptrdiff_t>(from);
    auto const end = plane.begin() + static_cast<std::ptrdiff_t>(std::min(to, plane.size()));
    return static_cast<std::size_t>(
        std::max_element(begin, end, [](float a, float b) { return std::abs(a) < std::abs(b); }) - plane.begin());
}

Loudness MeasureByFfmpeg(Planes const& sound, int rate) {
    Media::FilterGraphPtr const graph(avfilter_graph_alloc());
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, static_cast<int>(sound.size()));
    std::array<char, 64> name{};
    av_channel_layout_describe(&layout, name.data(), name.size());
    std::string const form =
        fmt::format("sample_rate={0}:sample_fmt=fltp:time_base=1/{0}:channel_layout={1}", rate, name.data());
    AVFilterContext* in = nullptr;
    AVFilterContext* meter = nullptr;
    AVFilterContext* out = nullptr;
    EXPECT_GE(
        avfilter_graph_create_filter(&in, avfilter_get_by_name("abuffer"), "in", form.c_str(), nullptr, graph.get()),
        0);
    EXPECT_GE(avfilter_graph_create_filter(&meter, avfilter_get_by_name("ebur128"), "meter",
                                           "metadata=1:peak=true:framelog=verbose", nullptr, graph.get()),
              0);
    EXPECT_GE(
        avfilter_graph_create_filter(&out, avfilter_get_by_name("abuffersink"), "out", nullptr, nullptr, graph.get()),
        0);
    EXPECT_GE(avfilter_link(in, 0, meter, 0), 0);
    EXPECT_GE(avfilter_link(meter, 0, out, 0), 0);
    EXPECT_GE(avfilter_graph_config(graph.get(), nullptr), 0);

    Loudness measured{-200.0, -200.0};
    auto const drain = [&] {
        Proc::AvFramePtr const frame = Proc::MakeAvFrame();
        while (av_buffersink_get_frame(out, frame.get()) >= 0) {
            auto const get = [&frame](std::string const& key) {
                AVDictionaryEntry const* const entry = av_dict_get(frame->metadata, key.c_str(), nullptr, 0);
                return entry != nullptr ? std::stod(entry->value) : -200.0;
            };
            measured.integrated = get("lavfi.r128.I");
            for (std::size_t c = 0; c < sound.size(); ++c) {
                double const peak = get(fmt::format("lavfi.r128.true_peaks_ch{}", c));
                measured.truePeak = std::max(measured.truePeak, 20.0 * std::log10(std::max(peak, 1e-10)));
            }
            av_frame_unref(frame.get());
        }
    };
    constexpr std::size_t kPiece = 4800;
    for (std::size_t done = 0; done + kPiece <= sound[0].size(); done += kPiece) {
        Proc::AvFramePtr const frame = Proc::MakeAvFrame();
        frame->format = AV_SAMPLE_FMT_FLTP;
        frame->sample_rate = rate;
        frame->nb_samples = kPiece;
        frame->pts = static_cast<std::int64_t>(done);
        av_channel_layout_copy(&frame->ch_layout, &layout);
        av_frame_get_buffer(frame.get(), 0);
        for (std::size_t c = 0; c < sound.size(); ++c) {
            std::memcpy(frame->extended_data[c], sound[c].data() + done, kPiece * sizeof(float));
        }
        EXPECT_GE(av_buffersrc_add_frame(in, frame.get()), 0);
        drain();
    }
    EXPECT_GE(av_buffersrc_add_frame(in, nullptr), 0);
    drain();
    av_channel_layout_uninit(&layout);
    return measured;
}

}  // namespace Kaltor::Render::Tests

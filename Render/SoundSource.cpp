#include "Render/SoundSource.h"

#include <algorithm>

#include "Core/Interfaces/Exception.h"
#include "Media/Ffmpeg.h"
#include "Render/FileSound.h"
#include "Render/TimeStretch.h"

namespace Kaltor::Render {
namespace {

/// Plays faster or slower, with the pitch going along, as a tape does.
class Varispeed final : public SoundSource {
public:
    Varispeed(std::unique_ptr<SoundSource> source, double speed, int channels, std::string const& path)
        : input(std::move(source)), name(path), taken(static_cast<std::size_t>(channels)), made(taken.size()) {
        // The resampler keeps the ratio of whole numbers exactly, however long it runs.
        constexpr int kLargest = 1 << 18;
        AVRational const ratio = av_d2q(speed, kLargest);
        AVChannelLayout layout{};
        av_channel_layout_default(&layout, channels);
        SwrContext* context = nullptr;
        Media::ClearFfmpegLog();
        int result = swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_FLTP, ratio.den, &layout, AV_SAMPLE_FMT_FLTP,
                                         ratio.num, 0, nullptr);
        resampler.reset(context);
        if (result >= 0) {
            result = swr_init(context);
        }
        av_channel_layout_uninit(&layout);
        if (result < 0) {
            Media::ThrowMediaError(name, "its speed cannot be changed", result);
        }
    }

    void Read(float* const* planes, std::size_t count) override {
        for (std::size_t done = 0; done < count;) {
            if (position == available) {
                Convert();
            }
            std::size_t const part = std::min(count - done, available - position);
            for (std::size_t c = 0; c < made.size(); ++c) {
                std::copy_n(made[c].begin() + static_cast<std::ptrdiff_t>(position), part, planes[c] + done);
            }
            position += part;
            done += part;
        }
    }

private:
    void Convert() {
        constexpr std::size_t kBlock = 1024;
        std::vector<float*> into;
        std::vector<std::uint8_t const*> from;
        for (std::vector<float>& plane : taken) {
            plane.resize(kBlock);
            into.push_back(plane.data());
            from.push_back(reinterpret_cast<std::uint8_t const*>(plane.data()));
        }
        input->Read(into.data(), kBlock);
        int const room = swr_get_out_samples(resampler.get(), static_cast<int>(kBlock));
        std::vector<std::uint8_t*> out;
        for (std::vector<float>& plane : made) {
            plane.resize(static_cast<std::size_t>(std::max(room, 1)));
            out.push_back(reinterpret_cast<std::uint8_t*>(plane.data()));
        }
        Media::ClearFfmpegLog();
        int const result =
            swr_convert(resampler.get(), out.data(), std::max(room, 1), from.data(), static_cast<int>(kBlock));
        if (result < 0) {
            Media::ThrowMediaError(name, "its speed cannot be changed", result);
        }
        position = 0;
        available = static_cast<std::size_t>(result);
    }

    std::unique_ptr<SoundSource> input;
    std::string name;
    Media::SwrPtr resampler;
    Planes taken;
    Planes made;
    std::size_t position = 0;
    std::size_t available = 0;
};

}  // namespace

std::unique_ptr<SoundSource> OpenSound(PlannedSound const& sound, Media::SoundFormat const& format,
                                       Media::WarningFn const& warn, Media::InputRules const& rules) {
    auto file = std::make_unique<FileSound>(sound, format, warn, rules);
    if (sound.speed == 1.0) {
        return file;
    }
    if (sound.keepsPitch) {
        return std::make_unique<TimeStretch>(std::move(file), sound.speed, format);
    }
    return std::make_unique<Varispeed>(std::move(file), sound.speed, format.channels, sound.path);
}

}  // namespace Kaltor::Render

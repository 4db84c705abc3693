#include "Studio/Sounds.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string_view>

#include "Core/Interfaces/Exception.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

constexpr int kChannels = 2;
constexpr std::size_t kBytesOfSample = kChannels * sizeof(std::int16_t);
constexpr std::int64_t kBlockSamples = Sounds::kRate;
constexpr std::size_t kMostSoundBytes = std::size_t{96} << 20U;  // some minutes
constexpr std::size_t kMostMixes = 2;

void Append(std::vector<std::uint8_t>& bytes, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

std::vector<std::uint8_t> MakeHeader(std::size_t dataBytes) {
    constexpr std::uint32_t kRest = 36;
    std::vector<std::uint8_t> header;
    auto const text = [&header](std::string_view word) { std::copy(word.begin(), word.end(), std::back_inserter(header)); };
    text("RIFF");
    Append(header, kRest + static_cast<std::uint32_t>(dataBytes), 4);
    text("WAVE");
    text("fmt ");
    Append(header, 16, 4);
    Append(header, 1, 2);  // PCM
    Append(header, kChannels, 2);
    Append(header, Sounds::kRate, 4);
    Append(header, Sounds::kRate * kBytesOfSample, 4);
    Append(header, kBytesOfSample, 2);
    Append(header, 8 * sizeof(std::int16_t), 2);
    text("data");
    Append(header, static_cast<std::uint32_t>(dataBytes), 4);
    return header;
}

}  // namespace

Sounds::Sounds(bool playlists) : allowPlaylists(playlists), blocks(kMostSoundBytes) {}

Sounds::Mix& Sounds::FindMix(PlannedDocument const& planned, std::int64_t block) {
    auto found = std::find_if(mixes.begin(), mixes.end(), [&](Mix const& mix) { return mix.id == planned.soundId; });
    if (found == mixes.end()) {
        mixes.push_front({planned.soundId, nullptr, 0});
        if (mixes.size() > kMostMixes) {
            mixes.pop_back();
        }
        found = mixes.begin();
    }
    mixes.splice(mixes.begin(), mixes, found);
    Mix& mix = mixes.front();
    if (!mix.mixer || mix.next > block) {
        mix.mixer = std::make_unique<Render::SoundMix>(Render::MakeSoundPlan(planned.plan),
                                                       Media::SoundFormat{kRate, kChannels}, Media::WarningFn{},
                                                       Media::InputRules{allowPlaylists, &isStopped});
        mix.next = 0;
    }
    return mix;
}

Bytes Sounds::GetBlock(PlannedDocument const& planned, std::int64_t block) {
    if (Bytes bytes = blocks.Find({planned.soundId, block})) {
        return bytes;
    }
    Mix& mix = FindMix(planned, block);
    try {
        for (;;) {
            if (isStopped) {
                Core::Throw(Media::Cancelled());
            }
            std::vector<std::vector<float>> const planes = mix.mixer->Read(kBlockSamples);
            auto bytes = std::make_shared<std::vector<std::uint8_t>>(kBlockSamples * kBytesOfSample);
            std::vector<std::int16_t> samples;
            samples.reserve(kBlockSamples * kChannels);
            for (std::size_t i = 0; i < static_cast<std::size_t>(kBlockSamples); ++i) {
                for (std::vector<float> const& plane : planes) {
                    constexpr float kFull = 32768.0F;
                    samples.push_back(static_cast<std::int16_t>(
                        std::clamp<long>(std::lrintf(plane[i] * kFull), INT16_MIN, INT16_MAX)));
                }
            }
            std::memcpy(bytes->data(), samples.data(), bytes->size());
            blocks.Add({planned.soundId, mix.next}, bytes);
            if (mix.next++ == block) {
                return bytes;
            }
        }
    } catch (...) {
        mix.mixer.reset();
        throw;
    }
}

std::vector<std::uint8_t> Sounds::Get(PlannedDocument const& planned, double from, double to) {
    if (!planned.plan.sound) {
        throw RequestError(kNotFound, "the video has no sound");
    }
    if (!(from >= 0.0 && to > from && to - from <= kLongest)) {
        throw RequestError(kBadRequest, "from and to: a piece of at most 60 seconds");
    }
    std::int64_t const end = std::min<std::int64_t>(std::llround(to * kRate),
                                                    planned.plan.time.SampleOf(planned.plan.frames, kRate));
    std::int64_t const begin = std::min<std::int64_t>(std::llround(from * kRate), end);
    std::vector<std::uint8_t> wav = MakeHeader(static_cast<std::size_t>(end - begin) * kBytesOfSample);
    std::lock_guard const lock(mutex);
    for (std::int64_t sample = begin; sample < end;) {
        std::int64_t const block = sample / kBlockSamples;
        std::int64_t const last = std::min(end, (block + 1) * kBlockSamples);
        Bytes const bytes = GetBlock(planned, block);
        auto const at = [&](std::int64_t place) {
            return bytes->begin() + (place - block * kBlockSamples) * static_cast<std::ptrdiff_t>(kBytesOfSample);
        };
        wav.insert(wav.end(), at(sample), at(last));
        sample = last;
    }
    return wav;
}

}  // namespace Kaltor::Studio

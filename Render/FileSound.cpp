#include "Render/FileSound.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace Kaltor::Render {
namespace {

/// A block that is played backwards, in seconds: the decoder starts anew for each.
constexpr double kBlockSeconds = 4.0;
/// Where two such blocks overlap they are blended, since containers round the times by which they are placed.
constexpr double kOverlapSeconds = 0.005;
constexpr double kMarginSeconds = 0.0015;
/// Pieces up to this length that are repeated stay in memory.
constexpr double kRememberedSeconds = 10.0;
/// How long a step between the end of a piece and its beginning takes to fade away.
constexpr double kSeamSeconds = 0.005;

std::size_t ToSamples(double seconds, int rate) {
    return static_cast<std::size_t>(std::ceil(seconds * rate));
}

void Resize(Planes& planes, std::size_t count) {
    for (std::vector<float>& plane : planes) {
        plane.resize(count);
    }
}

std::vector<float*> GetPointers(Planes& planes, std::size_t offset) {
    std::vector<float*> pointers;
    for (std::vector<float>& plane : planes) {
        pointers.push_back(plane.data() + offset);
    }
    return pointers;
}

}  // namespace

FileSound::FileSound(PlannedSound const& sound, Media::SoundFormat const& format, Media::WarningFn warn,
                     Media::InputRules const& rules)
    : rate(format.sampleRate),
      isReversed(sound.isReversed),
      loops(sound.loops),
      reader(std::make_unique<Media::AudioReader>(sound.path, format, sound.start, std::move(warn), rules)),
      scratch(static_cast<std::size_t>(format.channels)),
      whole(scratch.size()),
      canRemember(sound.loops),
      block(scratch.size()),
      head(scratch.size()),
      seams(scratch.size()) {
    Media::Microseconds duration = sound.length;
    if (isReversed && duration <= Media::Microseconds(0)) {
        duration = Media::ProbeSound(sound.path, rules).duration - sound.start;
    }
    if (duration > Media::Microseconds(0) || isReversed) {
        length = std::max<std::int64_t>(std::llround(static_cast<double>(duration.count()) * 1e-6 * rate), 0);
    }
    StartPass();
}

void FileSound::Read(float* const* planes, std::size_t count) {
    if (!loops && !isReversed && reader) {
        reader->Read(planes, count);
        if (reader->GetEnd()) {
            reader.reset();  // silence from here on
        }
        return;
    }
    std::size_t done = 0;
    isSilent = isSilent || (!loops && !isReversed);
    while (done < count && !isSilent) {
        std::size_t const got = ReadPass(scratch, count - done);
        if (loops) {
            MendSeam(got);
        }
        for (std::size_t c = 0; c < scratch.size(); ++c) {
            std::copy_n(scratch[c].begin(), got, planes[c] + done);
        }
        done += got;
        position += static_cast<std::int64_t>(got);
        if (got == 0) {
            if (loops && position > 0) {
                isWhole = isWhole || (canRemember && whole[0].size() == static_cast<std::size_t>(position));
                StartPass();
                isAtSeam = true;
            } else {
                isSilent = true;
                reader.reset();
            }
        }
    }
    for (std::size_t c = 0; c < scratch.size(); ++c) {
        std::fill_n(planes[c] + done, count - done, 0.0F);
    }
}

void FileSound::StartPass() {
    if (isWhole) {
        reader.reset();
    } else if (position > 0 && !isReversed) {
        reader->Restart(0);
    }
    position = 0;
    if (isReversed && reader) {
        blockEnd = *length;
        Resize(block, 0);
        Resize(head, 0);
        blockPosition = 0;
    }
}

std::size_t FileSound::ReadPass(Planes& into, std::size_t count) {
    if (length) {
        count = static_cast<std::size_t>(
            std::min<std::int64_t>(static_cast<std::int64_t>(count), std::max<std::int64_t>(*length - position, 0)));
    }
    if (isWhole) {
        std::size_t const from = static_cast<std::size_t>(position);
        count = std::min(count, whole[0].size() - from);
        Resize(into, count);
        for (std::size_t c = 0; c < into.size(); ++c) {
            std::copy_n(whole[c].begin() + static_cast<std::ptrdiff_t>(from), count, into[c].begin());
        }
        return count;
    }
    Resize(into, count);
    count = count == 0 ? 0 : isReversed ? ReadBackwards(into, count) : ReadForwards(into, count);
    if (canRemember) {
        Remember(count);
    }
    return count;
}

std::size_t FileSound::ReadForwards(Planes& into, std::size_t count) {
    reader->Read(GetPointers(into, 0).data(), count);
    // A pass of unknown length ends with the sound.
    if (loops && !length) {
        if (std::optional<std::int64_t> const end = reader->GetEnd()) {
            std::int64_t const left = *end - position;
            return static_cast<std::size_t>(std::clamp<std::int64_t>(left, 0, static_cast<std::int64_t>(count)));
        }
    }
    return count;
}

std::size_t FileSound::ReadBackwards(Planes& into, std::size_t count) {
    if (blockPosition == block[0].size()) {
        LoadBlock();
    }
    count = std::min(count, block[0].size() - blockPosition);
    for (std::size_t c = 0; c < into.size(); ++c) {
        std::copy_n(block[c].begin() + static_cast<std::ptrdiff_t>(blockPosition), count, into[c].begin());
    }
    blockPosition += count;
    return count;
}

/// The stretch of the file that ends at `blockEnd`, turned around. Its first samples wait for the block before it in
/// the file, with which they are blended.
void FileSound::LoadBlock() {
    auto const overlap = static_cast<std::int64_t>(ToSamples(kOverlapSeconds, rate));
    auto const margin = static_cast<std::int64_t>(ToSamples(kMarginSeconds, rate));
    auto const longest = static_cast<std::int64_t>(ToSamples(kBlockSeconds, rate));
    bool const isLast = blockEnd <= longest;
    std::int64_t const begin = isLast ? 0 : blockEnd - longest;
    std::int64_t const tail = head[0].empty() ? 0 : overlap;
    std::int64_t const from = std::max<std::int64_t>(begin - margin, 0);
    auto const before = static_cast<std::size_t>(begin - from);
    auto const after = static_cast<std::size_t>(tail == 0 ? 0 : tail + margin);
    std::size_t const body = static_cast<std::size_t>(blockEnd - begin);

    Resize(block, before + body + after);
    reader->Restart(from);
    reader->Read(GetPointers(block, 0).data(), block[0].size());
    if (tail > 0) {
        Align(block, before, body);
    }
    std::size_t const kept = isLast ? 0 : static_cast<std::size_t>(overlap);
    for (std::size_t c = 0; c < block.size(); ++c) {
        std::vector<float>& plane = block[c];
        plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(before));
        plane.resize(body + static_cast<std::size_t>(tail));
        for (std::size_t i = 0; i < static_cast<std::size_t>(tail); ++i) {
            float const share = (static_cast<float>(i) + 0.5F) / static_cast<float>(tail);
            plane[body + i] += share * (head[c][i] - plane[body + i]);
        }
        head[c].assign(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(kept));
        plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(kept));
        std::reverse(plane.begin(), plane.end());
    }
    blockPosition = 0;
    blockEnd = begin;
}

/// Moves the samples to where the end of the body continues in `head`, within the margin.
void FileSound::Align(Planes& samples, std::size_t before, std::size_t body) const {
    auto const margin = static_cast<std::ptrdiff_t>(ToSamples(kMarginSeconds, rate));
    auto const count = static_cast<std::ptrdiff_t>(head[0].size());
    auto const place = static_cast<std::ptrdiff_t>(before + body);
    std::ptrdiff_t best = 0;
    double least = std::numeric_limits<double>::max();
    for (std::ptrdiff_t i = 0; i <= 2 * margin; ++i) {
        std::ptrdiff_t const lag = i % 2 == 0 ? i / 2 : -(i + 1) / 2;  // the nearest first
        double difference = 0.0;
        for (std::size_t c = 0; c < samples.size(); ++c) {
            for (std::ptrdiff_t k = 0; k < count; ++k) {
                float const d =
                    samples[c][static_cast<std::size_t>(place + lag + k)] - head[c][static_cast<std::size_t>(k)];
                difference += static_cast<double>(d) * d;
            }
        }
        if (difference < least) {
            least = difference;
            best = lag;
        }
    }
    for (std::vector<float>& plane : samples) {
        if (best > 0) {
            plane.erase(plane.begin(), plane.begin() + best);
        } else {
            plane.insert(plane.begin(), static_cast<std::size_t>(-best), plane.front());
        }
    }
}

void FileSound::Remember(std::size_t count) {
    if (whole[0].size() + count > ToSamples(kRememberedSeconds, rate)) {
        canRemember = false;
        whole.assign(whole.size(), {});
        return;
    }
    for (std::size_t c = 0; c < whole.size(); ++c) {
        whole[c].insert(whole[c].end(), scratch[c].begin(), scratch[c].begin() + static_cast<std::ptrdiff_t>(count));
    }
}

/// Where the end of the piece and its beginning do not meet, the step fades away: no click.
void FileSound::MendSeam(std::size_t count) {
    auto const length = static_cast<float>(ToSamples(kSeamSeconds, rate));
    for (std::size_t i = 0; i < count; ++i) {
        if (isAtSeam) {
            isAtSeam = false;
            sinceSeam = 0;
            for (std::size_t c = 0; c < seams.size(); ++c) {
                float const step = seams[c].last - scratch[c][i];
                seams[c].offset = std::abs(step) > 2.0F * seams[c].usualStep ? step : 0.0F;
            }
        }
        bool const isMending = static_cast<float>(sinceSeam) < length;
        float const share =
            isMending ? 0.5F + 0.5F * std::cos(std::numbers::pi_v<float> * static_cast<float>(sinceSeam) / length)
                      : 0.0F;
        for (std::size_t c = 0; c < seams.size(); ++c) {
            Seam& seam = seams[c];
            float& sample = scratch[c][i];
            sample += isMending ? share * seam.offset : 0.0F;
            // A while back the steps count less.
            seam.usualStep = std::max(std::abs(sample - seam.last), seam.usualStep * 0.999F);
            seam.last = sample;
        }
        sinceSeam += isMending ? 1 : 0;
    }
}

}  // namespace Kaltor::Render

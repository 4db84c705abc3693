#include "Render/TimeStretch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace Kaltor::Render {
namespace {

constexpr double kHopSeconds = 0.024;
constexpr double kSearchSeconds = 0.016;        // chords need more than a period of a voice
constexpr double kAttackSearchSeconds = 0.001;  // near an attack
constexpr double kBlockSeconds = 0.002;
constexpr double kAttackRatio = 10.0;  // of a block's energy to that of the sound before
constexpr double kBackgroundSeconds = 0.02;
constexpr double kQuiet = 1e-6;  // energy of a sample below which nothing is an attack
constexpr std::size_t kReadAtOnce = 2048;

}  // namespace

TimeStretch::TimeStretch(std::unique_ptr<SoundSource> source, double speedOfSource, Media::SoundFormat const& format)
    : input(std::move(source)),
      speed(speedOfSource),
      hop(std::llround(kHopSeconds * format.sampleRate)),
      search(std::llround(kSearchSeconds * format.sampleRate)),
      reach(hop + search),
      // There the time runs half as fast as the speed that is asked for, or half as fast again.
      mending(std::llround(2.0 * static_cast<double>(reach) * std::abs(1.0 - speed) / speed) + 1),
      block(std::max<std::int64_t>(std::llround(kBlockSeconds * format.sampleRate), 1)),
      samples(static_cast<std::size_t>(format.channels)),
      lastAttack(std::numeric_limits<std::int64_t>::min() / 4),
      made(samples.size(), std::vector<float>(static_cast<std::size_t>(hop))),
      position(static_cast<std::size_t>(hop)),
      scratch(samples.size(), std::vector<float>(kReadAtOnce)) {}

void TimeStretch::Read(float* const* planes, std::size_t count) {
    for (std::size_t done = 0; done < count;) {
        if (position == made[0].size()) {
            MakeHop();
        }
        std::size_t const part = std::min(count - done, made[0].size() - position);
        for (std::size_t c = 0; c < made.size(); ++c) {
            std::copy_n(made[c].begin() + static_cast<std::ptrdiff_t>(position), part, planes[c] + done);
        }
        position += part;
        done += part;
    }
}

float TimeStretch::At(std::vector<float> const& plane, std::int64_t sample) const {
    return sample < begin ? 0.0F : plane[static_cast<std::size_t>(sample - begin)];
}

/// From one window's middle to the next one's: the one fades out while the other one fades in.
void TimeStretch::MakeHop() {
    std::int64_t const next = output + hop;
    Target const target = FindTarget(next);
    Need(std::max(current, target.sample + search) + hop);
    std::int64_t const best = FindBest(current + hop, target);
    for (std::int64_t i = 0; i < hop; ++i) {
        float const sine =
            std::sin(std::numbers::pi_v<float> / 2.0F * (static_cast<float>(i) + 0.5F) / static_cast<float>(hop));
        float const share = sine * sine;
        for (std::size_t c = 0; c < made.size(); ++c) {
            float const before = At(samples[c], current + i);
            float const after = At(samples[c], best - hop + i);
            made[c][static_cast<std::size_t>(i)] = before + share * (after - before);
        }
    }
    position = 0;
    output = next;
    current = best;
    Forget(std::min(current, target.sample - search) - 2 * hop);
}

TimeStretch::Target TimeStretch::FindTarget(std::int64_t place) {
    // Attacks whose surroundings begin before the place must be known.
    double const whole = static_cast<double>(reach + mending);
    Need(static_cast<std::int64_t>((static_cast<double>(place) + whole) * speed) + 2 * block);
    while (!attacks.empty() && static_cast<double>(attacks.front()) / speed + whole < static_cast<double>(place)) {
        attacks.pop_front();
    }
    double const there = static_cast<double>(place) * speed;
    if (attacks.empty()) {
        return {std::llround(there), false};
    }
    double const distance = static_cast<double>(place) - static_cast<double>(attacks.front()) / speed;
    double const size = std::abs(distance);
    if (size <= static_cast<double>(reach)) {
        return {std::llround(static_cast<double>(attacks.front()) + distance), true};
    }
    // The difference to the place by the speed alone goes back to nothing.
    double const share = std::clamp((whole - size) / static_cast<double>(mending), 0.0, 1.0);
    double const difference = std::copysign(static_cast<double>(reach) * (1.0 - speed), distance);
    return {std::llround(there + share * difference), false};
}

/// The similarity of the input at two places: their product by the second one's size.
double TimeStretch::Compare(std::int64_t a, std::int64_t b, std::int64_t count, int step) const {
    float product = 0.0F;
    float energy = 1e-9F;  // silence is like everything
    for (std::int64_t i = 0; i < count; i += step) {
        float const y = At(mono, b + i);
        product += At(mono, a + i) * y;
        energy += y * y;
    }
    return static_cast<double>(product) / std::sqrt(static_cast<double>(energy));
}

/// The middle of the next window: near the target, where its beginning is most like what continues the current one.
std::int64_t TimeStretch::FindBest(std::int64_t continued, Target const& target) {
    std::int64_t const range = target.isNearAttack
                                   ? std::min<std::int64_t>(search, std::llround(static_cast<double>(search) *
                                                                                 kAttackSearchSeconds / kSearchSeconds))
                                   : search;
    if (std::abs(continued - target.sample) <= (target.isNearAttack ? range : 0)) {
        return continued;  // it goes on as it is
    }
    std::int64_t best = target.sample;
    double most = -std::numeric_limits<double>::max();
    auto const look = [&](std::int64_t middle, int step) {
        double const likeness = Compare(continued - hop, middle - hop, hop, step);
        if (likeness > most) {
            most = likeness;
            best = middle;
        }
    };
    constexpr int kCoarse = 4;
    for (std::int64_t lag = 0; lag <= range; lag += kCoarse) {
        look(target.sample + lag, kCoarse);
        look(target.sample - lag, kCoarse);
    }
    std::int64_t const coarse = best;
    most = -std::numeric_limits<double>::max();
    best = coarse;
    for (std::int64_t lag = 0; lag < kCoarse; ++lag) {
        look(std::min(coarse + lag, target.sample + range), 1);
        look(std::max(coarse - lag, target.sample - range), 1);
    }
    return best;
}

void TimeStretch::Need(std::int64_t end) {
    while (begin + static_cast<std::int64_t>(mono.size()) < end) {
        std::vector<float*> planes;
        for (std::vector<float>& plane : scratch) {
            planes.push_back(plane.data());
        }
        input->Read(planes.data(), kReadAtOnce);
        for (std::size_t c = 0; c < samples.size(); ++c) {
            samples[c].insert(samples[c].end(), scratch[c].begin(), scratch[c].end());
        }
        for (std::size_t i = 0; i < kReadAtOnce; ++i) {
            float sum = 0.0F;
            float weight = 1.0F;
            for (std::vector<float> const& plane : scratch) {
                sum += weight * plane[i];
                weight *= 0.8F;  // sides in opposite phase do not cancel out
            }
            mono.push_back(sum);
        }
        FindAttacks();
    }
}

/// A block with much more energy in its high frequencies than what sounded before begins with an attack.
void TimeStretch::FindAttacks() {
    double const keep = std::exp(-kBlockSeconds / kBackgroundSeconds);
    for (; measured + block <= begin + static_cast<std::int64_t>(mono.size()); measured += block) {
        auto const difference = [this](std::int64_t i) { return At(mono, i) - (i > 0 ? At(mono, i - 1) : 0.0F); };
        double energy = 0.0;
        float largest = 0.0F;
        for (std::int64_t i = measured; i < measured + block; ++i) {
            float const d = difference(i);
            energy += static_cast<double>(d) * d;
            largest = std::max(largest, std::abs(d));
        }
        bool const isAttack = energy > kAttackRatio * background && energy > kQuiet * static_cast<double>(block);
        double const apart = 2.0 * static_cast<double>(reach + mending) * speed;
        if (isAttack && static_cast<double>(measured - lastAttack) >= apart) {
            std::int64_t start = measured;
            while (std::abs(difference(start)) < largest / 2.0F) {
                ++start;
            }
            attacks.push_back(start);
            lastAttack = measured + block;
        }
        background += (1.0 - keep) * (energy - background);
    }
}

void TimeStretch::Forget(std::int64_t before) {
    // In large steps: what stays is moved.
    std::int64_t const count =
        std::min<std::int64_t>({before, measured - 1, begin + static_cast<std::int64_t>(mono.size())}) - begin;
    if (count < static_cast<std::int64_t>(kReadAtOnce) * 4) {
        return;
    }
    for (std::vector<float>& plane : samples) {
        plane.erase(plane.begin(), plane.begin() + count);
    }
    mono.erase(mono.begin(), mono.begin() + count);
    begin += count;
}

}  // namespace Kaltor::Render

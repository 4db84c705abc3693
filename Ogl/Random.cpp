#include "Ogl/Random.h"

#include <cstdlib>
#include <limits>

#include "Ogl/Noise.h"

namespace Kaltor::Ogl {
namespace {

constexpr std::size_t kLag = 3;
constexpr int kRoundsToMix = 10;

/// Apart from the numbers of a clip's effects.
constexpr std::uint32_t kTransition = std::numeric_limits<std::uint32_t>::max();

}  // namespace

Random::Random(std::uint32_t seed) : own(std::in_place) {
    // The first values come from the "minimal standard" generator; the remainder takes the sign of a seed from 2^31 on.
    constexpr std::int64_t kMultiplier = 16807;
    constexpr std::int64_t kModulus = 2147483647;
    own->next = kLag;
    std::int64_t value = seed == 0 ? 1 : static_cast<std::int32_t>(seed);
    for (std::uint32_t& slot : own->values) {
        slot = static_cast<std::uint32_t>(value);
        value = value * kMultiplier % kModulus;
        value += value < 0 ? kModulus : 0;
    }
    for (std::size_t i = 0; i < kRoundsToMix * own->values.size(); ++i) {
        Draw();
    }
}

std::uint32_t Random::Draw() {
    if (!own) {
        return static_cast<std::uint32_t>(std::rand());
    }
    std::size_t const count = own->values.size();
    std::uint32_t& value = own->values[own->next];
    value += own->values[(own->next + count - kLag) % count];
    own->next = (own->next + 1) % count;
    return value >> 1U;
}

std::uint32_t SeedOfEffect(std::uint32_t jobSeed, std::size_t clip, std::size_t number) {
    bool const isFirst = clip == 0 && number == 0;
    return isFirst ? jobSeed : Hash(jobSeed, static_cast<std::uint32_t>(clip), static_cast<std::uint32_t>(number))[0];
}

std::uint32_t SeedOfTransition(std::uint32_t jobSeed, std::size_t joint) {
    return joint == 0 ? jobSeed : Hash(jobSeed, static_cast<std::uint32_t>(joint), kTransition)[0];
}

}  // namespace Kaltor::Ogl

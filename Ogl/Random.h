#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Kaltor::Ogl {

/// Random numbers in the order in which they are drawn. A value: a copy goes on by itself from where it was copied.
class Random {
public:
    /// Draws from the C library's `std::rand`, which the whole process shares.
    Random() = default;
    /// A sequence of its own, which follows from the seed alone: the numbers that the GNU C library's `rand` gives
    /// after `srand(seed)`, here on every system.
    explicit Random(std::uint32_t seed);

    /// The next number, 0 to 2^31 - 1.
    std::uint32_t Draw();

private:
    /// A lagged Fibonacci generator: x(n) = x(n - 31) + x(n - 3) modulo 2^32, whose lowest bit is left out.
    struct Sequence {
        std::array<std::uint32_t, 31> values;
        std::size_t next;
    };

    std::optional<Sequence> own;
};

/// Seeds of what draws in one job, by its place there. They depend on nothing else, so that one more effect changes no
/// other; the first of each kind has the job's own seed, with which it draws what it does alone.
std::uint32_t SeedOfEffect(std::uint32_t jobSeed, std::size_t clip, std::size_t number);
std::uint32_t SeedOfTransition(std::uint32_t jobSeed, std::size_t joint);

}  // namespace Kaltor::Ogl

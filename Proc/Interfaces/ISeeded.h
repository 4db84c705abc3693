#pragma once

#include <cstdint>

#include "Proc/Interfaces/IEffect.h"

namespace Kaltor::Proc {

/// What an effect may offer besides `IEffect`: to take its random numbers from a seed. Hosts find it by `dynamic_cast`;
/// one that never asks gets numbers of the C library's generator.
class ISeeded {
public:
    /// From the next frame on, what is random follows from this seed alone: neither from the frames before nor from
    /// other effects. As `SetSettings`, not while a frame is being drawn. Processing thread.
    virtual void SetSeed(std::uint32_t seed) = 0;

protected:
    ~ISeeded() = default;
};

/// Seeds an effect that can be seeded.
inline void Seed(IEffect& effect, std::uint32_t seed) {
    if (auto* const seeded = dynamic_cast<ISeeded*>(&effect)) {
        seeded->SetSeed(seed);
    }
}

}  // namespace Kaltor::Proc

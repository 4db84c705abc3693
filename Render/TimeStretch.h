#pragma once

#include <deque>

#include "Render/SoundSource.h"

namespace Kaltor::Render {

/// Plays faster or slower with the pitch kept: windows of the sound overlap at the distance that the speed asks for,
/// and each is moved a little to where it continues the one before (W. Verhelst and M. Roelands, "An overlap-add
/// technique based on waveform similarity (WSOLA)", ICASSP 1993).
///
/// Output sample n shows the input around n times the speed, over any length, within the range of that search. Attacks
/// are played once, at their own speed, and lie within 2 ms of their place: around them the time runs as in the input,
/// which is made up for before and after.
class TimeStretch final : public SoundSource {
public:
    TimeStretch(std::unique_ptr<SoundSource> source, double speed, Media::SoundFormat const& format);

    void Read(float* const* planes, std::size_t count) override;

private:
    /// A place in the input, and whether an attack is near it.
    struct Target {
        std::int64_t sample;
        bool isNearAttack;
    };

    void MakeHop();
    /// What is to be in the middle of the window at an output sample.
    Target FindTarget(std::int64_t output);
    std::int64_t FindBest(std::int64_t continued, Target const& target);
    double Compare(std::int64_t a, std::int64_t b, std::int64_t count, int step) const;
    /// Reads so that the input up to a sample is there.
    void Need(std::int64_t end);
    void FindAttacks();
    void Forget(std::int64_t before);
    float At(std::vector<float> const& plane, std::int64_t sample) const;

    std::unique_ptr<SoundSource> input;
    double speed;
    std::int64_t hop;      ///< of the output; half a window
    std::int64_t search;   ///< how far a window may be moved
    std::int64_t reach;    ///< output samples before and after an attack that keep the input's speed
    std::int64_t mending;  ///< output samples that make up for it, on either side
    std::int64_t block;    ///< samples whose energy is compared to find attacks

    // The input from sample `begin` on; what lies before 0 is silence.
    Planes samples;
    std::vector<float> mono;
    std::int64_t begin = 0;

    std::int64_t measured = 0;  ///< up to which attacks were looked for
    double background = 0.0;    ///< energy of a block until there
    std::deque<std::int64_t> attacks;
    std::int64_t lastAttack;

    std::int64_t output = 0;   ///< where the next hop begins
    std::int64_t current = 0;  ///< the input sample in the middle of the window there
    Planes made;
    std::size_t position = 0;
    Planes scratch;
};

}  // namespace Kaltor::Render

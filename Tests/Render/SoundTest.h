#pragma once

#include "Render/SoundMix.h"
#include "Tests/Media/MediaTest.h"

namespace Kaltor::Render::Tests {

using Media::Microseconds;
using Media::SoundFormat;
using Planes = std::vector<std::vector<float>>;
/// Sample n of a channel.
using Wave = std::function<double(std::int64_t n, int channel)>;

constexpr int kRate = 48000;

/// A sine of so many Hz.
Wave Sine(double frequency, double amplitude = 0.5);
/// White noise, another one in each channel.
Wave Noise(double amplitude, unsigned seed = 1);

/// Plans of files in a folder of its own. 100 frames a second: a frame has 480 samples.
class SoundTest : public Media::Tests::MediaTest {
protected:
    /// Writes sound without loss (WAV, 32-bit float) and returns its path.
    std::string Write(std::string const& name, double seconds, Wave const& wave, int channels = 1,
                      int rate = kRate) const;
    /// A sound from the beginning of a file that has `seconds`.
    PlannedSound Whole(std::string const& path, double seconds, std::int64_t first = 0) const;
    SoundPlan MakePlan(std::vector<PlannedSound> sounds, double seconds) const;
    /// All of a plan's sound, read in pieces of sizes that differ.
    Planes Mix(SoundPlan const& plan, int channels = 1, int rate = kRate);

    std::vector<std::string> warnings;
};

/// The largest difference between two samples in a row, of those from `from` to `to`.
double LargestStep(std::vector<float> const& plane, std::size_t from, std::size_t to);
/// What a sine of so many Hz does between two samples at most.
double StepOf(double frequency, double amplitude = 0.5);
/// The root of the mean square.
double Level(std::vector<float> const& plane, std::size_t from, std::size_t to);
/// How much of a frequency there is: the amplitude of its sine.
double AmplitudeOf(std::vector<float> const& plane, double frequency, std::size_t from, std::size_t to);
/// Where the largest sample is.
std::size_t PlaceOfPeak(std::vector<float> const& plane, std::size_t from, std::size_t to);

struct Loudness {
    double integrated;  ///< LUFS
    double truePeak;    ///< dBTP
};
/// As FFmpeg's filter ebur128 measures it, which shares nothing with the library that the mix uses.
Loudness MeasureByFfmpeg(Planes const& sound, int rate = kRate);

}  // namespace Kaltor::Render::Tests

#include "Render/Loudness.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>

#include <ebur128.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Render {

struct LoudnessMeter::State {
    // A histogram of the blocks' loudness, since a list of them would grow with the length.
    explicit State(Media::SoundFormat const& format)
        : meter(ebur128_init(static_cast<unsigned>(format.channels), static_cast<unsigned long>(format.sampleRate),
                             EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_HISTOGRAM)) {
        if (meter == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~State() { ebur128_destroy(&meter); }
    State(State const&) = delete;
    State& operator=(State const&) = delete;

    ebur128_state* meter;
};

LoudnessMeter::LoudnessMeter(Media::SoundFormat const& format) : state(std::make_unique<State>(format)) {}
LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::Add(std::vector<std::vector<float>> const& planes, std::size_t count) {
    interleaved.resize(count * planes.size());
    for (std::size_t c = 0; c < planes.size(); ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            interleaved[i * planes.size() + c] = planes[c][i];
        }
    }
    if (ebur128_add_frames_float(state->meter, interleaved.data(), count) != EBUR128_SUCCESS) {
        throw std::bad_alloc();
    }
}

double LoudnessMeter::GetLoudness() const {
    double loudness = 0.0;
    if (ebur128_loudness_global(state->meter, &loudness) != EBUR128_SUCCESS) {
        Core::Throw(std::logic_error("the loudness was not measured"));
    }
    return loudness;
}

double LoudnessMeter::GetTruePeak() const {
    double highest = 0.0;
    for (unsigned c = 0; c < state->meter->channels; ++c) {
        double peak = 0.0;
        if (ebur128_true_peak(state->meter, c, &peak) != EBUR128_SUCCESS) {
            Core::Throw(std::logic_error("the true peak was not measured"));
        }
        highest = std::max(highest, peak);
    }
    return 20.0 * std::log10(std::max(highest, 1e-10));
}

}  // namespace Kaltor::Render

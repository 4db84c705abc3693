#pragma once

#include <functional>
#include <optional>
#include <span>

#include "Render/SoundSource.h"
#include "Render/VolumeCurve.h"

namespace Kaltor::Render {

/// Some of a plan's sounds, mixed from the beginning on. A file is open only while it sounds.
class SoundBus {
public:
    /// The gains of the samples that are being mixed, for a bed.
    using DuckingGains = std::function<std::span<float const>(Ducking const&)>;

    /// Beds, or all others. `plan` must outlive the bus.
    SoundBus(SoundPlan const& plan, bool areBeds, Media::SoundFormat const& format, Media::WarningFn warn,
             Media::InputRules const& rules);

    /// Adds the next `count` samples. Throws `SystemError`, `Cancelled`; what else is wrong with a file gives a warning
    /// and silence.
    void Add(Planes& sum, std::size_t count, DuckingGains const& getDucking = {});

private:
    /// A sound with its places in samples.
    struct Voice {
        PlannedSound const* sound = nullptr;
        std::int64_t begin = 0;
        std::int64_t end = 0;
        std::int64_t playBegin = 0;  ///< after the silence at its beginning
        std::int64_t playEnd = 0;    ///< before that at its end
        std::unique_ptr<SoundSource> source;
        std::optional<VolumeCurve> volume;
    };

    Voice Place(PlannedSound const& sound) const;
    bool Open(Voice& voice) const;
    void Mix(Voice& voice, Planes& sum, std::int64_t from, std::int64_t to, DuckingGains const& getDucking);
    void SetGains(Voice& voice, std::int64_t from, std::int64_t to);
    void Fade(std::int64_t from, std::int64_t begin, std::int64_t end, bool isIn);
    void Report(std::string const& message) const;

    SoundPlan const& plan;
    Media::SoundFormat format;
    Media::WarningFn warn;
    Media::InputRules rules;
    std::vector<Voice> waiting;  ///< the next one last
    std::vector<Voice> voices;
    std::int64_t position = 0;
    Planes scratch;
    std::vector<float> gains;
};

}  // namespace Kaltor::Render

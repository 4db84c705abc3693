#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "Adapters/Frei0r/HostClock.h"
#include "Adapters/Frei0r/Parameters.h"
#include "Host/PictureEffect.h"

namespace Kaltor::Frei0r {

/// What all instances of one door share: the effect's declaration, as hosts see it.
struct Plugin {
    explicit Plugin(std::string id);

    std::string classId;
    std::string name;
    bool isMixer;
    std::string summary;
    Parameters parameters;

    /// By the class's short name; null where there is no such effect. Plugins live until the process ends, so hosts may
    /// keep what points into them.
    static Plugin const* Find(std::string const& classId);
};

/// One use of an effect in a host, for pictures of one size. Any thread may call, several at a time: each value that a
/// thread has set since its last picture counts for its next one, before what others have set, so that a host which
/// draws several frames at once gets each with its own values. Pictures are drawn one after another.
class Instance {
public:
    Instance(Plugin const& what, std::uint32_t pictureWidth, std::uint32_t pictureHeight);

    /// What does not fit the parameter is ignored. `value` and the results are as the interface has them.
    void SetValue(int index, void const* value);
    void GetValue(int index, void* value) const;

    /// Draws `output` from the inputs, which it may be one of. Never throws: where the effect cannot be drawn, the
    /// first picture passes unchanged (with a mixer the second one from the middle on), and a line on standard error
    /// says why. `caller`: the host's file, or "".
    void Draw(double time, std::span<std::uint32_t const* const> inputs, std::uint32_t* output,
              std::string_view caller) noexcept;

private:
    std::vector<HostValue> TakeValues();
    void DrawOrThrow(std::vector<HostValue> const& hostValues, std::int64_t timestamp,
                     std::span<std::uint32_t const* const> inputs, std::uint32_t* output);
    void Prepare(std::vector<HostValue> const& hostValues);
    void Pass(std::vector<HostValue> const& hostValues, std::int64_t timestamp,
              std::span<std::uint32_t const* const> inputs, std::uint32_t* output) const;
    void Copy(std::uint32_t const* input, std::uint32_t* output) const;
    void Report(std::string const& text) const;

    Plugin const& plugin;
    std::uint32_t width;
    std::uint32_t height;

    mutable std::mutex valuesMutex;
    std::vector<HostValue> values;
    std::map<std::thread::id, std::map<std::size_t, HostValue>> ownValues;

    std::mutex drawMutex;
    std::optional<HostClock> clock;
    std::optional<Host::PictureEffect> effect;
    std::vector<HostValue> drawnWith;
    std::optional<std::uint32_t> seed;
    bool hasDrawn = false;
};

}  // namespace Kaltor::Frei0r

// Draws every effect, transition and service in turn for hours, and watches what the process holds. Memory,
// descriptors, threads and GL objects may grow while caches fill, and then no more.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Host/Catalog.h"
#include "Measure/EffectRun.h"
#include "Ogl/OglManager.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;

/// What the process holds after one round over all effects.
struct Sample {
    double minutes;
    std::int64_t memory;  ///< KiB of memory of its own that is resident
    std::int64_t descriptors;
    std::int64_t threads;
    std::int64_t glObjects;
};

std::int64_t ReadStatus(std::string const& key) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key + ":")) {
            return std::stoll(line.substr(key.size() + 1));
        }
    }
    throw std::runtime_error("/proc/self/status has no " + key);
}

Sample TakeSample(double minutes) {
    auto const descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    auto const& alive = Ogl::OglManager::GetInstance().GetObjectCounts().alive;
    return {minutes, ReadStatus("RssAnon"), descriptors, ReadStatus("Threads"),
            std::accumulate(alive.begin(), alive.end(), std::int64_t{0})};
}

void DrawAll(Host::Catalog const& catalog, Measure::NoiseFrames const& frames) {
    for (Host::CatalogEntry const& entry : catalog.GetEntries()) {
        std::vector<std::pair<std::string, std::string>> values;
        if (entry.name == Proc::SettingsResizer::CLASS_ID) {
            values = {{"width", "100"}, {"height", "75"}};
        }
        Measure::EffectRun run(catalog.GetFactory(), *Host::MakeSettings(entry, values), entry.isTwoInput, frames);
        run.DrawEndToEnd(Measure::EffectRun::kPositions);
    }
}

std::int64_t Median(std::vector<Sample>::const_iterator from, std::vector<Sample>::const_iterator to,
                    std::int64_t Sample::*member) {
    std::vector<std::int64_t> values;
    std::transform(from, to, std::back_inserter(values), [member](Sample const& one) { return one.*member; });
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Compares the end with the time after the caches have filled. Returns how many things grew.
int Judge(std::vector<Sample> const& samples) {
    // Caches, pools and the driver's programs fill in the first third. A quarter of the rest is compared with the last.
    auto const count = static_cast<std::ptrdiff_t>(samples.size());
    auto const start = samples.begin() + count / 3;
    std::ptrdiff_t const part = std::max<std::ptrdiff_t>(1, (count - count / 3) / 4);
    // The driver's allocator moves by some MiB from round to round.
    constexpr std::int64_t kMemoryNoise = 8 * 1024;
    struct Watched {
        char const* name;
        std::int64_t Sample::*member;
        std::int64_t mayGrow;
    };
    int grown = 0;
    for (auto const& [name, member, mayGrow] :
         {Watched{"memory (KiB)", &Sample::memory, kMemoryNoise}, Watched{"descriptors", &Sample::descriptors, 0},
          Watched{"threads", &Sample::threads, 0}, Watched{"GL objects", &Sample::glObjects, 0}}) {
        std::int64_t const before = Median(start, start + part, member);
        std::int64_t const after = Median(samples.end() - part, samples.end(), member);
        bool const isGrown = after > before + mayGrow;
        grown += isGrown ? 1 : 0;
        fmt::print("{}: {} -> {}{}\n", name, before, after, isGrown ? "  GROWS" : "");
    }
    return grown;
}

int Run(double minutes) {
    using Clock = std::chrono::steady_clock;
    Host::Catalog const catalog = Host::Catalog::Load();
    // Landscape, portrait and odd sides, one after another.
    std::array<Measure::NoiseFrames, 3> const frames{Measure::NoiseFrames{catalog.GetFactory(), {320, 180, 1, 1}},
                                                     Measure::NoiseFrames{catalog.GetFactory(), {180, 320, 1, 1}},
                                                     Measure::NoiseFrames{catalog.GetFactory(), {241, 135, 1, 1}}};
    std::vector<Sample> samples;
    fmt::print("minutes,memory_kib,descriptors,threads,gl_objects\n");
    Clock::time_point const start = Clock::now();
    do {
        for (Measure::NoiseFrames const& some : frames) {
            DrawAll(catalog, some);
        }
        samples.push_back(TakeSample(std::chrono::duration<double, std::ratio<60>>(Clock::now() - start).count()));
        Sample const& last = samples.back();
        fmt::print("{:.2f},{},{},{},{}\n", last.minutes, last.memory, last.descriptors, last.threads, last.glObjects);
        std::fflush(stdout);
    } while (samples.back().minutes < minutes);

    constexpr std::size_t kFewest = 6;
    if (samples.size() < kFewest) {
        fmt::print(stderr, "kaltor-soak: {} rounds are too few to judge; {} are needed\n", samples.size(), kFewest);
        return 1;
    }
    return Judge(samples) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::optional<double> const minutes = argc == 2 ? Core::ParseNumber<double>(argv[1]) : std::nullopt;
        if (!minutes || !(*minutes > 0.0)) {
            fmt::print(stderr, "usage: kaltor-soak MINUTES\n");
            return 2;
        }
        return Run(*minutes);
    } catch (std::exception const& error) {
        fmt::print(stderr, "kaltor-soak: {}\n", Core::Describe(error));
        return 1;
    }
}

#include "Adapters/Frei0r/EffectSource.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "Host/Plugin.h"
#include "Ogl/OglManager.h"

namespace Kaltor::Frei0r {

EffectSource& EffectSource::Get() {
    // Never destroyed: instances may be in use while the process ends.
    static auto* const source = new EffectSource;
    return *source;
}

Proc::IEffectFactory const& EffectSource::GetFactory() {
    std::lock_guard const lock(mutex);
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (!factory) {
        startedIn = getpid();
        try {
            Ogl::OglManager::GetInstance();
            factory = Host::MakeRegistry()->GetFactory();
        } catch (...) {
            failure = std::current_exception();
            throw;
        }
    }
    return *factory;
}

bool EffectSource::IsForked() const {
    pid_t const started = startedIn;
    return started != 0 && started != getpid();
}

void EffectSource::GuardTheEnd() {
    // Not longer: a host may end the process from within a picture, in a signal's handler.
    static constexpr std::chrono::seconds kLongestWait{2};
    std::atexit([] {
        EffectSource& source = Get();
        bool const isWaiting = !source.isEnding && !source.IsForked();
        source.isEnding = true;
        if (isWaiting && source.drawing.try_lock_for(kLongestWait)) {
            source.drawing.unlock();
        }
    });
}

void EffectSource::Report(std::string const& line) {
    constexpr std::size_t kMostLines = 100;
    std::lock_guard const lock(reportMutex);
    if (reported.size() < kMostLines && reported.insert(line).second) {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
}

}  // namespace Kaltor::Frei0r

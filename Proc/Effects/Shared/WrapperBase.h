#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

#include <boost/shared_ptr.hpp>

#include "Core/Interfaces/Exception.h"
#include "Core/Interfaces/Statistics.h"
#include "Ogl/TaskTimer.h"
#include "Proc/Effects/Shared/OglCache.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Proc {

/// What the wrappers of effects and of transitions have in common: the algorithm with its cache, timer and counters,
/// the progress mapping and the uploader. Processing thread.
template <typename Interface, typename Algorithm>
class WrapperBase : public RefCountImpl<Interface>, public ISeeded {
public:
    WrapperBase(char const* name, boost::intrusive_ptr<IEffectFactory const> const& factory,
                std::unique_ptr<Algorithm> owned)
        : timer(Ogl::TaskTimer::Create(name)),
          algorithm(std::move(owned)),
          uploader(factory->CreateOneInputEffect(SettingsFrameUploader::CLASS_ID, ImplNames::OGL)) {}

    ~WrapperBase() override {
        WrapperBase::Reset();
        timer->LogAndReset();
    }

    void Reset() override {
        Ogl::DestroyOglCache(cache);
        timer->LogAndReset();
    }
    Core::Property GetStatistic() const override { return counters.MakeStatistics(); }
    void SetSettings(Settings const& settings) override { algorithm->SetSettings(settings); }
    TimeToProgress& GetProgress() override { return progress; }
    TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(TimeToProgress const& value) override { progress = value; }
    /// The cache goes, since what is in it may have been drawn already.
    void SetSeed(std::uint32_t seed) override {
        Ogl::DestroyOglCache(cache);
        algorithm->SetSeed(seed);
    }

protected:
    /// The cache for the next frames: a new one after the start and after each reset.
    boost::shared_ptr<Ogl::OglCache> const& RequireCache() {
        if (!cache) {
            cache.reset(algorithm->CreateCache());
        }
        return cache;
    }
    [[noreturn]] static void ThrowDeprecated(Core::SourceLocation const& where) {
        Core::Throw(std::logic_error("/// @todo deprecated method"), where);
    }

    boost::intrusive_ptr<Ogl::TaskTimer> timer;
    boost::shared_ptr<Algorithm> algorithm;
    boost::shared_ptr<Ogl::OglCache> cache;
    Core::FrameCounters counters;
    TimeToProgress progress;
    boost::intrusive_ptr<IOneInputEffectVideo> uploader;
};

}  // namespace Kaltor::Proc

#pragma once

#include "Core/Interfaces/Statistics.h"
#include "Ogl/TaskTimer.h"
#include "Proc/Interfaces/IOneInputEffect.h"

namespace Kaltor::Proc {

/// What the uploader and the downloader have in common: a timer, counters, nothing to reset, progress unused.
class FrameService : public RefCountImpl<IOneInputEffectVideo> {
public:
    explicit FrameService(char const* name) : timer(Ogl::TaskTimer::Create(name)) {}

    void Reset() override {}
    Core::Property GetStatistic() const override { return counters.MakeStatistics(); }
    TimeToProgress& GetProgress() override { return progress; }
    TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(TimeToProgress const& value) override { progress = value; }

protected:
    boost::intrusive_ptr<Ogl::TaskTimer> timer;
    Core::FrameCounters counters;

private:
    TimeToProgress progress;
};

}  // namespace Kaltor::Proc

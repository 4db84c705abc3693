#pragma once

#include "Tests/Media/MediaTest.h"
#include "Render/Render.h"

namespace Kaltor::Render::Tests {

using Media::Tests::Grey;
using Media::Tests::LumaOf;
using Media::Tests::MediaTest;
using Media::Tests::Watchdog;

/// What the fake effects received, and how they behave.
struct FakeLog {
    struct Call {
        std::int64_t timestamp;
        double progress;
    };

    std::mutex mutex;
    std::map<std::string, std::vector<Call>> calls;           ///< by settings class
    std::map<std::string, std::vector<std::uint32_t>> seeds;  ///< those that effects got, in the order of their making
    std::atomic<int> liveEffects{0};
    /// Called by every effect, before it makes its picture.
    std::function<void(std::string const& classId, Call const&)> onCall;
    /// The size that effects give their pictures, where it is not the input's.
    std::optional<Conf::FrameInfo> size;
};

/// The settings classes that have fakes: two effects and a transition.
inline std::string const kTint = "EffectInvert";
inline std::string const kAll = "EffectTwirl";
inline std::string const kMix = "TransitionCrossfade";

/// Makes CPU effects that mix their inputs (a transition by its progress) and log their calls. The log must outlive it.
boost::intrusive_ptr<Proc::IEffectFactory const> MakeFakeFactory(FakeLog& log);

/// A job over clips, all joined by the fake transition of one duration.
RenderJob MakeJob(std::vector<std::string> const& clips, std::string const& output,
                  std::chrono::milliseconds transition = std::chrono::milliseconds(500));
/// A joint of so many seconds; null settings are a cut.
Edit::Joint MakeJoint(std::shared_ptr<Proc::Settings const> settings, double seconds);
/// The effect on one clip, or on all.
void AddEffect(RenderJob& job, std::string const& classId, std::optional<std::size_t> clip = {});

}  // namespace Kaltor::Render::Tests

#pragma once

#include "Host/EffectRegistry.h"
#include "Ogl/OglManager.h"
#include "Proc/Settings/Settings.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {

/// A place in time: the frame's timestamp, and progress where it is not to follow from it.
struct Moment {
    double progress = 0.0;
    double seconds = 0.0;
};

/// The registry with our plug-ins, loaded once for the process.
Host::EffectRegistry const& GetRegistry();
/// The defaults of everything that it has, in order of registration.
std::vector<std::unique_ptr<Proc::Settings>> MakeAllSettings();
/// Those of one class. Throws `std::invalid_argument` where there is none.
std::unique_ptr<Proc::Settings> MakeDefaults(std::string const& classId);
/// Settings as a user types them, but without range checks: "TransitionWipe direction=up width=3".
std::unique_ptr<Proc::Settings> Typed(std::string const& text);
/// The reverse, with all fields.
std::string Describe(Proc::Settings const& settings);
/// That progress whatever the time is.
Proc::TimeToProgress Always(double progress);

/// Effects run on real GL, made by the real registry from the real plug-in, on pictures of plain numbers.
class GlTest : public testing::Test {
protected:
    static boost::intrusive_ptr<Proc::IEffectFactory const> GetFactory();

    /// One effect on one picture, through uploader and downloader.
    static Picture Run(Proc::Settings const& settings, Picture const& input, Moment const& moment = {});
    static Picture Run(Proc::Settings const& settings, Picture const& first, Picture const& second,
                       Moment const& moment = {});
    /// The same with settings as `Typed` takes them.
    static Picture Run(std::string const& settings, Picture const& input, Moment const& moment = {});
    static Picture Run(std::string const& settings, Picture const& first, Picture const& second,
                       Moment const& moment = {});

    static boost::intrusive_ptr<Proc::IOneInputEffectVideo> MakeEffect(Proc::Settings const& settings,
                                                                       Moment const& moment = {});
    static boost::intrusive_ptr<Proc::ITwoInputEffectVideo> MakeTransition(Proc::Settings const& settings,
                                                                           Moment const& moment = {});
    /// Runs a frame's pending tasks and brings it to main memory; mode 1: as yuv420p.
    static boost::intrusive_ptr<Proc::DataVideoFF> Download(boost::intrusive_ptr<Proc::IDataVideo> frame, int mode = 0);
};

/// Sets how frames are stored and moved, and sets it back.
class ScopedStrategy {
public:
    explicit ScopedStrategy(Ogl::FrameStrategy const& strategy) : before(Ogl::OglManager::GetInstance().GetStrategy()) {
        Ogl::OglManager::GetInstance().SetStrategy(strategy);
    }
    ~ScopedStrategy() { Ogl::OglManager::GetInstance().SetStrategy(before); }
    ScopedStrategy(ScopedStrategy const&) = delete;
    ScopedStrategy& operator=(ScopedStrategy const&) = delete;

private:
    Ogl::FrameStrategy before;
};

/// As on software GL, and as on a GPU.
constexpr Ogl::FrameStrategy kSoftwareStrategy{true, true, false, true, true, true};
constexpr Ogl::FrameStrategy kGpuStrategy{false, false, true, false, false, false};

/// Objects in use: all that exist except for the idle ones in the pools.
Ogl::GlObjectCounts CountObjectsInUse();

}  // namespace Kaltor::Tests

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Edit/Plan.h"
#include "Media/Conformer.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Render {

using FactoryPtr = boost::intrusive_ptr<Proc::IEffectFactory const>;
using FramePtr = boost::intrusive_ptr<Proc::IDataVideo>;

/// The output's frame number `frame` from a picture.
FramePtr MakeFrame(Proc::AvFramePtr picture, Edit::TimeLine const& time, std::int64_t frame);

/// One effect or transition of a plan, kept from its first frame to its last.
///
/// Its progress follows from the frame that a timestamp belongs to, without the microseconds' rounding: k / n over the
/// n frames of its span, then as the plan eases it.
class PlannedEffect {
public:
    enum class Progress : std::uint8_t {
        FromStart,  ///< k / n: 0 on the first frame
        ToEnd,      ///< (k + 1) / n: 1 on the last frame
    };

    /// With one input. The plan must outlive it.
    static PlannedEffect OneInput(FactoryPtr const& factory, Edit::TimeLine const& time, Edit::PlannedLook const& look,
                                  std::uint32_t seed);
    /// A transition.
    static PlannedEffect TwoInputs(FactoryPtr const& factory, Edit::TimeLine const& time, Edit::PlannedLook const& look,
                                   std::uint32_t seed, Progress progress = Progress::FromStart);

    void Process(FramePtr& frame, std::int64_t number);
    void Process(FramePtr& outgoing, FramePtr const& incoming, std::int64_t number);

private:
    PlannedEffect(Edit::TimeLine const& time, Edit::PlannedLook const& look, Proc::IEffect& effect, std::uint32_t seed,
                  std::int64_t lead, Progress progress);
    void SetFields(Proc::IEffect& effect, std::int64_t number);

    Edit::PlannedLook const* look;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> one;
    boost::intrusive_ptr<Proc::ITwoInputEffectVideo> two;
    FramePtr last;  ///< where fields change: the frame that was made with the present ones
};

/// The effects of a clip, an overlay or the video, in order.
class EffectChain {
public:
    /// `seedOf(k)`: the seed of the effect number k. The looks must outlive it.
    EffectChain(FactoryPtr factory, Edit::TimeLine const& time, std::vector<Edit::PlannedLook> const& looks,
                std::function<std::uint32_t(std::size_t)> seedOf);

    /// Whether an effect of that kind has work to do on a frame.
    bool Covers(std::int64_t number, bool isOnFrame) const;
    bool Covers(std::int64_t number) const { return Covers(number, false) || Covers(number, true); }
    void Process(FramePtr& frame, std::int64_t number, bool isOnFrame);

private:
    FactoryPtr factory;
    Edit::TimeLine time;
    std::vector<Edit::PlannedLook> const& looks;
    std::function<std::uint32_t(std::size_t)> seedOf;
    std::vector<std::unique_ptr<PlannedEffect>> effects;  ///< null before their first frame and after their last
};

/// Crops and scales frames on the GPU. The settings may follow from the frame.
class Sizer {
public:
    explicit Sizer(FactoryPtr effectFactory) : factory(std::move(effectFactory)) {}
    void Process(FramePtr& frame, Proc::SettingsResizer const& settings);

private:
    FactoryPtr factory;
    Proc::SettingsResizer used;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> effect;
};

/// Whether a frame of this form needs bringing to the output's.
bool NeedsSizing(Conf::FrameInfo const& frame, Media::VideoTarget const& target);

/// How a frame of this form is brought to the target's size and pixel aspect: whole, with bars.
Proc::SettingsResizer SizeWhole(Media::VideoTarget const& target, Proc::Color const& background);
/// To the size that it has between the bars.
Proc::SettingsResizer SizeInner(Conf::FrameInfo const& frame, Media::VideoTarget const& target);
/// So that it fills the target; what is cut off lies away from the focus (shares from the upper left corner).
Proc::SettingsResizer SizeFilling(Conf::FrameInfo const& frame, Media::VideoTarget const& target, double focusX,
                                  double focusY);
/// To the target's size, whatever its shape.
Proc::SettingsResizer SizeStretched(Media::VideoTarget const& target);

/// Brings frames back to main memory, in the output's form.
class Downloader {
public:
    Downloader(FactoryPtr const& factory, Media::VideoTarget const& target);
    Proc::AvFramePtr Process(FramePtr frame);

private:
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> effect;
    Media::Conformer conformer;
};

}  // namespace Kaltor::Render

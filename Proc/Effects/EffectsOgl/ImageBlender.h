#pragma once

#include <vector>

#include "Core/Interfaces/Statistics.h"
#include "Ogl/TaskTimer.h"
#include "Proc/Interfaces/IEffectFactory.h"
#include "Proc/Settings/IBlend.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Ogl {

/// Lays overlays over a base at a place in pixels, with alpha and an opacity. Processing thread.
class ImageBlender final : public RefCountImpl<Proc::IBlend> {
public:
    using Items = std::vector<boost::intrusive_ptr<Proc::IData>>;

    static boost::intrusive_ptr<Proc::ITwoInputEffectVideo> Create(
        boost::intrusive_ptr<Proc::IEffectFactory const> const& factory);

    Core::Property GetSettings() const override;
    void SetSettings(Core::Property const& property) override;
    void SetSettings(Proc::Settings const& value) override;
    void SetSettings(Proc::SettingsEffectImageBlender const& value) override;
    Proc::Settings const* GetSettingsBase() const override { return &settings; }
    void Reset() override {}
    Core::Property GetStatistic() const override { return counters.MakeStatistics(); }
    Proc::TimeToProgress& GetProgress() override { return progress; }
    Proc::TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(Proc::TimeToProgress const& value) override { progress = value; }

    using IBlend::ProcessData;
    /// The base and its overlays, in the order in which they are laid over it. If opacity is 0, the base itself. Throws
    /// `std::invalid_argument` if one of several items is missing or is not a picture.
    boost::intrusive_ptr<Proc::IData> ProcessData(Items const& items) override;
    void Process(boost::intrusive_ptr<Proc::IDataVideo>& first,
                 boost::intrusive_ptr<Proc::IDataVideo const> const& second) override;
    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>& codec) override;

private:
    explicit ImageBlender(boost::intrusive_ptr<Proc::IEffectFactory const> const& factory);

    boost::intrusive_ptr<Proc::IOneInputEffectVideo> uploader;
    boost::intrusive_ptr<TaskTimer> timer;
    Core::FrameCounters counters;
    Proc::SettingsEffectImageBlender settings;
    Proc::TimeToProgress progress;
};

}  // namespace Kaltor::Ogl

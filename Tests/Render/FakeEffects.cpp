#include "Host/EffectRegistry.h"
#include "Media/Conformer.h"
#include "RenderFixture.h"
#include "Proc/Interfaces/ISeeded.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Render::Tests {
namespace {

using FramePtr = boost::intrusive_ptr<Proc::IDataVideo>;
using namespace Media;
using namespace Media::Tests;

AVFrame const& PictureOf(Proc::IDataVideo const& data) {
    return dynamic_cast<Proc::DataVideoFF const&>(data).GetFrame();
}

FramePtr MakeLike(Proc::IDataVideo const& like, Proc::AvFramePtr picture) {
    FramePtr result = Proc::DataVideoFF::Wrap(std::move(picture));
    result->SetColorSpec(like.GetColorSpec());
    result->SetTimestamp(like.GetTimestamp());
    result->SetDuration(like.GetDuration());
    return result;
}

/// What both kinds of fake effect share.
template <typename Interface>
class FakeEffect : public RefCountImpl<Interface>, public Proc::ISeeded {
public:
    FakeEffect(FakeLog& logOfTest, std::string id) : log(logOfTest), classId(std::move(id)) { ++log.liveEffects; }
    ~FakeEffect() override { --log.liveEffects; }

    Core::Property GetSettings() const override { return {}; }
    void SetSettings(Core::Property const&) override {}
    void SetSettings(Proc::Settings const& settings) override {
        if (settings.GetClassId() != classId) {
            throw std::bad_cast();
        }
        if (auto const* const resizer = dynamic_cast<Proc::SettingsResizer const*>(&settings)) {
            size = *resizer;
        }
    }
    void Reset() override {}
    Core::Property GetStatistic() const override { return {}; }
    Proc::TimeToProgress& GetProgress() override { return progress; }
    Proc::TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(Proc::TimeToProgress const& value) override { progress = value; }
    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>&) override {}
    void SetSeed(std::uint32_t seed) override {
        std::lock_guard const lock(log.mutex);
        log.seeds[classId].push_back(seed);
    }

protected:
    /// Notes the call, whose progress is that of `time`, and returns a picture of the colour `color(progress)`.
    template <typename Color>
    FramePtr Draw(Proc::IDataVideo const& like, std::int64_t time, Color const& color) {
        FakeLog::Call const call{like.GetTimestamp(), progress.GetProgress(time)};
        if (log.onCall) {
            log.onCall(classId, call);
        }
        {
            std::lock_guard const lock(log.mutex);
            log.calls[classId].push_back(call);
        }
        return MakeLike(like, MakePicture(log.size.value_or(like.GetFrameInfo()), color(call.progress)));
    }

    FakeLog& log;
    std::string classId;
    Proc::SettingsResizer size;
    Proc::TimeToProgress progress;
};

class FakeOneInput final : public FakeEffect<Proc::IOneInputEffectVideo> {
public:
    using FakeEffect::FakeEffect;
    using Proc::IOneInputEffectVideo::ProcessData;

    /// The resizer fits with the conformer; the others change chroma, so that a processed picture can be recognised.
    void Process(FramePtr& data) override {
        if (classId == Proc::SettingsResizer::CLASS_ID) {
            VideoTarget target;
            target.frame = size.GetOutputFrameSize(data->GetFrameInfo());
            target.colorSpec = data->GetColorSpec();
            data = MakeLike(*data, Conformer("resizer", target).Convert(PictureOf(*data)));
        } else if (classId != Proc::SettingsFrameDownloader::CLASS_ID) {
            double const luma = MeanLuma(PictureOf(*data));
            data = Draw(*data, data->GetTimestamp(), [luma](double) { return Codes{luma, 100, 160}; });
        }
    }
};

class FakeTwoInput final : public FakeEffect<Proc::ITwoInputEffectVideo> {
public:
    using FakeEffect::FakeEffect;
    using Proc::ITwoInputEffectVideo::ProcessData;

    void Process(FramePtr& first, boost::intrusive_ptr<Proc::IDataVideo const> const& second) override {
        if (first->GetFrameInfo() != second->GetFrameInfo()) {
            throw std::logic_error("different data size");
        }
        double const from = MeanLuma(PictureOf(*first));
        double const to = MeanLuma(PictureOf(*second));
        first = Draw(*first, first->GetTimestamp() + first->GetDuration(),
                     [&](double p) { return Grey(from + (to - from) * p); });
    }
};

}  // namespace

boost::intrusive_ptr<Proc::IEffectFactory const> MakeFakeFactory(FakeLog& log) {
    Host::EffectRegistry registry;
    for (std::string const& id :
         {kTint, kAll, Proc::SettingsResizer::CLASS_ID, Proc::SettingsFrameDownloader::CLASS_ID}) {
        registry.RegisterOneInputEffect(id, Proc::ImplNames::OGL, [&log, id](auto const&) {
            return boost::intrusive_ptr<Proc::IOneInputEffectVideo>(new FakeOneInput(log, id));
        });
    }
    registry.RegisterTwoInputEffect(kMix, Proc::ImplNames::OGL, [&log](auto const&) {
        return boost::intrusive_ptr<Proc::ITwoInputEffectVideo>(new FakeTwoInput(log, kMix));
    });
    return registry.GetFactory();
}

RenderJob MakeJob(std::vector<std::string> const& clips, std::string const& output,
                  std::chrono::milliseconds transition) {
    RenderJob job;
    for (std::string const& path : clips) {
        Edit::Clip& clip = job.document.clips.emplace_back();
        clip.source.file = path;
        clip.joint = MakeJoint(Proc::MakeSettings(kMix), std::chrono::duration<double>(transition).count());
    }
    job.output = output;
    return job;
}

Edit::Joint MakeJoint(std::shared_ptr<Proc::Settings const> settings, double seconds) {
    Edit::Joint joint;
    joint.settings = std::move(settings);
    joint.duration = Edit::Time::Seconds(seconds);
    return joint;
}

void AddEffect(RenderJob& job, std::string const& classId, std::optional<std::size_t> clip) {
    Edit::Effect effect;
    effect.settings = Proc::MakeSettings(classId);
    for (std::size_t i = 0; i < job.document.clips.size(); ++i) {
        if (!clip || *clip == i) {
            job.document.clips[i].effects.push_back(effect);
        }
    }
}

}  // namespace Kaltor::Render::Tests

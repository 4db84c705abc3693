#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "Media/Conformer.h"
#include "MediaTest.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Media::Tests {
namespace {

using FramePtr = boost::intrusive_ptr<Proc::IDataVideo>;

AVFrame const& PictureOf(Proc::IDataVideo const& data) {
    return dynamic_cast<Proc::DataVideoFF const&>(data).GetFrame();
}

/// What both kinds of fake effect share.
template <typename Interface>
class FakeEffect : public RefCountImpl<Interface> {
public:
    FakeEffect(FakeLog& logOfTest, std::string id) : log(logOfTest), classId(std::move(id)) { ++log.liveEffects; }
    ~FakeEffect() override { --log.liveEffects; }

    Core::Property GetSettings() const override { return {}; }
    void SetSettings(Core::Property const&) override {}
    void SetSettings(Proc::Settings const& settings) override {
        if (settings.GetClassId() != classId) {
            throw std::bad_cast();
        }
    }
    void Reset() override {}
    Core::Property GetStatistic() const override { return {}; }
    Proc::TimeToProgress& GetProgress() override { return progress; }
    Proc::TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(Proc::TimeToProgress const& value) override { progress = value; }
    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>&) override {}

protected:
    void Note(FakeLog::Call const& call) {
        if (log.onCall) {
            log.onCall(classId, call);
        }
        std::lock_guard const lock(log.mutex);
        log.calls[classId].push_back(call);
    }

    FramePtr MakeResult(Proc::IDataVideo const& like, Yuv const& color) const {
        Conf::FrameInfo info = like.GetFrameInfo();
        info.width = log.width != 0 ? log.width : info.width;
        info.height = log.height != 0 ? log.height : info.height;
        Proc::AvFramePtr picture = MakePicture(info.width, info.height, color);
        FramePtr result = Proc::DataVideoFF::Wrap(std::move(picture));
        result->SetColorSpec(like.GetColorSpec());
        result->SetTimestamp(like.GetTimestamp());
        result->SetDuration(like.GetDuration());
        return result;
    }

    FakeLog& log;
    std::string classId;
    Proc::TimeToProgress progress;
};

class FakeOneInput final : public FakeEffect<Proc::IOneInputEffectVideo> {
public:
    using FakeEffect::FakeEffect;
    using FakeEffect::SetSettings;
    using Proc::IOneInputEffectVideo::ProcessData;

    void SetSettings(Proc::Settings const& settings) override {
        FakeEffect::SetSettings(settings);
        if (auto const* const resizer = dynamic_cast<Proc::SettingsResizer const*>(&settings)) {
            resized = *resizer;
        }
    }

    /// The resizer fits with the conformer; others set chroma apart, so that a processed picture is known.
    void Process(FramePtr& data) override {
        if (classId == Proc::SettingsFrameDownloader::CLASS_ID) {
            return;
        }
        if (classId == Proc::SettingsResizer::CLASS_ID) {
            VideoTarget target;
            target.frame = resized.GetOutputFrameSize(data->GetFrameInfo());
            target.colorSpec = data->GetColorSpec();
            FramePtr result = Proc::DataVideoFF::Wrap(Conformer("resizer", target).Convert(PictureOf(*data)));
            result->SetTimestamp(data->GetTimestamp());
            result->SetDuration(data->GetDuration());
            data = std::move(result);
            return;
        }
        int const luma = static_cast<int>(std::lround(MeanOf(PictureOf(*data), 0)));
        Note({data->GetTimestamp(), progress.GetProgress(data->GetTimestamp()), luma, 0});
        data = MakeResult(*data, {luma, 100, 160});
    }

private:
    Proc::SettingsResizer resized;
};

class FakeTwoInput final : public FakeEffect<Proc::ITwoInputEffectVideo> {
public:
    using FakeEffect::FakeEffect;
    using Proc::ITwoInputEffectVideo::ProcessData;

    void Process(FramePtr& first, boost::intrusive_ptr<Proc::IDataVideo const> const& second) override {
        if (first->GetFrameInfo().width != second->GetFrameInfo().width ||
            first->GetFrameInfo().height != second->GetFrameInfo().height) {
            throw std::logic_error("different data size");
        }
        double const p = progress.GetProgress(first->GetTimestamp() + first->GetDuration());
        double const from = MeanOf(PictureOf(*first), 0);
        double const to = MeanOf(PictureOf(*second), 0);
        Note({first->GetTimestamp(), p, static_cast<int>(std::lround(from)), static_cast<int>(std::lround(to))});
        first = MakeResult(*first, {static_cast<int>(std::lround(from + (to - from) * p)), 128, 128});
    }
};

class FakeFactory final : public RefCountImpl<Proc::IEffectFactory> {
public:
    explicit FakeFactory(FakeLog& logOfTest) : log(logOfTest) {}

    boost::intrusive_ptr<Proc::IOneInputEffectVideo> CreateOneInputEffect(std::string const& classId,
                                                                          std::string const& implName) const override {
        Check(implName);
        return {new FakeOneInput(log, classId)};
    }
    boost::intrusive_ptr<Proc::ITwoInputEffectVideo> CreateTwoInputEffect(std::string const& classId,
                                                                          std::string const& implName) const override {
        Check(implName);
        return {new FakeTwoInput(log, classId)};
    }

private:
    static void Check(std::string const& implName) {
        if (implName != Proc::ImplNames::OGL) {
            throw std::invalid_argument("no implementation " + implName);
        }
    }

    FakeLog& log;
};

}  // namespace

boost::intrusive_ptr<Proc::IEffectFactory const> MakeFakeFactory(FakeLog& log) {
    return {new FakeFactory(log)};
}

}  // namespace Kaltor::Media::Tests

#include "Proc/Effects/EffectsOgl/Resize.h"

#include <mutex>

#include <boost/thread/recursive_mutex.hpp>

#include "Conf/IPreset.h"
#include "Proc/Effects/EffectsOgl/EffectResizer.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Settings/IResize.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Proc {
namespace {

using boost::intrusive_ptr;

/// Keeps the typed settings for any thread; the wrapper around the algorithm processes the frames.
class Resize final : public RefCountImpl<IResize> {
public:
    explicit Resize(intrusive_ptr<IOneInputEffectVideo> wrapped) : inner(std::move(wrapped)) {}

    Core::Property GetSettings() const override {
        std::lock_guard const lock(mutex);
        Core::Property property = Settings2Property(settings);
        property.SetChild(Conf::IPreset::KEY_TYPE_ID, Core::Property::Of(ImplNames::OGL));
        return property;
    }

    void SetSettings(Core::Property const& property) override {
        std::lock_guard const lock(mutex);
        SetSettings(Property2Settings(property));
    }

    void SetSettings(Settings const& value) override { SetSettings(dynamic_cast<SettingsResizer const&>(value)); }

    void SetSettings(SettingsResizer const& value) override {
        std::lock_guard const lock(mutex);
        inner->SetSettings(static_cast<Settings const&>(value));
        settings = value;
    }

    Settings const* GetSettingsBase() const override { return &settings; }

    void Reset() override {
        std::lock_guard const lock(mutex);
        inner->Reset();
    }

    Core::Property GetStatistic() const override {
        // Drawing uses one method only, whatever was requested.
        constexpr int kMethod = 1;
        Core::Property statistics = inner->GetStatistic();
        statistics.SetChild("Interpolation method", Core::Property::Of(ResizeMethods2String(kMethod)));
        statistics.SetChild("Impl ID", Core::Property::Of(ImplNames::OGL));
        return statistics;
    }

    TimeToProgress& GetProgress() override { return inner->GetProgress(); }
    TimeToProgress const& GetProgress() const override {
        return static_cast<IOneInputEffectVideo const&>(*inner).GetProgress();
    }
    void SetProgress(TimeToProgress const& value) override { inner->SetProgress(value); }

    void Process(intrusive_ptr<IDataVideo>& data) override { inner->Process(data); }

    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) override {
        std::lock_guard const lock(mutex);
        Conf::FrameInfo const output = settings.GetOutputFrameSize(codec->GetFrameInfo());
        codec->InitByPixelAspect(output.width, output.height, output.pixelAspectX, output.pixelAspectY);
        inner->UpdateFormatCodec(codec);
    }

private:
    mutable boost::recursive_mutex mutex;
    SettingsResizer settings;
    intrusive_ptr<IOneInputEffectVideo> inner;
};

}  // namespace

intrusive_ptr<IOneInputEffectVideo> CreateResizeOGL(intrusive_ptr<IEffectFactory const> const& factory) {
    return {new Resize(EffectWrapper::Create(factory, new Ogl::EffectResizer))};
}

}  // namespace Kaltor::Proc

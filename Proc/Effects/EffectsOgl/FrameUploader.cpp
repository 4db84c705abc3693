#include "Proc/Effects/EffectsOgl/FrameUploader.h"

#include <stdexcept>

#include "Core/Interfaces/Exception.h"
#include "Ogl/DataVideoOGL.h"
#include "Ogl/OglManager.h"
#include "Proc/Effects/Shared/FrameService.h"
#include "Proc/Interfaces/SourceLocations.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;
using boost::intrusive_ptr;
using Proc::IDataVideo;

class UploadTask final : public Ogl::IOglTask {
public:
    UploadTask(intrusive_ptr<Ogl::TaskTimer> timer, intrusive_ptr<IDataVideo> source, Ogl::DataVideoOGL& target)
        : IOglTask(Ogl::OglCapability::Transfer, std::move(timer)), src(std::move(source)), dst(&target) {}

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override {
        Ogl::Frame frame = dst->FrameData();
        frame.Upload(src, storage);
        src.reset();
    }

private:
    intrusive_ptr<IDataVideo> src;
    Ogl::DataVideoOGL* dst;  // owns this task
};

class FrameUploader final : public Proc::FrameService {
public:
    explicit FrameUploader(intrusive_ptr<Proc::IEffectFactory const> const& factory)
        : FrameService("FrameUploader"),
          converter(
              factory->CreateOneInputEffect(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT)) {
        converter->SetSettings(Proc::SettingsColorspaceConverter(Ogl::GetSupportedPxlFmt(), true));
    }

    Core::Property GetSettings() const override { return Core::Property(Proc::SettingsFrameUploader::CLASS_ID); }

    void SetSettings(Core::Property const& property) override {
        if (property.GetClassId() != Proc::SettingsFrameUploader::CLASS_ID) {
            Core::Throw(
                std::invalid_argument("Effect was initialized with incorrect class (" + property.GetClassId() + ")!"),
                Proc::SourceLocations::kUploaderSetSettings);
        }
        SetSettings(Proc::SettingsFrameUploader());
    }

    void SetSettings(Proc::Settings const& value) override {
        static_cast<void>(dynamic_cast<Proc::SettingsFrameUploader const&>(value));
    }

    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>&) override {}

    void Process(intrusive_ptr<IDataVideo>& data) override {
        if (dynamic_cast<Ogl::DataVideoOGL*>(data.get()) != nullptr) {
            return;
        }
        std::int64_t const timestamp = data->GetTimestamp();
        std::int64_t const duration = data->GetDuration();
        Conf::FrameInfo const info = data->GetFrameInfo();
        ColorSpec const tags = data->GetColorSpec();
        converter->Process(data);
        intrusive_ptr<Ogl::DataVideoOGL> gpu = Ogl::DataVideoOGL::Create(data->GetPixFmt(), info);
        gpu->SetTimestamp(timestamp);
        gpu->SetDuration(duration);
        // The tags of a frame that became RGB give its original form, for the way back.
        gpu->SetColorSpec(tags);
        gpu->AttachTask({new UploadTask(timer, data, *gpu)});
        ++counters.processedFrames;
        data = std::move(gpu);
    }

private:
    intrusive_ptr<Proc::IOneInputEffectVideo> converter;
};

}  // namespace

namespace Kaltor::Proc {

intrusive_ptr<IOneInputEffectVideo> CreateFrameUploader(intrusive_ptr<IEffectFactory const> const& factory) {
    return {new FrameUploader(factory)};
}

}  // namespace Kaltor::Proc

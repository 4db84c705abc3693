#include "Proc/Effects/EffectsOgl/FrameDownloader.h"

#include "Ogl/DataVideoOGL.h"
#include "Ogl/OglManager.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/Shared/FrameService.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Interfaces/SourceLocations.h"
#include "Proc/Settings/SettingsServices.h"

namespace {

using namespace Kaltor;
using boost::intrusive_ptr;
using Proc::DataVideoFF;
using Proc::IDataVideo;

using DownloadMode = Proc::SettingsFrameDownloader::Mode;

class DownloadTask final : public Ogl::IOglTask {
public:
    DownloadTask(intrusive_ptr<Ogl::TaskTimer> timer, intrusive_ptr<Ogl::DataVideoOGL> source,
                 intrusive_ptr<DataVideoFF> target)
        : IOglTask(Ogl::OglCapability::Transfer, std::move(timer)), src(std::move(source)), dst(std::move(target)) {}

    void Run(Ogl::OglCapability, Ogl::ShaderStorage const& storage) override {
        Ogl::Frame frame = src->FrameData();
        if (dst->GetPixFmt() == PixFmt::Yuv420p) {
            frame = frame.ConvertToYUV420(storage);
        }
        frame.Download(dst, storage);
        src.reset();
        dst.reset();
    }

private:
    intrusive_ptr<Ogl::DataVideoOGL> src;
    intrusive_ptr<DataVideoFF> dst;
};

class FrameDownloader final : public Proc::FrameService {
public:
    FrameDownloader() : FrameService("FrameDownloader") {}

    Core::Property GetSettings() const override {
        Proc::ThrowFilterException("Method not implemented", Proc::SourceLocations::kDownloaderGetSettings);
    }

    void SetSettings(Core::Property const&) override {
        Proc::ThrowFilterException("Method not implemented", Proc::SourceLocations::kDownloaderSetSettings);
    }

    void SetSettings(Proc::Settings const& value) override {
        settings = dynamic_cast<Proc::SettingsFrameDownloader const&>(value);
    }

    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) override {
        if (settings.downloadMode == DownloadMode::Yuv420p) {
            codec->SetPixFmt(PixFmt::Yuv420p);
        }
    }

    void Process(intrusive_ptr<IDataVideo>& data) override {
        intrusive_ptr<Ogl::DataVideoOGL> const gpu(dynamic_cast<Ogl::DataVideoOGL*>(data.get()));
        if (!gpu) {
            return;
        }
        gpu->Execute();
        PixFmt const format = settings.downloadMode == DownloadMode::Yuv420p ? PixFmt::Yuv420p : gpu->GetPixFmt();
        intrusive_ptr<DataVideoFF> const cpu = DataVideoFF::Create(format, gpu->GetFrameInfo());
        cpu->SetTimestamp(gpu->GetTimestamp());
        cpu->SetDuration(gpu->GetDuration());
        intrusive_ptr<Ogl::IOglTask> const task(new DownloadTask(timer, gpu, cpu));
        Ogl::OglManager::GetInstance().DoBackgroundTask(task);
        task->WaitForComplete();
        data = cpu;  // only now: a failed download must not look like a picture
        ++counters.processedFrames;
    }

private:
    Proc::SettingsFrameDownloader settings;
};

}  // namespace

namespace Kaltor::Proc {

intrusive_ptr<IOneInputEffectVideo> CreateFrameDownloader(intrusive_ptr<IEffectFactory const> const&) {
    return {new FrameDownloader};
}

}  // namespace Kaltor::Proc

#include "Proc/Effects/Shared/EffectWrapper.h"

#include <memory>

#include "Proc/Effects/Shared/AlgorithmTask.h"
#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Proc {

using boost::intrusive_ptr;

intrusive_ptr<IOneInputEffectVideo> EffectWrapper::Create(intrusive_ptr<IEffectFactory const> const& factory,
                                                          Ogl::IEffectAlgorithm* algorithm) {
    std::unique_ptr<Ogl::IEffectAlgorithm> owned(algorithm);
    return {new EffectWrapper("EffectWrapper", factory, std::move(owned))};
}

Core::Property EffectWrapper::GetSettings() const {
    ThrowDeprecated(SourceLocations::kEffectGetSettings);
}

void EffectWrapper::SetSettings(Core::Property const&) {
    ThrowDeprecated(SourceLocations::kEffectSetSettings);
}

void EffectWrapper::Process(intrusive_ptr<IDataVideo>& data) {
    if (!data) {
        return;
    }
    RequireCache();
    intrusive_ptr<Ogl::DataVideoOGL> dst = algorithm->CreateDst(data->GetPixFmt(), data->GetFrameInfo());
    uploader->Process(data);
    Ogl::Src src(dynamic_cast<Ogl::DataVideoOGL*>(data.get()));
    dst->ConcatenateTasks(src);
    dst->SetTimestamp(data->GetTimestamp());
    dst->SetDuration(data->GetDuration());
    dst->AttachTask(
        {new EffectTask(timer, algorithm, cache, {std::move(src)}, *dst, progress.GetProgress(data->GetTimestamp()))});
    ++counters.processedFrames;
    data = std::move(dst);
}

void EffectWrapper::UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) {
    algorithm->UpdateFormatCodec(codec);
}

}  // namespace Kaltor::Proc

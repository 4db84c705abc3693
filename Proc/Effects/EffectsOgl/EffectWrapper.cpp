#include "Proc/Effects/EffectsOgl/EffectWrapper.h"

#include <memory>

#include "Proc/Effects/EffectsOgl/AlgorithmTask.h"

namespace Kaltor::Proc {

using boost::intrusive_ptr;

intrusive_ptr<IOneInputEffectVideo> EffectWrapper::Create(intrusive_ptr<IEffectFactory const> const& factory,
                                                          Ogl::IEffectAlgorithm* algorithm) {
    std::unique_ptr<Ogl::IEffectAlgorithm> owned(algorithm);
    return {new EffectWrapper("EffectWrapper", factory, std::move(owned))};
}

Core::Property EffectWrapper::GetSettings() const {
    ThrowDeprecated({"virtual Kaltor::Core::Property Kaltor::Proc::EffectWrapper::GetSettings() const",
                     "Proc/Effects/EffectsOgl/EffectWrapper", 68});
}

void EffectWrapper::SetSettings(Core::Property const&) {
    ThrowDeprecated({"virtual void Kaltor::Proc::EffectWrapper::SetSettings(const Kaltor::Core::Property &)",
                     "Proc/Effects/EffectsOgl/EffectWrapper", 73});
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
    ++processedFrames;
    data = std::move(dst);
}

void EffectWrapper::UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) {
    algorithm->UpdateFormatCodec(codec);
}

}  // namespace Kaltor::Proc

#include "Proc/Effects/Shared/TransitionWrapper.h"

#include <stdexcept>

#include "Proc/Effects/Shared/AlgorithmTask.h"
#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Proc {

using boost::intrusive_ptr;

intrusive_ptr<ITwoInputEffectVideo> TransitionWrapper::Create(intrusive_ptr<IEffectFactory const> const& factory,
                                                              Ogl::ITransitionAlgorithm* algorithm) {
    std::unique_ptr<Ogl::ITransitionAlgorithm> owned(algorithm);
    return {new TransitionWrapper("TransitionWrapper", factory, std::move(owned))};
}

Core::Property TransitionWrapper::GetSettings() const {
    ThrowDeprecated(SourceLocations::kTransitionGetSettings);
}

void TransitionWrapper::SetSettings(Core::Property const&) {
    ThrowDeprecated(SourceLocations::kTransitionSetSettings);
}

void TransitionWrapper::Process(intrusive_ptr<IDataVideo>& first, intrusive_ptr<IDataVideo const> const& second) {
    if (!first && !second) {
        return;
    }
    if (!first || !second) {
        Core::Throw(std::invalid_argument("both data must be present"), SourceLocations::kTransitionMissingInput);
    }
    RequireCache();
    Conf::FrameInfo const info = first->GetFrameInfo();
    Conf::FrameInfo const& secondInfo = second->GetFrameInfo();
    if (info.width != secondInfo.width || info.height != secondInfo.height) {
        Core::Throw(std::logic_error("different data size"), SourceLocations::kTransitionOtherSize);
    }
    intrusive_ptr<Ogl::DataVideoOGL> dst = Ogl::DataVideoOGL::Create(OutputFormat(first->GetPixFmt()), info);

    // The uploader replaces what it is given, never writes into it.
    intrusive_ptr<IDataVideo> incoming(const_cast<IDataVideo*>(second.get()));
    uploader->Process(first);
    uploader->Process(incoming);
    Ogl::Src src1(dynamic_cast<Ogl::DataVideoOGL*>(first.get()));
    Ogl::Src src2(dynamic_cast<Ogl::DataVideoOGL*>(incoming.get()));
    dst->ConcatenateTasks(src1);
    dst->ConcatenateTasks(src2);
    dst->SetTimestamp(first->GetTimestamp());
    dst->SetDuration(first->GetDuration());
    double const position = progress.GetProgress(first->GetTimestamp() + first->GetDuration());
    dst->AttachTask({new TransitionTask(timer, algorithm, cache, {std::move(src1), std::move(src2)}, *dst, position)});
    ++counters.processedFrames;
    first = std::move(dst);
}

void TransitionWrapper::UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) {
    codec->SetPixFmt(OutputFormat(codec->GetPixFmt()));
}

}  // namespace Kaltor::Proc

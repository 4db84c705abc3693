#include "Proc/Effects/EffectsOgl/Algorithms.h"

namespace Kaltor::Ogl {

OglCache* IEffectAlgorithm::CreateCache() const { return new OglCache; }

void IEffectAlgorithm::UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo> const& codec) {
    codec->SetPixFmt(OutputFormat(codec->GetPixFmt()));
}

boost::intrusive_ptr<DataVideoOGL> IEffectAlgorithm::CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) {
    return DataVideoOGL::Create(OutputFormat(srcFormat), info);
}

OglCache* ITransitionAlgorithm::CreateCache() const { return new OglCache; }

}  // namespace Kaltor::Ogl

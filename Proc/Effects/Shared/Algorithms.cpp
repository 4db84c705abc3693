#include "Proc/Effects/Shared/Algorithms.h"

namespace Kaltor::Ogl {

OglCache* IEffectAlgorithm::CreateCache() const {
    return new OglCache;
}

void IEffectAlgorithm::UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo> const& codec) {
    codec->SetPixFmt(GetOutputFormat(codec->GetPixFmt()));
}

boost::intrusive_ptr<DataVideoOGL> IEffectAlgorithm::CreateDst(PixFmt srcFormat, Conf::FrameInfo const& info) {
    return DataVideoOGL::Create(GetOutputFormat(srcFormat), info);
}

PixFmt IEffectAlgorithm::GetOutputFormat(PixFmt srcFormat) const {
    return OutputFormat(srcFormat);
}

void IEffectAlgorithm::SetSeed(std::uint32_t) {}

OglCache* ITransitionAlgorithm::CreateCache() const {
    return new OglCache;
}

void ITransitionAlgorithm::SetSeed(std::uint32_t) {}

}  // namespace Kaltor::Ogl

#pragma once

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/WrapperBase.h"

namespace Kaltor::Proc {

/// Turns an algorithm with one input into a host effect: brings the input to the GPU, makes the output frame and puts
/// the drawing on it as a task. The algorithm's progress is that of the frame's timestamp.
class EffectWrapper final : public WrapperBase<IOneInputEffectVideo, Ogl::IEffectAlgorithm> {
public:
    using WrapperBase::SetSettings;

    /// Takes ownership of the algorithm, even if it throws.
    static boost::intrusive_ptr<IOneInputEffectVideo> Create(boost::intrusive_ptr<IEffectFactory const> const& factory,
                                                             Ogl::IEffectAlgorithm* algorithm);

    /// Always throws `std::logic_error`: settings travel as typed objects.
    Core::Property GetSettings() const override;
    void SetSettings(Core::Property const& settings) override;
    void Process(boost::intrusive_ptr<IDataVideo>& data) override;
    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>& codec) override;

private:
    using WrapperBase::WrapperBase;
};

}  // namespace Kaltor::Proc

#pragma once

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/WrapperBase.h"

namespace Kaltor::Proc {

/// Turns an algorithm with two inputs into a host effect, like `EffectWrapper` for one input. The algorithm's progress
/// is that of the first frame's timestamp plus its duration.
class TransitionWrapper final : public WrapperBase<ITwoInputEffectVideo, Ogl::ITransitionAlgorithm> {
public:
    using WrapperBase::SetSettings;

    /// Takes ownership of the algorithm, even if it throws.
    static boost::intrusive_ptr<ITwoInputEffectVideo> Create(boost::intrusive_ptr<IEffectFactory const> const& factory,
                                                             Ogl::ITransitionAlgorithm* algorithm);

    /// Always throws `std::logic_error`: settings travel as typed objects.
    Core::Property GetSettings() const override;
    void SetSettings(Core::Property const& settings) override;
    /// Throws `std::invalid_argument` "both data must be present" and `std::logic_error` "different data size".
    void Process(boost::intrusive_ptr<IDataVideo>& first,
                 boost::intrusive_ptr<IDataVideo const> const& second) override;
    void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>& codec) override;

private:
    using WrapperBase::WrapperBase;
};

}  // namespace Kaltor::Proc

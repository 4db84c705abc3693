#pragma once

#include "Proc/Interfaces/IEffect.h"

namespace Kaltor::Proc {

class ITwoInputEffect : public virtual IEffect {
public:
    using IEffect::ProcessData;
    /// Takes exactly two items; throws `std::logic_error` "invalid data count" for any other number.
    boost::intrusive_ptr<IData> ProcessData(std::vector<boost::intrusive_ptr<IData>> const& data) override;
    /// Replaces `first` by the result.
    virtual void ProcessData(boost::intrusive_ptr<IData>& first, boost::intrusive_ptr<IData const> const& second) = 0;
};

class ITwoInputEffectVideo : public ITwoInputEffect {
public:
    using ITwoInputEffect::ProcessData;
    /// If the two items are not both video frames (or null), `first` passes unchanged.
    void ProcessData(boost::intrusive_ptr<IData>& first, boost::intrusive_ptr<IData const> const& second) override;
    /// Replaces `first` by the result frame.
    virtual void Process(boost::intrusive_ptr<IDataVideo>& first,
                         boost::intrusive_ptr<IDataVideo const> const& second) = 0;
    /// Rewrites `codec` to the format that `Process` will produce from it.
    virtual void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>& codec) = 0;
};

}  // namespace Kaltor::Proc

#pragma once

#include "Proc/Interfaces/IEffect.h"

namespace Kaltor::Proc {

class IOneInputEffect : public virtual IEffect {
public:
    using IEffect::ProcessData;
    /// Takes exactly one item; throws `std::logic_error` "incorrect data count" for any other number.
    boost::intrusive_ptr<IData> ProcessData(std::vector<boost::intrusive_ptr<IData>> const& data) override;
    /// Replaces `data` by the result.
    virtual void ProcessData(boost::intrusive_ptr<IData>& data) = 0;
};

class IOneInputEffectVideo : public IOneInputEffect {
public:
    using IOneInputEffect::ProcessData;
    /// An item that is not a video frame passes unchanged.
    void ProcessData(boost::intrusive_ptr<IData>& data) override;
    /// Replaces `data` by the result frame.
    virtual void Process(boost::intrusive_ptr<IDataVideo>& data) = 0;
    /// Rewrites `codec` to the format that `Process` will produce from it.
    virtual void UpdateFormatCodec(boost::intrusive_ptr<Conf::IFormatCodecVideo>& codec) = 0;
};

}  // namespace Kaltor::Proc

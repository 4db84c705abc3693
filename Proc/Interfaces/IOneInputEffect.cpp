#include "Proc/Interfaces/IOneInputEffect.h"

#include <stdexcept>

#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Proc {

boost::intrusive_ptr<IData> IOneInputEffect::ProcessData(std::vector<boost::intrusive_ptr<IData>> const& data) {
    if (data.size() != 1) {
        Core::Throw(std::logic_error("incorrect data count"), SourceLocations::kOneInputProcessData);
    }
    boost::intrusive_ptr<IData> result = data.front();
    ProcessData(result);
    return result;
}

void IOneInputEffectVideo::ProcessData(boost::intrusive_ptr<IData>& data) {
    boost::intrusive_ptr<IDataVideo> video(dynamic_cast<IDataVideo*>(data.get()));
    if (video) {
        Process(video);
        data = std::move(video);
    }
}

}  // namespace Kaltor::Proc

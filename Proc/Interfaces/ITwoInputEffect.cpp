#include "Proc/Interfaces/ITwoInputEffect.h"

#include <stdexcept>

#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Proc {

boost::intrusive_ptr<IData> ITwoInputEffect::ProcessData(std::vector<boost::intrusive_ptr<IData>> const& data) {
    if (data.size() != 2) {
        Core::Throw(std::logic_error("invalid data count"), SourceLocations::kTwoInputProcessData);
    }
    boost::intrusive_ptr<IData> result = data[0];
    ProcessData(result, data[1]);
    return result;
}

void ITwoInputEffectVideo::ProcessData(boost::intrusive_ptr<IData>& first,
                                       boost::intrusive_ptr<IData const> const& second) {
    boost::intrusive_ptr<IDataVideo> firstVideo(dynamic_cast<IDataVideo*>(first.get()));
    boost::intrusive_ptr<IDataVideo const> const secondVideo(dynamic_cast<IDataVideo const*>(second.get()));
    bool const isVideo = (firstVideo || !first) && (secondVideo || !second);
    if (isVideo) {
        Process(firstVideo, secondVideo);
        first = std::move(firstVideo);
    }
}

}  // namespace Kaltor::Proc

#pragma once

#include <cstdint>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "Conf/IFormatCodecVideo.h"
#include "Core/Interfaces/Property.h"
#include "Proc/Interfaces/IData.h"
#include "Proc/Interfaces/TimeToProgress.h"

namespace Kaltor::Proc {

class Settings;
class IProgressController;

/// An effect as a node of a processing graph. All operations run on the graph's processing thread.
class IEffect : public IRefCount {
public:
    virtual Core::Property GetSettings() const = 0;
    virtual void SetSettings(Core::Property const& settings) = 0;
    /// Drops all state kept from earlier frames.
    virtual void Reset() = 0;
    virtual boost::intrusive_ptr<IData> ProcessData(std::vector<boost::intrusive_ptr<IData>> const& data) = 0;
    virtual Core::Property GetStatistic() const = 0;
    virtual void SetSettings(Settings const& settings) = 0;
    /// The typed settings if the effect keeps them; null by default.
    virtual Settings const* GetSettingsBase() const { return nullptr; }
    /// An object that would steer progress from outside; not used by default.
    virtual void SetProgressController(boost::intrusive_ptr<IProgressController> const&) {}
    virtual TimeToProgress& GetProgress() = 0;
    virtual TimeToProgress const& GetProgress() const = 0;
    virtual void SetProgress(TimeToProgress const& progress) = 0;
};

/// Steers the progress of an effect from outside its time line.
class IProgressController : public IRefCount {
public:
    virtual double GetProgress(std::int64_t timestamp) const = 0;
};

}  // namespace Kaltor::Proc

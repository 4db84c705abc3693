#pragma once

#include <string>

#include "Proc/Interfaces/IOneInputEffect.h"
#include "Proc/Interfaces/ITwoInputEffect.h"

namespace Kaltor::Proc {

/// Names of implementations of one effect.
struct ImplNames {
    static std::string const OGL;
    static std::string const DEFAULT;
};

/// Makes effects by the class of their settings.
class IEffectFactory : public IRefCount {
public:
    /// A new object for each call. Throws `std::invalid_argument` where nothing is registered under these names.
    virtual boost::intrusive_ptr<IOneInputEffectVideo> CreateOneInputEffect(std::string const& classId,
                                                                            std::string const& implName) const = 0;
    virtual boost::intrusive_ptr<ITwoInputEffectVideo> CreateTwoInputEffect(std::string const& classId,
                                                                            std::string const& implName) const = 0;
};

}  // namespace Kaltor::Proc

#pragma once

#include <boost/function.hpp>

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

using OneInputEffectFactoryFn =
    boost::function1<boost::intrusive_ptr<IOneInputEffectVideo>, boost::intrusive_ptr<IEffectFactory const> const&>;
using TwoInputEffectFactoryFn =
    boost::function1<boost::intrusive_ptr<ITwoInputEffectVideo>, boost::intrusive_ptr<IEffectFactory const> const&>;

/// Where plug-ins bind factories to a settings class and an implementation name. The order of the operations is part
/// of the interface between host and plug-in.
class IEffectRegistry {
public:
    virtual ~IEffectRegistry() = default;
    virtual bool HasOneInputEffect(std::string const& classId, std::string const& implName) const = 0;
    /// Copies `factory`. A repeated registration replaces the earlier one.
    virtual void RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                        OneInputEffectFactoryFn const& factory) = 0;
    virtual bool HasTwoInputEffect(std::string const& classId, std::string const& implName) const = 0;
    /// Like `RegisterOneInputEffect`.
    virtual void RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                        TwoInputEffectFactoryFn const& factory) = 0;
};

/// The plain symbol that a plug-in exports.
constexpr char const* kRegistratorSymbol = "Registrator";
using RegistratorFn = void (*)(IEffectRegistry& registry);

}  // namespace Kaltor::Proc

#pragma once

#include <functional>
#include <memory>
#include <string>

#include <boost/function.hpp>

#include "Proc/Interfaces/IEffectFactory.h"

namespace Kaltor::Proc {

class DataVideoFF;
class Settings;

/// Reads a picture file for a field with a path, as Rgb24 or Rgba. Throws where it cannot be read.
using PictureReader = std::function<boost::intrusive_ptr<DataVideoFF>(std::string const& path)>;

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
    /// Announces a settings class that the host does not know, by an object with its defaults: its fields are then
    /// listed, described and set as those of any other. Hosts that do not need it ignore it.
    virtual void RegisterSettings(std::shared_ptr<Settings const> const& defaults) { static_cast<void>(defaults); }
    /// What effects read pictures with; empty where the host reads none.
    virtual PictureReader GetPictureReader() const { return {}; }
};

/// The plain symbol that a plug-in exports.
constexpr char const* kRegistratorSymbol = "Registrator";
using RegistratorFn = void (*)(IEffectRegistry& registry);

}  // namespace Kaltor::Proc

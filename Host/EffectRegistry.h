#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Host {

/// One registered implementation of an effect.
struct RegisteredEffect {
    std::string classId;
    std::string implName;
    int inputs;  ///< 1 or 2
};

/// The host's effect registry. Fill it first; afterwards it may be read from any thread.
class EffectRegistry final : public Proc::IEffectRegistry {
public:
    EffectRegistry();
    ~EffectRegistry() override;
    EffectRegistry(EffectRegistry const&) = delete;
    EffectRegistry& operator=(EffectRegistry const&) = delete;

    bool HasOneInputEffect(std::string const& classId, std::string const& implName) const override;
    void RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                Proc::OneInputEffectFactoryFn const& factory) override;
    bool HasTwoInputEffect(std::string const& classId, std::string const& implName) const override;
    void RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                Proc::TwoInputEffectFactoryFn const& factory) override;

    /// In order of registration; a replaced registration keeps its place.
    std::vector<RegisteredEffect> List() const;

    /// A factory for everything that is registered here, now or later. It may outlive the registry.
    boost::intrusive_ptr<Proc::IEffectFactory const> GetFactory() const;

private:
    struct Entries;
    std::shared_ptr<Entries> entries;
};

}  // namespace Kaltor::Host

#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Proc/Interfaces/IEffectRegistry.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Host {

/// One registered implementation of an effect.
struct RegisteredEffect {
    std::string classId;
    std::string implName;
    int inputs;  ///< 1 or 2
    /// The defaults of its fields: the library's class, or what its plug-in brought; null where there is neither.
    std::shared_ptr<Proc::Settings const> settings = nullptr;
};

/// What became of one plug-in.
struct PluginReport {
    std::filesystem::path file;
    std::size_t effects;  ///< how many it has registered
    std::string fault;    ///< why it, or a part of it, is not used; "" where all is well
    bool isOwn = false;   ///< it comes with the library
};

/// The host's effect registry. One thread fills it; its factory may be used from any thread, also meanwhile.
class EffectRegistry final : public Proc::IEffectRegistry {
public:
    explicit EffectRegistry(Proc::PictureReader pictureReader = {});
    ~EffectRegistry() override;
    EffectRegistry(EffectRegistry const&) = delete;
    EffectRegistry& operator=(EffectRegistry const&) = delete;

    bool HasOneInputEffect(std::string const& classId, std::string const& implName) const override;
    void RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                Proc::OneInputEffectFactoryFn const& factory) override;
    bool HasTwoInputEffect(std::string const& classId, std::string const& implName) const override;
    void RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                Proc::TwoInputEffectFactoryFn const& factory) override;
    void RegisterSettings(std::shared_ptr<Proc::Settings const> const& defaults) override;
    Proc::PictureReader GetPictureReader() const override { return reader; }

    /// The plug-ins that were loaded into it, our own first.
    std::vector<PluginReport> const& GetPlugins() const { return plugins; }
    void AddReports(std::vector<PluginReport> const& reports);

    /// In order of registration; a replaced registration keeps its place.
    std::vector<RegisteredEffect> List() const;

    /// A factory for everything that is registered here, now or later. It may outlive the registry.
    boost::intrusive_ptr<Proc::IEffectFactory const> GetFactory() const;

private:
    struct Entries;

    /// Takes the library's settings of this name, where it has some and no plug-in brought others.
    void KnowSettings(std::string const& classId);

    std::shared_ptr<Entries> entries;
    Proc::PictureReader reader;
    std::map<std::string, std::shared_ptr<Proc::Settings const>> settings;
    std::vector<PluginReport> plugins;
};

}  // namespace Kaltor::Host

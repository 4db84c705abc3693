#include "Host/EffectRegistry.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <variant>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Host {

using boost::intrusive_ptr;
using Proc::IOneInputEffectVideo;
using Proc::ITwoInputEffectVideo;
using Proc::OneInputEffectFactoryFn;
using Proc::TwoInputEffectFactoryFn;

struct EffectRegistry::Entries {
    struct Entry {
        std::string classId;
        std::string implName;
        std::variant<OneInputEffectFactoryFn, TwoInputEffectFactoryFn> factory;
    };
    std::vector<Entry> list;
    mutable std::shared_mutex mutex;  ///< shader files are registered while others draw

    /// A copy: the list may grow meanwhile.
    template <typename Fn>
    std::optional<Fn> Get(std::string const& classId, std::string const& implName) const {
        std::shared_lock const lock(mutex);
        Fn const* const found = Find<Fn>(classId, implName);
        return found == nullptr ? std::nullopt : std::optional(*found);
    }

    template <typename Fn>
    Fn const* Find(std::string const& classId, std::string const& implName) const {
        auto const found = std::find_if(list.begin(), list.end(), [&](Entry const& entry) {
            return entry.classId == classId && entry.implName == implName && std::holds_alternative<Fn>(entry.factory);
        });
        return found == list.end() ? nullptr : &std::get<Fn>(found->factory);
    }

    template <typename Fn>
    void Register(std::string const& classId, std::string const& implName, Fn const& factory) {
        std::unique_lock const lock(mutex);
        if (Fn const* const found = Find<Fn>(classId, implName)) {
            const_cast<Fn&>(*found) = factory;
        } else {
            list.push_back({classId, implName, factory});
        }
    }
};

namespace {

template <typename Entries>
class EffectFactory final : public RefCountImpl<Proc::IEffectFactory> {
public:
    explicit EffectFactory(std::shared_ptr<Entries const> source) : entries(std::move(source)) {}

    intrusive_ptr<IOneInputEffectVideo> CreateOneInputEffect(std::string const& classId,
                                                             std::string const& implName) const override {
        return Create<OneInputEffectFactoryFn>(classId, implName, "one-input");
    }
    intrusive_ptr<ITwoInputEffectVideo> CreateTwoInputEffect(std::string const& classId,
                                                             std::string const& implName) const override {
        return Create<TwoInputEffectFactoryFn>(classId, implName, "two-input");
    }

private:
    template <typename Fn>
    typename Fn::result_type Create(std::string const& classId, std::string const& implName, char const* kind) const {
        std::optional<Fn> const create = entries->template Get<Fn>(classId, implName);
        if (!create) {
            Core::Throw(std::invalid_argument(
                fmt::format("no {} effect {} is registered for the implementation {}", kind, classId, implName)));
        }
        return (*create)(intrusive_ptr<Proc::IEffectFactory const>(this));
    }

    std::shared_ptr<Entries const> entries;
};

}  // namespace

EffectRegistry::EffectRegistry(Proc::PictureReader pictureReader)
    : entries(std::make_shared<Entries>()), reader(std::move(pictureReader)) {}
EffectRegistry::~EffectRegistry() = default;

bool EffectRegistry::HasOneInputEffect(std::string const& classId, std::string const& implName) const {
    return entries->Get<OneInputEffectFactoryFn>(classId, implName).has_value();
}

void EffectRegistry::RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                            OneInputEffectFactoryFn const& factory) {
    KnowSettings(classId);
    entries->Register(classId, implName, factory);
}

bool EffectRegistry::HasTwoInputEffect(std::string const& classId, std::string const& implName) const {
    return entries->Get<TwoInputEffectFactoryFn>(classId, implName).has_value();
}

void EffectRegistry::RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                            TwoInputEffectFactoryFn const& factory) {
    KnowSettings(classId);
    entries->Register(classId, implName, factory);
}

void EffectRegistry::KnowSettings(std::string const& classId) {
    if (!settings.contains(classId)) {
        if (std::shared_ptr<Proc::Settings const> own = Proc::MakeSettings(classId)) {
            settings.emplace(classId, std::move(own));
        }
    }
}

void EffectRegistry::RegisterSettings(std::shared_ptr<Proc::Settings const> const& defaults) {
    settings[defaults->GetClassId()] = defaults;
}

void EffectRegistry::AddReports(std::vector<PluginReport> const& reports) {
    plugins.insert(plugins.end(), reports.begin(), reports.end());
}

std::vector<RegisteredEffect> EffectRegistry::List() const {
    std::vector<RegisteredEffect> result;
    for (Entries::Entry const& entry : entries->list) {
        bool const isOneInput = std::holds_alternative<OneInputEffectFactoryFn>(entry.factory);
        auto const known = settings.find(entry.classId);
        result.push_back(
            {entry.classId, entry.implName, isOneInput ? 1 : 2, known == settings.end() ? nullptr : known->second});
    }
    return result;
}

intrusive_ptr<Proc::IEffectFactory const> EffectRegistry::GetFactory() const {
    return {new EffectFactory<Entries>(entries)};
}

}  // namespace Kaltor::Host

#include "Host/Catalog.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Text.h"
#include "Host/Plugin.h"
#include "Host/ShaderFolders.h"
#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"

namespace Kaltor::Host {
namespace {

constexpr std::string_view kEffectPrefix = "Effect";
constexpr std::string_view kTransitionPrefix = "Transition";
/// Names that people know from other programs.
struct Alias {
    std::string_view name;
    std::string_view className;
};
constexpr std::array kAliases{
    Alias{"fade", "TransitionCrossfade"},
    Alias{"dissolve", "TransitionCrossfade"},
    Alias{"cross-dissolve", "TransitionCrossfade"},
    Alias{"fade-through-black", "TransitionFadeInFadeOut"},
    Alias{"dip-to-black", "TransitionFadeInFadeOut"},
    Alias{"page-curl", "TransitionPageturn"},
    Alias{"page-turn", "TransitionPageturn"},
    Alias{"blur", "EffectBlurGaussian"},
    Alias{"gaussian-blur", "EffectBlurGaussian"},
    Alias{"tilt-shift", "EffectTiltShiftQEL"},
    Alias{"green-screen", "EffectChromakey"},
    Alias{"chroma-key", "EffectChromakey"},
    Alias{"negate", "EffectInvert"},
    Alias{"ken-burns", "EffectPanAndZoom"},
    Alias{"picture-in-picture", "EffectSubFrame"},
    Alias{"noise", "EffectAddNoize"},
};

/// Takes a base and any number of overlays: a service, although it is named as an effect.
constexpr std::string_view kBlender = "EffectImageBlender";

std::string_view WithoutPrefix(std::string_view name) {
    for (std::string_view const prefix : {kEffectPrefix, kTransitionPrefix}) {
        if (name.size() > prefix.size() && name.substr(0, prefix.size()) == prefix) {
            return name.substr(prefix.size());
        }
    }
    return name;
}

/// "A, B and 3 more".
std::string ListSome(std::vector<std::string> const& names) {
    constexpr std::size_t kMost = 3;
    std::size_t const shown = names.size() > kMost + 1 ? kMost : names.size();
    std::string text;
    for (std::size_t i = 0; i < shown; ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    }
    return shown == names.size() ? text : fmt::format("{} and {} more", text, names.size() - shown);
}

Kind KindOf(RegisteredEffect const& effect) {
    bool const isEffect = effect.inputs == 1 && WithoutPrefix(effect.classId) != effect.classId;
    if (isEffect && effect.classId != kBlender) {
        return Kind::Effect;
    }
    bool const isTransition = effect.classId.compare(0, kTransitionPrefix.size(), kTransitionPrefix) == 0;
    return isTransition ? Kind::Transition : Kind::Service;
}

}  // namespace

char const* GetName(Kind kind) {
    static constexpr std::array kNames{"effect", "transition", "service"};
    return kNames[static_cast<std::size_t>(kind)];
}

/// What a catalogue learns after it is made: the files that were opened by their paths.
struct Catalog::Opened {
    Proc::ShaderHost host;
    std::map<std::string, CatalogEntry> files;
};

Catalog::Catalog(Catalog&&) noexcept = default;
Catalog& Catalog::operator=(Catalog&&) noexcept = default;
Catalog::~Catalog() = default;

Catalog::Catalog(std::vector<RegisteredEffect> const& registered) : opened(std::make_unique<Opened>()) {
    for (RegisteredEffect const& effect : registered) {
        if (effect.implName == Proc::ImplNames::OGL) {
            entries.push_back(
                {effect.classId, KindOf(effect), effect.inputs == 2, effect.classId == kBlender, effect.settings});
        }
    }
}

Catalog Catalog::Load(Proc::ShaderHost const& shaderHost) {
    std::unique_ptr<EffectRegistry> registry = MakeRegistry(shaderHost.readPicture);
    Catalog catalog(registry->List());
    catalog.factory = registry->GetFactory();
    catalog.registry = std::move(registry);
    catalog.opened->host = shaderHost;
    catalog.AddShaderFolders();
    return catalog;
}

bool Catalog::IsTaken(std::string const& name) const {
    std::string const wanted = Core::ToLower(name);
    return std::any_of(entries.begin(), entries.end(),
                       [&](CatalogEntry const& entry) {
                           return Core::ToLower(entry.name) == wanted ||
                                  Core::ToLower(WithoutPrefix(entry.name)) == wanted;
                       }) ||
           std::any_of(kAliases.begin(), kAliases.end(), [&](Alias const& alias) { return alias.name == wanted; });
}

CatalogEntry Catalog::Register(std::shared_ptr<Proc::ShaderFile const> const& file) const {
    using Factory = boost::intrusive_ptr<Proc::IEffectFactory const>;
    if (!registry) {
        throw std::logic_error("a catalogue without a plug-in has no shader files");
    }
    if (file->IsTransition()) {
        registry->RegisterTwoInputEffect(file->GetName(), Proc::ImplNames::OGL,
                                         [file, host = opened->host](Factory const& maker) {
                                             return Proc::MakeShaderTransition(maker, file, host);
                                         });
    } else {
        registry->RegisterOneInputEffect(
            file->GetName(), Proc::ImplNames::OGL,
            [file, host = opened->host](Factory const& maker) { return Proc::MakeShaderEffect(maker, file, host); });
    }
    return {file->GetName(), file->IsTransition() ? Kind::Transition : Kind::Effect, file->IsTransition(), false,
            std::make_shared<Proc::SettingsShaderFile const>(file)};
}

void Catalog::AddShaderFolders() {
    for (std::filesystem::path const& folder : FindShaderFolders()) {
        for (std::filesystem::path const& path : ListShaderFiles(folder)) {
            // A file keeps its ending where its name means something else already.
            std::string const name = IsTaken(path.stem().string()) ? path.filename().string() : path.stem().string();
            if (IsTaken(name)) {
                continue;  // an earlier folder has it
            }
            try {
                auto const file = std::make_shared<Proc::ShaderFile const>(Proc::ShaderFile::Read(path).Named(name));
                entries.push_back(Register(file));
            } catch (std::exception const& error) {
                faults.emplace_back(error.what());
            }
        }
    }
}

CatalogEntry const& Catalog::Open(std::string const& path) const {
    auto const known = opened->files.find(path);
    if (known != opened->files.end()) {
        return known->second;
    }
    try {
        auto const file = std::make_shared<Proc::ShaderFile const>(Proc::ShaderFile::Read(path));
        return opened->files.emplace(path, Register(file)).first->second;
    } catch (std::runtime_error const& error) {
        Core::Throw(std::invalid_argument(error.what()));
    }
}

template <typename Accepts>
CatalogEntry const& Catalog::FindAmong(std::string const& name, Accepts accepts, std::string const& what,
                                       std::size_t inputs) const {
    bool const isFile = Proc::IsShaderFile(name);
    std::error_code error;
    bool const isThere = std::filesystem::exists(name, error) || error;  // what cannot be looked at is refused by name
    if (isFile && (isThere || name.find('/') != std::string::npos)) {
        CatalogEntry const& entry = Open(name);
        if (!accepts(entry)) {
            Core::Throw(std::invalid_argument(fmt::format(
                "{} is {} {}, no {}", name, entry.kind == Kind::Effect ? "an" : "a", GetName(entry.kind), what)));
        }
        return entry;
    }
    std::string const wanted = Core::ToLower(name);
    std::string const wantedStem = isFile ? wanted.substr(0, wanted.size() - Proc::kShaderEnding.size()) : "";
    std::vector<CatalogEntry const*> found;
    CatalogEntry const* refused = nullptr;
    CatalogEntry const* own = nullptr;
    auto const isAlias = [&wanted](CatalogEntry const& entry) {
        return std::any_of(kAliases.begin(), kAliases.end(),
                           [&](Alias const& alias) { return alias.name == wanted && alias.className == entry.name; });
    };
    std::vector<std::string> names;
    std::vector<std::string> shortNames;
    for (CatalogEntry const& entry : entries) {
        bool const isStem =
            isFile && Core::ToLower(entry.name) == wantedStem && entry.defaults && !entry.defaults->GetOrigin().empty();
        bool const isFull = Core::ToLower(entry.name) == wanted || isStem;
        bool const isOwn = isFull || Core::ToLower(WithoutPrefix(entry.name)) == wanted;
        bool const isMatch = isOwn || isAlias(entry);
        if (!accepts(entry)) {
            refused = isMatch ? &entry : refused;
            continue;
        }
        if (isFull) {
            return entry;
        }
        if (isMatch) {
            found.push_back(&entry);
            own = isOwn ? &entry : own;
        }
        names.push_back(entry.name);
        shortNames.emplace_back(WithoutPrefix(entry.name));
    }
    if (found.size() > 1 && inputs > 0) {
        std::erase_if(found, [&](CatalogEntry const* entry) { return entry->isTwoInput != (inputs > 1); });
    }
    if (found.size() > 1 && own != nullptr && !isAlias(*own)) {
        // A class's own name comes before what is usual elsewhere: there is a transition Blur, too.
        std::erase_if(found, [&](CatalogEntry const* entry) { return isAlias(*entry); });
    }
    if (found.size() == 1) {
        return *found.front();
    }
    if (found.size() > 1) {
        Core::Throw(std::invalid_argument(
            fmt::format("\"{}\" may be {} or {}: give the whole name", name, found[0]->name, found[1]->name)));
    }
    if (refused != nullptr) {
        char const* const article = refused->kind == Kind::Effect ? "an" : "a";
        Core::Throw(std::invalid_argument(
            fmt::format("{} is {} {}, no {}", refused->name, article, GetName(refused->kind), what)));
    }

    for (Alias const& alias : kAliases) {
        auto const known = std::find(names.begin(), names.end(), alias.className);
        if (known != names.end()) {
            names.emplace_back(alias.name);
            shortNames.emplace_back(alias.name);
        }
    }
    // What is called a transition may be an effect and the other way round.
    auto const namesake = std::find_if(shortNames.begin(), shortNames.end(), [&](std::string const& one) {
        return Core::ToLower(one) == Core::ToLower(WithoutPrefix(name));
    });
    std::string nearest = namesake != shortNames.end() ? names[static_cast<std::size_t>(namesake - shortNames.begin())]
                                                       : Proc::FindNearest(name, names);
    if (nearest.empty()) {
        std::string const nearestShort = Proc::FindNearest(WithoutPrefix(name), shortNames);
        auto const at = std::find(shortNames.begin(), shortNames.end(), nearestShort);
        nearest = nearestShort.empty() ? "" : names[static_cast<std::size_t>(at - shortNames.begin())];
    }
    std::vector<std::string> mentioned;
    for (CatalogEntry const* const entry : Search({name})) {
        if (accepts(*entry)) {
            mentioned.push_back(entry->name);
        }
    }
    std::string const hint = !nearest.empty()     ? fmt::format("did you mean {}?", nearest)
                             : !mentioned.empty() ? fmt::format("{} may be meant", ListSome(mentioned))
                             : isFile ? "it is no file here, and not in the folders that \"kaltor doctor\" shows"
                                      : "\"kaltor list\" shows what there is";
    Core::Throw(std::invalid_argument(fmt::format("there is no {} \"{}\"; {}", what, name, hint)));
}

CatalogEntry const& Catalog::Find(std::string const& name, std::size_t inputs) const {
    return FindAmong(
        name, [](CatalogEntry const&) { return true; }, "effect, transition or service", inputs);
}

CatalogEntry const& Catalog::FindTransition(std::string const& name) const {
    return FindAmong(
        name, [](CatalogEntry const& entry) { return entry.kind == Kind::Transition; }, "transition");
}

CatalogEntry const& Catalog::FindEffect(std::string const& name) const {
    return FindAmong(
        name, [](CatalogEntry const& entry) { return entry.kind == Kind::Effect; }, "effect");
}

std::vector<CatalogEntry const*> Catalog::Search(std::vector<std::string> const& words) const {
    std::vector<CatalogEntry const*> found;
    for (CatalogEntry const& entry : entries) {
        std::string const text =
            Core::ToLower(fmt::format("{} {} {} {}", entry.name, fmt::join(GetUsualNames(entry.name), " "),
                                      GetName(entry.kind), entry.defaults ? entry.defaults->GetSummary() : ""));
        if (std::all_of(words.begin(), words.end(), [&text](std::string const& word) {
                return text.find(Core::ToLower(word)) != std::string::npos;
            })) {
            found.push_back(&entry);
        }
    }
    return found;
}

std::vector<std::string_view> GetUsualNames(std::string_view className) {
    std::vector<std::string_view> names;
    for (Alias const& alias : kAliases) {
        if (alias.className == className) {
            names.push_back(alias.name);
        }
    }
    return names;
}

std::unique_ptr<Proc::Settings> MakeSettings(CatalogEntry const& entry,
                                             std::vector<std::pair<std::string, std::string>> const& values) {
    if (!entry.defaults) {
        throw std::logic_error(fmt::format("{} is registered but has no settings class", entry.name));
    }
    std::unique_ptr<Proc::Settings> settings = entry.defaults->Clone();
    for (auto const& [field, value] : values) {
        settings->Set(field, value);
    }
    return settings;
}

bool HasAllDefaults(CatalogEntry const& entry) {
    std::vector<Proc::Field> const& fields = entry.defaults->GetFields();
    return std::none_of(fields.begin(), fields.end(), [&entry](Proc::Field const& field) {
        return field.type == Proc::FieldType::File && !field.isOptional &&
               std::get<std::string>(field.get(*entry.defaults)).empty();
    });
}

boost::intrusive_ptr<Proc::IEffect> MakeEffect(Catalog const& catalog, CatalogEntry const& entry,
                                               Proc::Settings const& settings) {
    boost::intrusive_ptr<Proc::IEffect> effect;
    if (entry.isTwoInput) {
        effect = catalog.GetFactory()->CreateTwoInputEffect(entry.name, Proc::ImplNames::OGL);
    } else {
        effect = catalog.GetFactory()->CreateOneInputEffect(entry.name, Proc::ImplNames::OGL);
    }
    effect->SetSettings(settings);
    return effect;
}

}  // namespace Kaltor::Host

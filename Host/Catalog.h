#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/EffectRegistry.h"
#include "Proc/Effects/ShaderFiles/ShaderEffects.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Host {

enum class Kind : std::uint8_t { Effect, Transition, Service };
/// "effect", "transition", "service".
char const* GetName(Kind kind);

/// One class that a user can name.
struct CatalogEntry {
    std::string name;  ///< the short name: the text of its settings' CLASS_ID
    Kind kind;
    bool isTwoInput;  ///< how it is registered
    bool takesMore;   ///< any number of inputs from two up
    /// The settings at their defaults; null where the class has none.
    std::shared_ptr<Proc::Settings const> defaults;
};

/// Everything that the plug-in has registered, in order of registration, and the shader files in the folders that
/// `FindShaderFolders` gives, with the ways to name it. The thread that fills it is the only one that may look for
/// names: a name may be that of a shader file, which is read and registered then.
class Catalog {
public:
    /// `entries` as they would be registered; for the real ones see `Load`.
    explicit Catalog(std::vector<RegisteredEffect> const& registered);

    /// Loads the plug-in and reads the shader files. Throws as `MakeRegistry`.
    static Catalog Load(Proc::ShaderHost const& shaderHost = {});

    Catalog(Catalog&&) noexcept;
    Catalog& operator=(Catalog&&) noexcept;
    ~Catalog();

    std::vector<CatalogEntry> const& GetEntries() const { return entries; }
    boost::intrusive_ptr<Proc::IEffectFactory const> const& GetFactory() const { return factory; }

    /// By the whole name, by the name without its "Effect" or "Transition", or by a name that is usual elsewhere
    /// ("dissolve"), in any case of letters; or by the path of a shader file. A name that ends in ".glsl" is a path,
    /// and that of a file in one of the folders for shader files where there is no such file. Throws
    /// `std::invalid_argument` where there is none (with the nearest one) or more than one. Between an effect and a
    /// transition of one name the number of inputs decides, where it is given.
    CatalogEntry const& Find(std::string const& name, std::size_t inputs = 0) const;
    /// The same among the transitions only.
    CatalogEntry const& FindTransition(std::string const& name) const;
    /// The same among what makes one picture of one picture.
    CatalogEntry const& FindEffect(std::string const& name) const;

    /// One line for each shader file in the folders that cannot be used.
    std::vector<std::string> const& GetFaults() const { return faults; }

    /// Those that have every word in their name, a usual name, their kind or their summary, in any case of letters.
    std::vector<CatalogEntry const*> Search(std::vector<std::string> const& words) const;

private:
    template <typename Accepts>
    CatalogEntry const& FindAmong(std::string const& name, Accepts accepts, std::string const& what,
                                  std::size_t inputs = 0) const;

    struct Opened;

    bool IsTaken(std::string const& name) const;
    CatalogEntry Register(std::shared_ptr<Proc::ShaderFile const> const& file) const;
    void AddShaderFolders();
    /// The entry of a file that is no part of the catalogue. Throws `std::invalid_argument`.
    CatalogEntry const& Open(std::string const& path) const;

    std::unique_ptr<EffectRegistry> registry;
    boost::intrusive_ptr<Proc::IEffectFactory const> factory;
    std::vector<CatalogEntry> entries;
    std::vector<std::string> faults;
    std::unique_ptr<Opened> opened;
};

/// Names that are usual elsewhere for a class ("dissolve" for TransitionCrossfade).
std::vector<std::string_view> GetUsualNames(std::string_view className);

/// The settings of an entry with these values set, the others at their defaults. Throws `std::invalid_argument` for
/// unknown fields and values out of range.
std::unique_ptr<Proc::Settings> MakeSettings(CatalogEntry const& entry,
                                             std::vector<std::pair<std::string, std::string>> const& values);

/// Whether it draws with its defaults: nothing that has to be given, such as a picture, is missing.
bool HasAllDefaults(CatalogEntry const& entry);

/// Makes the effect and gives it the settings. Throws `std::invalid_argument` where they are refused.
boost::intrusive_ptr<Proc::IEffect> MakeEffect(Catalog const& catalog, CatalogEntry const& entry,
                                               Proc::Settings const& settings);

}  // namespace Kaltor::Host

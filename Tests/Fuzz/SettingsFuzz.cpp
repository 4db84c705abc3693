// "Name:field=value:field=value": what a user sets of an effect. What is accepted reads back as what it was.
#include <algorithm>
#include <cstdlib>
#include <numeric>

#include <fmt/format.h>

#include "Apps/Kaltor/Specs.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

namespace {

/// The entry of this name, or else one that follows from it. To look for the nearest of all names, as users get it,
/// would take nine tenths of the time.
Host::CatalogEntry const& FindEntry(std::string_view name) {
    auto const& entries = Fuzz::GetCatalog().GetEntries();
    auto const found = std::find_if(entries.begin(), entries.end(),
                                    [name](Host::CatalogEntry const& one) { return one.name == name; });
    if (found != entries.end()) {
        return *found;
    }
    return entries[std::accumulate(name.begin(), name.end(), std::size_t{0}) % entries.size()];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::AsText(data, size);
    if (text.find('@') != std::string_view::npos) {
        return 0;  // names a file
    }
    Fuzz::MayRefuse([&] {
        Cli::NameSpec const spec = Cli::ParseNameSpec(text);
        Host::CatalogEntry const& entry = FindEntry(spec.name);
        auto const settings = Host::MakeSettings(entry, spec.values);
        settings->Validate();
        auto const again = Host::MakeSettings(entry, {});
        for (Proc::Field const& field : settings->GetFields()) {
            again->Set(field.key, field.Format(field.get(*settings)));
        }
        if (!again->HasSameValues(*settings)) {
            fmt::print(stderr, "{} reads back as something else\n", entry.name);
            std::abort();
        }
    });
    return 0;
}

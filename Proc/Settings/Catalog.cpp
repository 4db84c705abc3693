#include <algorithm>
#include <mutex>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Proc/Settings/Roster.h"
#include "Proc/Settings/SettingsCatalog.h"

namespace Kaltor::Proc {
namespace {

/// The classes of other plug-ins. For the whole process, as loaded plug-ins are.
struct Added {
    struct Row {
        std::string classId;
        RowKind kind;
        SettingsMaker make;
    };
    std::mutex mutex;
    std::vector<Row> rows;

    std::optional<Row> Find(std::string_view classId) {
        std::scoped_lock const lock(mutex);
        auto const found =
            std::find_if(rows.begin(), rows.end(), [classId](Row const& row) { return row.classId == classId; });
        return found == rows.end() ? std::nullopt : std::optional(*found);
    }
};

Added& GetAdded() {
    static Added added;
    return added;
}

template <typename... Rows>
std::vector<std::unique_ptr<Settings>> MakeEach(Ogl::RosterOf<Rows...>) {
    std::vector<std::unique_ptr<Settings>> all;
    all.reserve(sizeof...(Rows));
    (all.push_back(std::make_unique<typename Rows::Settings>()), ...);
    return all;
}

template <typename S, typename Algorithm>
constexpr RowKind KindOf(Ogl::Effect<S, Algorithm> const*) {
    return RowKind::Effect;
}
template <typename S, typename Algorithm>
constexpr RowKind KindOf(Ogl::Transition<S, Algorithm> const*) {
    return RowKind::Transition;
}
template <typename S>
constexpr RowKind KindOf(Ogl::Service<S> const*) {
    return RowKind::Service;
}

template <typename... Rows>
std::optional<RowKind> FindAmong(std::string_view classId, Ogl::RosterOf<Rows...>) {
    std::optional<RowKind> found;
    ((Rows::Settings::CLASS_ID == classId ? found = KindOf(static_cast<Rows const*>(nullptr)) : found), ...);
    return found;
}

}  // namespace

std::optional<RowKind> FindRowKind(std::string_view classId) {
    if (std::optional<RowKind> const own = FindAmong(classId, Ogl::Roster{})) {
        return own;
    }
    std::optional<Added::Row> const row = GetAdded().Find(classId);
    return row ? std::optional(row->kind) : std::nullopt;
}

std::vector<std::unique_ptr<Settings>> MakeAllSettings() {
    std::vector<std::unique_ptr<Settings>> all = MakeEach(Ogl::Roster{});
    Added& added = GetAdded();
    std::scoped_lock const lock(added.mutex);
    for (Added::Row const& row : added.rows) {
        all.push_back(row.make());
    }
    return all;
}

std::size_t CountOwnSettings() {
    return []<typename... Rows>(Ogl::RosterOf<Rows...>) { return sizeof...(Rows); }(Ogl::Roster{});
}

std::unique_ptr<Settings> MakeSettings(std::string_view classId) {
    if (std::optional<Added::Row> const row = GetAdded().Find(classId)) {
        return row->make();
    }
    std::vector<std::unique_ptr<Settings>> all = MakeEach(Ogl::Roster{});
    for (std::unique_ptr<Settings>& settings : all) {
        if (settings->GetClassId() == classId) {
            return std::move(settings);
        }
    }
    return nullptr;
}

void AddSettings(RowKind kind, SettingsMaker make) {
    std::string const classId = make()->GetClassId();
    if (FindAmong(classId, Ogl::Roster{})) {
        Core::Throw(std::invalid_argument(fmt::format("the library has a settings class {} of its own", classId)));
    }
    Added& added = GetAdded();
    std::scoped_lock const lock(added.mutex);
    auto const known = std::find_if(added.rows.begin(), added.rows.end(),
                                    [&classId](Added::Row const& row) { return row.classId == classId; });
    if (known != added.rows.end()) {
        *known = {classId, kind, make};
    } else {
        added.rows.push_back({classId, kind, make});
    }
}

}  // namespace Kaltor::Proc

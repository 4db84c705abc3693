#include "Proc/Settings/Roster.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {
namespace {

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

template <typename... Rows>
std::unique_ptr<Settings> MakeAmong(std::string_view classId, Ogl::RosterOf<Rows...>) {
    std::unique_ptr<Settings> made;
    auto const tryRow = [&]<typename S>(std::type_identity<S>) {
        if (S::CLASS_ID == classId) {
            made = std::make_unique<S>();
        }
    };
    (tryRow(std::type_identity<typename Rows::Settings>()), ...);
    return made;
}

}  // namespace

std::optional<RowKind> FindRowKind(std::string_view classId) {
    return FindAmong(classId, Ogl::Roster{});
}

std::vector<std::unique_ptr<Settings>> MakeAllSettings() {
    return MakeEach(Ogl::Roster{});
}

std::unique_ptr<Settings> MakeSettings(std::string_view classId) {
    return MakeAmong(classId, Ogl::Roster{});
}

}  // namespace Kaltor::Proc

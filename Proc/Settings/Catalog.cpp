#include "Proc/Settings/Roster.h"

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

}  // namespace

std::optional<RowKind> FindRowKind(std::string_view classId) {
    return FindAmong(classId, Ogl::Roster{});
}

std::vector<std::unique_ptr<Settings>> MakeAllSettings() {
    return MakeEach(Ogl::Roster{});
}

std::unique_ptr<Settings> MakeSettings(std::string_view classId) {
    std::vector<std::unique_ptr<Settings>> all = MakeAllSettings();
    for (std::unique_ptr<Settings>& settings : all) {
        if (settings->GetClassId() == classId) {
            return std::move(settings);
        }
    }
    return nullptr;
}

}  // namespace Kaltor::Proc

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

}  // namespace

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

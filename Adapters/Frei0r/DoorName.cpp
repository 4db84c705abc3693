#include "Adapters/Frei0r/DoorName.h"

#include "Core/Text.h"

namespace Kaltor::Frei0r {
namespace {

bool IsUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

}  // namespace

std::string MakeDoorName(std::string_view classId) {
    constexpr std::string_view kEffect = "Effect";
    constexpr std::string_view kTransition = "Transition";
    std::string name = "kaltor";
    if (classId.starts_with(kTransition)) {
        name += "_t";
        classId.remove_prefix(kTransition.size());
    } else if (classId.starts_with(kEffect)) {
        classId.remove_prefix(kEffect.size());
    }
    for (std::size_t i = 0; i < classId.size(); ++i) {
        // A word begins at a capital after a small letter; of several capitals the last one begins a word.
        bool const isFollowedBySmall = i + 1 < classId.size() && !IsUpper(classId[i + 1]);
        if (IsUpper(classId[i]) && (i == 0 || !IsUpper(classId[i - 1]) || isFollowedBySmall)) {
            name += '_';
        }
        name += Core::ToLower(classId.substr(i, 1));
    }
    return name;
}

}  // namespace Kaltor::Frei0r

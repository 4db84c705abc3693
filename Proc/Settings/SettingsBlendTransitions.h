#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

struct SettingsTransitionCrossfade final : SettingsOf<SettingsTransitionCrossfade> {
    static inline std::string const CLASS_ID = "TransitionCrossfade";
    static constexpr std::string_view SUMMARY = "Dissolves the outgoing picture into the incoming one.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionFadeInFadeOut final : SettingsOf<SettingsTransitionFadeInFadeOut> {
    static inline std::string const CLASS_ID = "TransitionFadeInFadeOut";
    static constexpr std::string_view SUMMARY = "Fades the outgoing picture out to black, then the incoming one in.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionFlash final : SettingsOf<SettingsTransitionFlash> {
    static inline std::string const CLASS_ID = "TransitionFlash";
    static constexpr std::string_view SUMMARY = "A flash of light turns the outgoing picture into the incoming one.";

    static std::vector<Field> DeclareFields() { return {}; }
};

struct SettingsTransitionBlur final : SettingsOf<SettingsTransitionBlur> {
    static inline std::string const CLASS_ID = "TransitionBlur";
    static constexpr std::string_view SUMMARY =
        "The pictures cross-fade while one goes out of focus, the other comes into it, or both.";

    enum class Mode : std::int32_t { Incoming, Outgoing, Both };

    Mode mode = Mode::Both;

    static std::vector<Field> DeclareFields() {
        return {Declare<&This::mode>({{Mode::Incoming, "incoming"}, {Mode::Outgoing, "outgoing"}, {Mode::Both, "both"}},
                                     "which picture is out of focus", Outside::Defined)};
    }
};

}  // namespace Kaltor::Proc

#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsTransitionCrossfade final : public SettingsOf<SettingsTransitionCrossfade> {
public:
    static inline std::string const CLASS_ID = "TransitionCrossfade";
    static constexpr std::string_view SUMMARY = "Dissolves the outgoing picture into the incoming one.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionFadeInFadeOut final : public SettingsOf<SettingsTransitionFadeInFadeOut> {
public:
    static inline std::string const CLASS_ID = "TransitionFadeInFadeOut";
    static constexpr std::string_view SUMMARY = "Fades the outgoing picture out to black, then the incoming one in.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionFlash final : public SettingsOf<SettingsTransitionFlash> {
public:
    static inline std::string const CLASS_ID = "TransitionFlash";
    static constexpr std::string_view SUMMARY = "A flash of light turns the outgoing picture into the incoming one.";

    static std::vector<Field> DeclareFields() { return {}; }
};

class SettingsTransitionBlur final : public SettingsOf<SettingsTransitionBlur> {
public:
    static inline std::string const CLASS_ID = "TransitionBlur";
    static constexpr std::string_view SUMMARY =
        "The pictures cross-fade while one goes out of focus, the other comes into it, or both.";

    std::int32_t GetMode() const { return mode; }
    void SetMode(std::int32_t value) { mode = value; }

    static std::vector<Field> DeclareFields() {
        return {DeclareChoice("mode", &SettingsTransitionBlur::mode, {{0, "incoming"}, {1, "outgoing"}, {2, "both"}},
                              "which picture is out of focus")};
    }

private:
    std::int32_t mode = 2;
};

}  // namespace Kaltor::Proc

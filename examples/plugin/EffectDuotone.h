#pragma once

#include "Proc/Interfaces/IEffectRegistry.h"
#include "Proc/Settings/Settings.h"

struct SettingsEffectDuotone final : Kaltor::Proc::SettingsOf<SettingsEffectDuotone> {
    static inline std::string const CLASS_ID = "EffectDuotone";
    static constexpr std::string_view SUMMARY =
        "Prints the picture in two inks: one for its shadows, one for its lights.";
    static constexpr std::string_view NEUTRAL = "amount=0";

    Kaltor::Proc::Color shadows{0x20, 0x10, 0x50, 0xFF};
    Kaltor::Proc::Color lights{0xFF, 0xD0, 0x80, 0xFF};
    double amount = 1.0;

    static std::vector<Kaltor::Proc::Field> DeclareFields() {
        return {Declare<&This::shadows>("the ink of what is dark"), Declare<&This::lights>("the ink of what is light"),
                Declare<&This::amount>(0.0, 1.0, "how much of the picture's own colours gives way")};
    }
};

void RegisterDuotone(Kaltor::Proc::IEffectRegistry& registry);

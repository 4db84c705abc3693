#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectFlip final : public SettingsOf<SettingsEffectFlip> {
public:
    static inline std::string const CLASS_ID = "EffectFlip";

    bool GetHorizontal() const { return horizontal; }
    void SetHorizontal(bool value) { horizontal = value; }
    bool GetVertical() const { return vertical; }
    void SetVertical(bool value) { vertical = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("horizontal", &SettingsEffectFlip::horizontal, "mirror left to right"),
                Declare("vertical", &SettingsEffectFlip::vertical, "mirror top to bottom")};
    }

private:
    bool horizontal = true;
    bool vertical = false;
};

class SettingsEffectFishEye final : public SettingsOf<SettingsEffectFishEye> {
public:
    static inline std::string const CLASS_ID = "EffectFishEye";

    double GetScale() const { return scale; }
    void SetScale(double value) { scale = value; }
    double GetSign() const { return sign; }
    void SetSign(double value) { sign = value; }
    double GetStrength() const { return strength; }
    void SetStrength(double value) { strength = value; }
    double GetReferenceRadius() const { return referenceRadius; }
    void SetReferenceRadius(double value) { referenceRadius = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kLeastScale = 0.1;
        constexpr double kMostScale = 4.0;
        constexpr double kLeast = 0.01;
        constexpr double kStrongest = 100.0;
        constexpr double kLargestRadius = 2.0;
        return {Declare("scale", &SettingsEffectFishEye::scale, kLeastScale, kMostScale, "size of the lens's picture"),
                Declare("sign", &SettingsEffectFishEye::sign, -1.0, 1.0,
                        "above 0 the centre is expanded, else it is compressed"),
                Declare("strength", &SettingsEffectFishEye::strength, kLeast, kStrongest, "strength of the distortion"),
                Declare("referenceRadius", &SettingsEffectFishEye::referenceRadius, kLeast, kLargestRadius,
                        "distance from the centre that keeps its place at scale 1, in picture sides")};
    }

private:
    double scale = 1.0;
    double sign = 1.0;
    double strength = 3.0;
    double referenceRadius = 0.5;
};

class SettingsEffectTwirl final : public SettingsOf<SettingsEffectTwirl> {
public:
    static inline std::string const CLASS_ID = "EffectTwirl";

    double GetBaseRotation() const { return baseRotation; }
    void SetBaseRotation(double value) { baseRotation = value; }
    double GetWobbleRate() const { return wobbleRate; }
    void SetWobbleRate(double value) { wobbleRate = value; }
    double GetTwirlPhase() const { return twirlPhase; }
    void SetTwirlPhase(double value) { twirlPhase = value; }
    double GetTwirlRate() const { return twirlRate; }
    void SetTwirlRate(double value) { twirlRate = value; }

    static std::vector<Field> DeclareFields() {
        constexpr double kMostTurns = 10.0;
        constexpr double kFastest = 10.0;
        constexpr double kCycle = 4.0;
        return {Declare("baseRotation", &SettingsEffectTwirl::baseRotation, -kMostTurns, kMostTurns,
                        "constant rotation, turns"),
                Declare("wobbleRate", &SettingsEffectTwirl::wobbleRate, 0.0, kFastest,
                        "swings of the rotation to and fro, per second"),
                Declare("twirlPhase", &SettingsEffectTwirl::twirlPhase, 0.0, kCycle,
                        "where in its cycle of 4 the twirl begins"),
                Declare("twirlRate", &SettingsEffectTwirl::twirlRate, 0.0, kFastest, "cycles of the twirl per second")};
    }

private:
    double baseRotation = 0.0;
    double wobbleRate = 0.0;
    double twirlPhase = 0.0;
    double twirlRate = 0.25;
};

}  // namespace Kaltor::Proc

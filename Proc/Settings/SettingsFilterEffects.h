#pragma once

#include "Proc/Settings/Settings.h"

namespace Kaltor::Proc {

class SettingsEffectBlurGaussian final : public SettingsOf<SettingsEffectBlurGaussian> {
public:
    static inline std::string const CLASS_ID = "EffectBlurGaussian";

    double GetScale() const { return scale; }
    void SetScale(double value) { scale = value; }

    static std::vector<Field> DeclareFields() {
        return {Declare("scale", &SettingsEffectBlurGaussian::scale, 0.0, 1.0,
                        "blur radius as a fraction of the picture's larger side")};
    }

private:
    double scale = 0.01;
};

}  // namespace Kaltor::Proc

#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Proc/Settings/SettingsServices.h"
#include "Proc/Settings/SettingsWipeTransitions.h"

namespace Kaltor::Proc {
namespace {

template <typename... Classes>
std::vector<std::unique_ptr<Settings>> MakeEach() {
    std::vector<std::unique_ptr<Settings>> all;
    (all.push_back(std::make_unique<Classes>()), ...);
    return all;
}

}  // namespace

std::vector<std::unique_ptr<Settings>> MakeAllSettings() {
    return MakeEach<SettingsEffectColorMixBurn, SettingsEffectColorMixDistinguish, SettingsEffectColorMixExchange,
                    SettingsEffectColorMixField, SettingsEffectPosterize, SettingsEffectTwirl, SettingsEffectPopArt,
                    SettingsEffectInvert, SettingsEffectBlurGaussian, SettingsEffectFlip, SettingsEffectRetroColors,
                    SettingsEffectOpacity, SettingsEffectFishEye, SettingsEffectVideoFadeInFadeOut, SettingsResizer,
                    SettingsFrameUploader, SettingsFrameDownloader, SettingsEffectImageBlender,
                    SettingsTransitionPageturn, SettingsTransitionWaterbrush, SettingsTransitionRoll,
                    SettingsTransitionPinwheel, SettingsTransitionRippleSmooth, SettingsTransitionShatter,
                    SettingsTransitionDisintegrate, SettingsTransitionSpiral, SettingsTransitionLens,
                    SettingsTransitionPush, SettingsTransitionBlinds, SettingsTransitionScale, SettingsTransitionZoom,
                    SettingsTransitionOrigamiValley, SettingsTransitionOrigamiFlips, SettingsTransitionOrigamiPleats,
                    SettingsTransitionBlur, SettingsTransitionKenBurns, SettingsTransitionCrossfade,
                    SettingsTransitionFadeInFadeOut, SettingsTransitionSnake, SettingsTransitionCircle,
                    SettingsTransitionCube, SettingsTransitionWipe, SettingsTransitionSlide, SettingsTransitionRadial,
                    SettingsTransitionSlidingDoor, SettingsTransitionBarnDoor, SettingsTransitionCross,
                    SettingsTransitionPieces, SettingsTransitionFlash, SettingsTransitionSpin>();
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

#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsColorEffects.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsGeometryEffects.h"
#include "Proc/Settings/SettingsMeshTransitions.h"
#include "Proc/Settings/SettingsMotionTransitions.h"
#include "Proc/Settings/SettingsServices.h"
#include "Proc/Settings/SettingsStyleEffects.h"
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
    return MakeEach<
        SettingsEffectColorMixBurn, SettingsEffectColorMixDistinguish, SettingsEffectColorMixExchange,
        SettingsEffectColorMixField, SettingsEffectColorBrush, SettingsEffectTiltShiftQEL, SettingsEffectErosion,
        SettingsEffectGlassMosaic, SettingsEffectTranspose, SettingsEffectOilPaint, SettingsEffectFindEdges,
        SettingsEffectPosterize, SettingsEffectChromakey, SettingsEffectVHS, SettingsEffectVertigo, SettingsEffectTwirl,
        SettingsEffectPopArt, SettingsEffectStripes, SettingsEffectMosaic, SettingsEffectDiffuse, SettingsEffectMask,
        SettingsEffectPanAndZoom, SettingsEffectZoom, SettingsEffectFlyingObjects, SettingsEffectInvert,
        SettingsEffectAddNoize, SettingsEffectCameraShake, SettingsEffectBlurGaussian, SettingsEffectMirror,
        SettingsEffectFlip, SettingsEffectRetroArtefacts, SettingsEffectRetroColors, SettingsEffectSharpen,
        SettingsEffectSubFrame, SettingsEffectOpacity, SettingsEffectFishEye, SettingsEffectFilmStrip,
        SettingsEffectVideoFadeInFadeOut, SettingsResizer, SettingsFrameUploader, SettingsFrameDownloader,
        SettingsEffectImageBlender, SettingsTransitionRipple, SettingsTransitionPageturn, SettingsTransitionWaterbrush,
        SettingsTransitionTwist, SettingsTransitionRoll, SettingsTransitionPinwheel, SettingsTransitionPixels,
        SettingsTransitionRippleSmooth, SettingsTransitionShatter, SettingsTransitionDisintegrate,
        SettingsTransitionSpiral, SettingsTransitionLens, SettingsTransitionPush, SettingsTransitionBlinds,
        SettingsTransitionScale, SettingsTransitionZoom, SettingsTransitionSmear, SettingsTransitionOrigamiValley,
        SettingsTransitionOrigamiFlips, SettingsTransitionOrigamiPleats, SettingsTransitionBlur,
        SettingsTransitionKenBurns, SettingsTransitionCrossfade, SettingsTransitionFadeInFadeOut,
        SettingsTransitionSnake, SettingsTransitionCircle, SettingsTransitionCube, SettingsTransitionWipe,
        SettingsTransitionSlide, SettingsTransitionRadial, SettingsTransitionMatrix, SettingsTransitionSlidingDoor,
        SettingsTransitionBarnDoor, SettingsTransitionCross, SettingsTransitionPieces, SettingsTransitionFlash,
        SettingsTransitionSpin, SettingsTransitionPuzzle, SettingsTransitionMosaic>();
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

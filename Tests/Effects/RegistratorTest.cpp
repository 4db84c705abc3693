// The plug-in as the host sees it: its symbols, its rows, the order of the operations that both sides count on.

#include <ctime>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Interfaces/IEffectRegistry.h"
#include "Tests/Support/GlFixture.h"

// The plug-in's own objects are linked into this program.
extern "C" void Registrator(Kaltor::Proc::IEffectRegistry& registry);

namespace Kaltor::Tests {
namespace {

/// Names of the symbols that a shared object exports, as listed by binutils.
std::string ListExports(std::string const& path) {
    std::unique_ptr<FILE, int (*)(FILE*)> const output(
        popen(fmt::format("nm --dynamic --defined-only --format=just-symbols '{}'", path).c_str(), "r"), pclose);
    std::array<char, 1000> text{};
    std::size_t const length = std::fread(text.data(), 1, text.size(), output.get());
    return {text.data(), length};
}

TEST(PluginFile, ExportsItsEntryPointAndNothingElse) {
    EXPECT_EQ(ListExports(KALTOR_PLUGIN_PATH), "Registrator\n");
}

/// All expected rows, in the order of the calls; those from 42 on take two inputs.
constexpr char kRows[] = R"(
EffectColorMixBurn EffectColorMixDistinguish EffectColorMixExchange EffectColorMixField EffectColorBrush
EffectTiltShiftQEL EffectErosion EffectGlassMosaic EffectTranspose EffectOilPaint EffectFindEdges
EffectPosterize EffectChromakey EffectVHS EffectVertigo EffectTwirl EffectPopArt EffectStripes EffectMosaic
EffectDiffuse EffectMask EffectPanAndZoom EffectZoom EffectFlyingObjects EffectInvert EffectAddNoize
EffectCameraShake EffectBlurGaussian EffectMirror EffectFlip EffectRetroArtefacts EffectRetroColors
EffectSharpen EffectSubFrame EffectOpacity EffectFishEye EffectFilmStrip EffectVideoFadeInFadeOut Resizer
FrameUploader FrameDownloader EffectImageBlender TransitionRipple TransitionPageturn TransitionWaterbrush
TransitionTwist TransitionRoll TransitionPinwheel TransitionPixels TransitionRippleSmooth TransitionShatter
TransitionDisintegrate TransitionSpiral TransitionLens TransitionPush TransitionBlinds TransitionScale
TransitionZoom TransitionSmear TransitionOrigamiValley TransitionOrigamiFlips TransitionOrigamiPleats
TransitionBlur TransitionKenBurns TransitionCrossfade TransitionFadeInFadeOut TransitionSnake TransitionCircle
TransitionCube TransitionWipe TransitionSlide TransitionRadial TransitionMatrix TransitionSlidingDoor
TransitionBarnDoor TransitionCross TransitionPieces TransitionFlash TransitionSpin TransitionPuzzle
TransitionMosaic
)";
constexpr std::size_t kOneInputRows = 41;

/// Notes what is registered, and refuses after `capacity` rows.
class NotingRegistry final : public Proc::IEffectRegistry {
public:
    struct Row {
        std::string classId;
        std::string implName;
        int inputs;
    };

    bool HasOneInputEffect(std::string const&, std::string const&) const override { return false; }
    void RegisterOneInputEffect(std::string const& classId, std::string const& implName,
                                Proc::OneInputEffectFactoryFn const& factory) override {
        Add({classId, implName, 1}, !factory.empty());
        oneInput.push_back(factory);
    }
    bool HasTwoInputEffect(std::string const&, std::string const&) const override { return false; }
    void RegisterTwoInputEffect(std::string const& classId, std::string const& implName,
                                Proc::TwoInputEffectFactoryFn const& factory) override {
        Add({classId, implName, 2}, !factory.empty());
    }

    std::vector<Row> rows;
    std::vector<Proc::OneInputEffectFactoryFn> oneInput;
    std::size_t capacity = 1000;

private:
    void Add(Row row, bool hasFactory) {
        EXPECT_TRUE(hasFactory) << row.classId;
        if (rows.size() == capacity) {
            throw std::length_error("full");
        }
        rows.push_back(std::move(row));
    }
};

TEST(Registration, RowsAreInTheirOrderUnderOneName) {
    NotingRegistry registry;
    Registrator(registry);
    std::vector<std::string> names;
    for (NotingRegistry::Row const& row : registry.rows) {
        EXPECT_EQ(row.implName, Proc::ImplNames::OGL);
        EXPECT_EQ(row.inputs, names.size() < kOneInputRows ? 1 : 2) << row.classId;
        names.push_back(row.classId);
    }
    std::istringstream rows(kRows);
    EXPECT_THAT(names,
                testing::ElementsAreArray(std::vector<std::string>(std::istream_iterator<std::string>(rows), {})));
    // The settings library has exactly the same classes, in the same order.
    std::vector<std::string> settings;
    for (std::unique_ptr<Proc::Settings> const& one : Proc::MakeAllSettings()) {
        settings.push_back(one->GetClassId());
    }
    EXPECT_EQ(settings, names);

    Registrator(registry);
    EXPECT_EQ(registry.rows.size(), 2 * names.size()) << "a second call registers all again";
}

TEST(Registration, WhatTheRegistryThrowsEndsIt) {
    NotingRegistry registry;
    registry.capacity = 2;
    EXPECT_THROW(Registrator(registry), std::length_error);
    EXPECT_EQ(registry.rows.size(), 2U);
}

TEST(Registration, SeedsTheRandomGeneratorFromTheClock) {
    std::srand(1);
    int const unseeded = std::rand();
    NotingRegistry registry;
    std::time_t const before = std::time(nullptr);
    Registrator(registry);
    int const drawn = std::rand();
    std::time_t const after = std::time(nullptr);
    EXPECT_NE(drawn, unseeded);
    bool isOfTheClock = false;
    for (std::time_t moment = before; moment <= after; ++moment) {
        std::srand(static_cast<unsigned>(moment));
        isOfTheClock = isOfTheClock || std::rand() == drawn;
    }
    EXPECT_TRUE(isOfTheClock);
}

#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

/// The place of a virtual operation in its class's table, counted from 1 (the destructor takes two places).
template <typename Method>
std::size_t PlaceOf(Method method) {
    std::size_t encoded = 0;
    std::memcpy(&encoded, &method, sizeof(encoded));
    return (encoded - 1) / sizeof(void*) + 1;
}

/// Operations that follow each other.
template <typename... Methods>
void ExpectPlaces(std::size_t first, Methods... methods) {
    std::vector<std::size_t> expected(sizeof...(methods));
    std::iota(expected.begin(), expected.end(), first);
    EXPECT_THAT((std::vector<std::size_t>{PlaceOf(methods)...}), testing::ElementsAreArray(expected));
}

TEST(BinaryInterface, OperationsKeepTheirPlaces) {
    using namespace Proc;
    ExpectPlaces(4, &IEffectRegistry::RegisterOneInputEffect);
    ExpectPlaces(6, &IEffectRegistry::RegisterTwoInputEffect);
    ExpectPlaces(6, &IData::GetDuration, &IData::SetDuration);
    ExpectPlaces(3, &IEffect::AddRef, &IEffect::GetRefCount, &IEffect::Release, &IEffect::GetSettings,
                 static_cast<void (IEffect::*)(Core::Property const&)>(&IEffect::SetSettings), &IEffect::Reset,
                 &IEffect::ProcessData, &IEffect::GetStatistic,
                 static_cast<void (IEffect::*)(Settings const&)>(&IEffect::SetSettings), &IEffect::GetSettingsBase,
                 &IEffect::SetProgressController, static_cast<TimeToProgress& (IEffect::*)()>(&IEffect::GetProgress),
                 static_cast<TimeToProgress const& (IEffect::*)() const>(&IEffect::GetProgress), &IEffect::SetProgress);
    using One = IOneInputEffectVideo;
    ExpectPlaces(17, static_cast<void (One::*)(intrusive_ptr<IData>&)>(&One::ProcessData), &One::Process,
                 &One::UpdateFormatCodec);
    using Two = ITwoInputEffectVideo;
    ExpectPlaces(
        17, static_cast<void (Two::*)(intrusive_ptr<IData>&, intrusive_ptr<IData const> const&)>(&Two::ProcessData),
        &Two::Process, &Two::UpdateFormatCodec);
    using Ogl::IEffectAlgorithm;
    ExpectPlaces(3, &IEffectAlgorithm::SetSettings, &IEffectAlgorithm::Processing, &IEffectAlgorithm::CreateCache,
                 &IEffectAlgorithm::UpdateFormatCodec, &IEffectAlgorithm::CreateDst);
    using Ogl::ITransitionAlgorithm;
    ExpectPlaces(3, &ITransitionAlgorithm::SetSettings, &ITransitionAlgorithm::Processing,
                 &ITransitionAlgorithm::CreateCache);
}

#endif

}  // namespace
}  // namespace Kaltor::Tests

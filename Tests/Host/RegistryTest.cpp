#include "Host/EffectRegistry.h"
#include "Host/Plugin.h"
#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Host {
namespace {

using FactoryPtr = intrusive_ptr<Proc::IEffectFactory const>;

TEST(EffectRegistry, FactoryMakesANewObjectEachTimeAndOutlivesTheRegistry) {
    FactoryPtr factory;
    FactoryPtr seen;
    {
        EffectRegistry registry;
        factory = registry.GetFactory();
        registry.RegisterOneInputEffect("A", "X", [&seen](FactoryPtr const& asked) {
            seen = asked;
            return Proc::CreateColorspaceConverter(asked);
        });
    }
    intrusive_ptr<Proc::IOneInputEffectVideo> const first = factory->CreateOneInputEffect("A", "X");
    EXPECT_NE(first, factory->CreateOneInputEffect("A", "X"));
    EXPECT_EQ(seen, factory);
    // Unknown names are reported.
    EXPECT_THROW(factory->CreateOneInputEffect("B", "X"), std::invalid_argument);
    EXPECT_THROW(factory->CreateTwoInputEffect("A", "X"), std::invalid_argument);  // registered with one input
    EXPECT_THAT(Catch<std::invalid_argument>([&] { factory->CreateOneInputEffect("A", "Elsewhere"); }).what,
                HasSubstr("no one-input effect A is registered for the implementation Elsewhere"));
}

TEST(EffectRegistry, ListsInOrderAndReplacesInPlace) {
    EffectRegistry registry;
    registry.RegisterOneInputEffect("A", "X", [](FactoryPtr const&) -> intrusive_ptr<Proc::IOneInputEffectVideo> {
        throw std::logic_error("was replaced");
    });
    registry.RegisterTwoInputEffect("B", "X",
                                    [](FactoryPtr const&) { return intrusive_ptr<Proc::ITwoInputEffectVideo>(); });
    registry.RegisterOneInputEffect("A", "Y", &Proc::CreateColorspaceConverter);
    registry.RegisterOneInputEffect("A", "X", &Proc::CreateColorspaceConverter);
    std::vector<std::string> listed;
    for (RegisteredEffect const& effect : registry.List()) {
        listed.push_back(effect.classId + effect.implName + std::to_string(effect.inputs));
    }
    EXPECT_THAT(listed, testing::ElementsAre("AX1", "BX2", "AY1"));
    EXPECT_NE(registry.GetFactory()->CreateOneInputEffect("A", "X"), nullptr);
    EXPECT_TRUE(registry.HasTwoInputEffect("B", "X"));
    EXPECT_FALSE(registry.HasOneInputEffect("B", "X"));
}

TEST(Plugin, WhatIsNoPluginIsToldClearly) {
    std::filesystem::path const text =
        std::filesystem::path(testing::TempDir()) / fmt::format("not-a-plugin-{}.so", getpid());
    std::ofstream(text) << "not machine code";
    EffectRegistry registry;
    for (auto const& [file, message] :
         {std::pair<std::filesystem::path, char const*>{"/nowhere/at-all.so", "/nowhere/at-all.so does not exist"},
          {text, "does not load: "},
          {FindPlugin().parent_path() / "libkaltor.so", "does not export the symbol Registrator"}}) {
        EXPECT_THAT(Catch<std::runtime_error>([&, path = file] { LoadPlugin(path, registry); }).what,
                    AllOf(HasSubstr(message), HasSubstr(file.filename().string())));
    }
    std::filesystem::remove(text);
    EXPECT_TRUE(registry.List().empty());
}

TEST(Plugin, TheEnvironmentNamesItFirst) {
    char const* const before = std::getenv(kPluginVariable);
    std::string const kept = before != nullptr ? before : "";
    ASSERT_EQ(setenv(kPluginVariable, "/some/where.so", 1), 0);
    EXPECT_EQ(FindPlugin(), "/some/where.so");
    ASSERT_EQ(setenv(kPluginVariable, "", 1), 0);
    EXPECT_EQ(FindPlugin().filename(), "KaltorEffectsOgl.so");
    ASSERT_EQ(setenv(kPluginVariable, kept.c_str(), 1), 0);
}

}  // namespace
}  // namespace Kaltor::Host

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/EffectRegistry.h"
#include "Host/Plugin.h"
#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"
#include "Proc/Settings/SettingsServices.h"

namespace Kaltor::Host {
namespace {

using boost::intrusive_ptr;
using testing::AllOf;
using testing::HasSubstr;

template <typename Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (std::exception const& error) {
        return error.what();
    }
    return "nothing was thrown";
}

TEST(EffectRegistry, FactoryMakesANewObjectEachTimeAndOutlivesTheRegistry) {
    intrusive_ptr<Proc::IEffectFactory const> factory;
    intrusive_ptr<Proc::IEffectFactory const> seen;
    {
        EffectRegistry registry;
        factory = registry.GetFactory();
        registry.RegisterOneInputEffect("A", "X", [&seen](intrusive_ptr<Proc::IEffectFactory const> const& f) {
            seen = f;
            return Proc::CreateColorspaceConverter(f);
        });
    }
    intrusive_ptr<Proc::IOneInputEffectVideo> const first = factory->CreateOneInputEffect("A", "X");
    EXPECT_NE(first, factory->CreateOneInputEffect("A", "X"));
    EXPECT_EQ(seen, factory);
}

TEST(EffectRegistry, UnknownNamesAreToldWithTheirClassAndImplementation) {
    EffectRegistry registry;
    registry.RegisterOneInputEffect("A", "X", &Proc::CreateColorspaceConverter);
    intrusive_ptr<Proc::IEffectFactory const> const factory = registry.GetFactory();
    EXPECT_THROW(factory->CreateOneInputEffect("B", "X"), std::invalid_argument);
    EXPECT_THROW(factory->CreateTwoInputEffect("A", "X"), std::invalid_argument);  // registered with one input
    EXPECT_THAT(MessageOf([&] { factory->CreateOneInputEffect("A", "Elsewhere"); }),
                AllOf(HasSubstr("A"), HasSubstr("Elsewhere")));
}

TEST(EffectRegistry, ListsInOrderAndReplacesInPlace) {
    EffectRegistry registry;
    int calls = 0;
    registry.RegisterOneInputEffect("A", "X", &Proc::CreateColorspaceConverter);
    registry.RegisterTwoInputEffect("B", "X", [](intrusive_ptr<Proc::IEffectFactory const> const&) {
        return intrusive_ptr<Proc::ITwoInputEffectVideo>();
    });
    registry.RegisterOneInputEffect("A", "Y", &Proc::CreateColorspaceConverter);
    registry.RegisterOneInputEffect("A", "X", [&calls](intrusive_ptr<Proc::IEffectFactory const> const& f) {
        ++calls;
        return Proc::CreateColorspaceConverter(f);
    });
    std::vector<std::string> listed;
    for (RegisteredEffect const& effect : registry.List()) {
        listed.push_back(effect.classId + effect.implName + std::to_string(effect.inputs));
    }
    EXPECT_THAT(listed, testing::ElementsAre("AX1", "BX2", "AY1"));
    registry.GetFactory()->CreateOneInputEffect("A", "X");
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(registry.HasTwoInputEffect("B", "X"));
    EXPECT_FALSE(registry.HasOneInputEffect("B", "X"));
}

TEST(Plugin, LoadsTheRealOneTwice) {
    std::unique_ptr<EffectRegistry> const registry = MakeRegistry();
    EXPECT_TRUE(registry->HasOneInputEffect(Proc::SettingsFrameUploader::CLASS_ID, Proc::ImplNames::OGL));
    EXPECT_TRUE(registry->HasOneInputEffect(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT));
    EXPECT_EQ(MakeRegistry()->List().size(), registry->List().size());
}

TEST(Plugin, WhatIsNoPluginIsToldClearly) {
    EffectRegistry registry;
    EXPECT_THAT(MessageOf([&] { LoadPlugin("/nowhere/at-all.so", registry); }),
                AllOf(HasSubstr("/nowhere/at-all.so"), HasSubstr("does not exist")));

    std::filesystem::path const text = std::filesystem::path(testing::TempDir()) / "not-a-plugin.so";
    std::ofstream(text) << "no machine code";
    EXPECT_THAT(MessageOf([&] { LoadPlugin(text, registry); }),
                AllOf(HasSubstr("does not load"), HasSubstr("not-a-plugin.so")));
    std::filesystem::remove(text);

    // A real library that exports no entry point.
    EXPECT_THAT(MessageOf([&] { LoadPlugin(FindPlugin().parent_path() / "libkaltor.so", registry); }),
                HasSubstr("Registrator"));
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

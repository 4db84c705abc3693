#include <cstdlib>
#include <ctime>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/EffectsOgl/FrameDownloader.h"
#include "Proc/Effects/EffectsOgl/FrameUploader.h"
#include "Proc/Effects/EffectsOgl/ImageBlender.h"
#include "Proc/Effects/EffectsOgl/Resize.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"
#include "Proc/Settings/Roster.h"

namespace Kaltor::Proc {
namespace {

using boost::intrusive_ptr;

template <typename T>
intrusive_ptr<IOneInputEffectVideo> CreateEffect(intrusive_ptr<IEffectFactory const> const& factory) {
    return EffectWrapper::Create(factory, Ogl::MakeEffect<T>().release());
}

template <typename T>
intrusive_ptr<ITwoInputEffectVideo> Create(intrusive_ptr<IEffectFactory const> const& factory) {
    return TransitionWrapper::Create(factory, Ogl::MakeTransition<T>().release());
}

template <typename S>
constexpr auto kServiceFactory = nullptr;
template <>
constexpr auto kServiceFactory<SettingsResizer> = &CreateResizeOGL;
template <>
constexpr auto kServiceFactory<SettingsFrameUploader> = &CreateFrameUploader;
template <>
constexpr auto kServiceFactory<SettingsFrameDownloader> = &CreateFrameDownloader;
template <>
constexpr auto kServiceFactory<SettingsEffectImageBlender> = &Ogl::ImageBlender::Create;

using OneInputFactory = intrusive_ptr<IOneInputEffectVideo> (*)(intrusive_ptr<IEffectFactory const> const&);
using TwoInputFactory = intrusive_ptr<ITwoInputEffectVideo> (*)(intrusive_ptr<IEffectFactory const> const&);

void RegisterRow(IEffectRegistry& registry, std::string const& classId, OneInputFactory factory) {
    registry.RegisterOneInputEffect(classId, ImplNames::OGL, factory);
}
void RegisterRow(IEffectRegistry& registry, std::string const& classId, TwoInputFactory factory) {
    registry.RegisterTwoInputEffect(classId, ImplNames::OGL, factory);
}

template <typename S, typename Algorithm>
constexpr OneInputFactory GetFactory(Ogl::Effect<S, Algorithm>) {
    return &CreateEffect<Algorithm>;
}
template <typename S, typename Algorithm>
constexpr TwoInputFactory GetFactory(Ogl::Transition<S, Algorithm>) {
    return &Create<Algorithm>;
}
template <typename S>
constexpr auto GetFactory(Ogl::Service<S>) {
    return kServiceFactory<S>;
}

template <typename... Rows>
void RegisterAll(IEffectRegistry& registry, Ogl::RosterOf<Rows...>) {
    (RegisterRow(registry, Rows::Settings::CLASS_ID, GetFactory(Rows{})), ...);
}

}  // namespace
}  // namespace Kaltor::Proc

/// The plug-in's entry point: seeds the C library's random generator from the clock, since several algorithms draw
/// from it when they are made, and registers every effect under `ImplNames::OGL`.
extern "C" __attribute__((visibility("default"))) void Registrator(Kaltor::Proc::IEffectRegistry& registry) {
    srand(static_cast<unsigned>(time(nullptr)));

    Kaltor::Proc::RegisterAll(registry, Kaltor::Ogl::Roster{});
}

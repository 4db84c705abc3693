#pragma once

#include <memory>
#include <type_traits>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Proc {

// What a plug-in's `Registrator` calls once for each of its effects. `S` is the settings class, whose CLASS_ID begins
// with "Effect" or "Transition"; the algorithm is made for each use of the effect, with the host's reader of pictures where
// its constructor takes one.

namespace details {

template <typename Algorithm>
std::unique_ptr<Algorithm> MakeAlgorithm(PictureReader const& reader) {
    if constexpr (std::is_constructible_v<Algorithm, PictureReader const&>) {
        return std::make_unique<Algorithm>(reader);
    } else {
        return std::make_unique<Algorithm>();
    }
}

}  // namespace details

template <typename S, typename Algorithm>
void RegisterEffect(IEffectRegistry& registry) {
    registry.RegisterSettings(std::make_shared<S const>());
    registry.RegisterOneInputEffect(
        S::CLASS_ID, ImplNames::OGL,
        [reader = registry.GetPictureReader()](boost::intrusive_ptr<IEffectFactory const> const& factory) {
            return EffectWrapper::Create(factory, details::MakeAlgorithm<Algorithm>(reader).release());
        });
}

template <typename S, typename Algorithm>
void RegisterTransition(IEffectRegistry& registry) {
    registry.RegisterSettings(std::make_shared<S const>());
    registry.RegisterTwoInputEffect(
        S::CLASS_ID, ImplNames::OGL,
        [reader = registry.GetPictureReader()](boost::intrusive_ptr<IEffectFactory const> const& factory) {
            return TransitionWrapper::Create(factory, details::MakeAlgorithm<Algorithm>(reader).release());
        });
}

}  // namespace Kaltor::Proc

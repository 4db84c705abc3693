#pragma once

#include <memory>

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"

namespace Kaltor::Proc {

// What a plug-in's `Registrator` calls once for each of its effects. `S` is the settings class, whose CLASS_ID begins
// with "Effect" or "Transition"; the algorithm is default-constructed for each use of the effect.

template <typename S, typename Algorithm>
void RegisterEffect(IEffectRegistry& registry) {
    registry.RegisterSettings(std::make_shared<S const>());
    registry.RegisterOneInputEffect(S::CLASS_ID, ImplNames::OGL,
                                    [](boost::intrusive_ptr<IEffectFactory const> const& factory) {
                                        return EffectWrapper::Create(factory, std::make_unique<Algorithm>().release());
                                    });
}

template <typename S, typename Algorithm>
void RegisterTransition(IEffectRegistry& registry) {
    registry.RegisterSettings(std::make_shared<S const>());
    registry.RegisterTwoInputEffect(
        S::CLASS_ID, ImplNames::OGL, [](boost::intrusive_ptr<IEffectFactory const> const& factory) {
            return TransitionWrapper::Create(factory, std::make_unique<Algorithm>().release());
        });
}

}  // namespace Kaltor::Proc

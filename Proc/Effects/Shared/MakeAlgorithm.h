#pragma once

#include "Proc/Effects/Shared/Algorithms.h"

namespace Kaltor::Ogl {

// A source file of an algorithm ends with `template std::unique_ptr<IEffectAlgorithm> MakeEffect<EffectName>();`, so
// that its class needs no header.

template <typename T>
std::unique_ptr<IEffectAlgorithm> MakeEffect() {
    return std::make_unique<T>();
}

template <typename T>
std::unique_ptr<ITransitionAlgorithm> MakeTransition() {
    return std::make_unique<T>();
}

}  // namespace Kaltor::Ogl

// The plug-in's entry point, the only name that it exports.
#include "EffectDuotone.h"

void RegisterCurtain(Kaltor::Proc::IEffectRegistry& registry);

extern "C" __attribute__((visibility("default"))) void Registrator(Kaltor::Proc::IEffectRegistry& registry) {
    RegisterDuotone(registry);
    RegisterCurtain(registry);
}

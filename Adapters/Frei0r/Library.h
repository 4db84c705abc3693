#pragma once

#include <cstdint>

#include "Adapters/Frei0r/Frei0r.h"

// What the shared library offers to the doors: the functions of the interface, with the effect that the door is for.
// None of them throws.

extern "C" {

/// 0 where there is no such effect.
int KaltorFrei0rInit(char const* classId);
void KaltorFrei0rDescribe(char const* classId, f0r_plugin_info* info);
void KaltorFrei0rDescribeParameter(char const* classId, f0r_param_info* info, int index);
/// Null where there is no such effect, or for a picture without pixels.
f0r_instance_t KaltorFrei0rConstruct(char const* classId, unsigned width, unsigned height);
void KaltorFrei0rDestruct(f0r_instance_t instance);
void KaltorFrei0rSet(f0r_instance_t instance, f0r_param_t value, int index);
void KaltorFrei0rGet(f0r_instance_t instance, f0r_param_t value, int index);
/// `second`: null for filters. `caller`: an address in the host's code.
void KaltorFrei0rUpdate(f0r_instance_t instance, double time, std::uint32_t const* first, std::uint32_t const* second,
                        std::uint32_t* output, void const* caller);

}  // extern "C"

// The object that a host loads for one effect: it adds the effect's name to what the host asks, and nothing else. It is
// compiled once for each effect; the build defines KALTOR_CLASS_ID. The name is inside, so the file may be renamed.

#include "Adapters/Frei0r/Library.h"

#define KALTOR_DOOR extern "C" __attribute__((visibility("default")))

KALTOR_DOOR int f0r_init();
KALTOR_DOOR void f0r_deinit();
KALTOR_DOOR void f0r_get_plugin_info(f0r_plugin_info* info);
KALTOR_DOOR void f0r_get_param_info(f0r_param_info* info, int index);
KALTOR_DOOR f0r_instance_t f0r_construct(unsigned width, unsigned height);
KALTOR_DOOR void f0r_destruct(f0r_instance_t instance);
KALTOR_DOOR void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index);
KALTOR_DOOR void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index);
KALTOR_DOOR void f0r_update(f0r_instance_t instance, double time, std::uint32_t const* in, std::uint32_t* out);
KALTOR_DOOR void f0r_update2(f0r_instance_t instance, double time, std::uint32_t const* in1, std::uint32_t const* in2,
                             std::uint32_t const* in3, std::uint32_t* out);

int f0r_init() {
    return KaltorFrei0rInit(KALTOR_CLASS_ID);
}

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info* info) {
    KaltorFrei0rDescribe(KALTOR_CLASS_ID, info);
}

void f0r_get_param_info(f0r_param_info* info, int index) {
    KaltorFrei0rDescribeParameter(KALTOR_CLASS_ID, info, index);
}

f0r_instance_t f0r_construct(unsigned width, unsigned height) {
    return KaltorFrei0rConstruct(KALTOR_CLASS_ID, width, height);
}

void f0r_destruct(f0r_instance_t instance) {
    KaltorFrei0rDestruct(instance);
}

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    KaltorFrei0rSet(instance, value, index);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index) {
    KaltorFrei0rGet(instance, value, index);
}

void f0r_update(f0r_instance_t instance, double time, std::uint32_t const* in, std::uint32_t* out) {
    KaltorFrei0rUpdate(instance, time, in, nullptr, out, __builtin_return_address(0));
}

void f0r_update2(f0r_instance_t instance, double time, std::uint32_t const* in1, std::uint32_t const* in2,
                 std::uint32_t const*, std::uint32_t* out) {
    KaltorFrei0rUpdate(instance, time, in1, in2, out, __builtin_return_address(0));
}

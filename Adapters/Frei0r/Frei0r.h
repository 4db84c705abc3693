#pragma once

// The C interface that frei0r's hosts and plug-ins share, version 1.2, as its public documentation describes it: names,
// numbers and layouts are the interface's own.

#include <cstdint>

constexpr int kFrei0rVersion = 1;

constexpr int kFrei0rFilter = 0;
constexpr int kFrei0rMixer2 = 2;

/// Bytes red, green, blue, alpha; straight alpha; the top row first.
constexpr int kFrei0rRgba8888 = 1;

constexpr int kFrei0rBool = 0;
constexpr int kFrei0rDouble = 1;
constexpr int kFrei0rColor = 2;
constexpr int kFrei0rString = 4;

extern "C" {

struct f0r_plugin_info {
    char const* name;
    char const* author;
    int plugin_type;
    int color_model;
    int frei0r_version;
    int major_version;
    int minor_version;
    int num_params;
    char const* explanation;
};

struct f0r_param_info {
    char const* name;
    int type;
    char const* explanation;
};

/// Values travel by pointer: a double for flags (true from 0.5 up) and numbers (0 to 1), this for colours (0 to 1), a
/// `char*` for strings.
struct f0r_param_color {
    float red;
    float green;
    float blue;
};

using f0r_instance_t = void*;
using f0r_param_t = void*;

}  // extern "C"

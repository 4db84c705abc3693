#include "Adapters/Frei0r/Library.h"

#include <array>

#include <dlfcn.h>

#include "Adapters/Frei0r/EffectSource.h"
#include "Adapters/Frei0r/Instance.h"

namespace {

using Kaltor::Frei0r::Instance;
using Kaltor::Frei0r::Parameter;
using Kaltor::Frei0r::Plugin;

constexpr char const* kAuthor = "Kaltor";

Plugin const* Find(char const* classId) noexcept {
    try {
        return Plugin::Find(classId);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

int KaltorFrei0rInit(char const* classId) {
    return Find(classId) != nullptr ? 1 : 0;
}

void KaltorFrei0rDescribe(char const* classId, f0r_plugin_info* info) {
    Plugin const* const plugin = Find(classId);
    if (plugin == nullptr) {
        *info = {classId, kAuthor, kFrei0rFilter, kFrei0rRgba8888, kFrei0rVersion, 0, 0, 0, ""};
        return;
    }
    *info = {plugin->name.c_str(),
             kAuthor,
             plugin->isMixer ? kFrei0rMixer2 : kFrei0rFilter,
             kFrei0rRgba8888,
             kFrei0rVersion,
             KALTOR_VERSION_MAJOR,
             KALTOR_VERSION_MINOR,
             static_cast<int>(plugin->parameters.Get().size()),
             plugin->summary.c_str()};
}

void KaltorFrei0rDescribeParameter(char const* classId, f0r_param_info* info, int index) {
    Plugin const* const plugin = Find(classId);
    auto const place = static_cast<std::size_t>(index);
    if (plugin == nullptr || index < 0 || place >= plugin->parameters.Get().size()) {
        *info = {"", kFrei0rDouble, ""};
        return;
    }
    Parameter const& parameter = plugin->parameters.Get()[place];
    *info = {parameter.name.c_str(), parameter.type, parameter.help.c_str()};
}

f0r_instance_t KaltorFrei0rConstruct(char const* classId, unsigned width, unsigned height) {
    Plugin const* const plugin = Find(classId);
    if (plugin == nullptr || width == 0 || height == 0) {
        return nullptr;
    }
    try {
        return new Instance(*plugin, width, height);
    } catch (...) {
        return nullptr;
    }
}

void KaltorFrei0rDestruct(f0r_instance_t instance) {
    // What an effect holds on the GPU is freed by a thread that a copy of the process, or one that ends, does not have.
    Kaltor::Frei0r::EffectSource const& source = Kaltor::Frei0r::EffectSource::Get();
    if (!source.IsForked() && !source.IsEnding()) {
        delete static_cast<Instance*>(instance);
    }
}

void KaltorFrei0rSet(f0r_instance_t instance, f0r_param_t value, int index) {
    try {
        static_cast<Instance*>(instance)->SetValue(index, value);
    } catch (...) {
        // Out of memory: the value stays.
    }
}

void KaltorFrei0rGet(f0r_instance_t instance, f0r_param_t value, int index) {
    static_cast<Instance const*>(instance)->GetValue(index, value);
}

void KaltorFrei0rUpdate(f0r_instance_t instance, double time, std::uint32_t const* first, std::uint32_t const* second,
                        std::uint32_t* output, void const* caller) {
    Dl_info info{};
    char const* const file = dladdr(caller, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
    std::array const inputs{first, second};
    static_cast<Instance*>(instance)->Draw(time, {inputs.data(), second != nullptr ? 2U : 1U}, output, file);
}

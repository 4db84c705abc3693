#pragma once

#include <dlfcn.h>

#include "Adapters/Frei0r/Frei0r.h"
#include "Tests/Support/Picture.h"

namespace Kaltor::Tests {

/// A plug-in's file as a host sees it: loaded, and closed at the end.
class Door {
public:
    /// By the file's stem: "kaltor_invert". Throws `std::runtime_error`.
    explicit Door(std::string const& stem)
        : library(dlopen((std::filesystem::path(KALTOR_DOORS_FOLDER) / (stem + ".so")).c_str(), RTLD_NOW | RTLD_LOCAL),
                  &dlclose) {
        if (!library) {
            throw std::runtime_error(dlerror());
        }
        if (Call<int()>("f0r_init")() != 1) {
            throw std::runtime_error(stem + " does not start");
        }
    }

    f0r_plugin_info GetInfo() const {
        f0r_plugin_info info{};
        Call<void(f0r_plugin_info*)>("f0r_get_plugin_info")(&info);
        return info;
    }
    f0r_param_info GetParameter(int index) const {
        f0r_param_info info{};
        Call<void(f0r_param_info*, int)>("f0r_get_param_info")(&info, index);
        return info;
    }
    /// Throws `std::runtime_error` where there is none.
    int FindParameter(std::string const& name) const {
        for (int i = 0; i < GetInfo().num_params; ++i) {
            if (GetParameter(i).name == name) {
                return i;
            }
        }
        throw std::runtime_error("no parameter " + name);
    }

    template <typename Function>
    Function* Call(char const* symbol) const {
        return reinterpret_cast<Function*>(dlsym(library.get(), symbol));
    }

private:
    std::unique_ptr<void, int (*)(void*)> library;
};

/// An instance of it for pictures of one size.
class DoorInstance {
public:
    DoorInstance(Door const& its, unsigned pictureWidth, unsigned pictureHeight)
        : door(&its),
          width(pictureWidth),
          height(pictureHeight),
          instance(door->Call<f0r_instance_t(unsigned, unsigned)>("f0r_construct")(width, height)),
          destruct(door->Call<void(f0r_instance_t)>("f0r_destruct")) {}
    ~DoorInstance() { destruct(instance); }
    DoorInstance(DoorInstance const&) = delete;
    DoorInstance& operator=(DoorInstance const&) = delete;

    void Set(std::string const& name, double value) { SetAny(name, &value); }
    void Set(std::string const& name, f0r_param_color value) { SetAny(name, &value); }
    void Set(std::string const& name, std::string value) {
        char* text = value.data();
        SetAny(name, &text);
    }
    double GetNumber(std::string const& name) const {
        double value = 0.0;
        door->Call<void(f0r_instance_t, f0r_param_t, int)>("f0r_get_param_value")(instance, &value,
                                                                                  door->FindParameter(name));
        return value;
    }

    /// A mixer where two pictures are given. Fails where the bytes behind the output are written to.
    Picture Draw(double time, Picture const& first, Picture const* second = nullptr) const {
        constexpr std::uint32_t kGuard = 0x12345678;
        std::vector<std::uint32_t> const from = ToPixels(first);
        std::vector<std::uint32_t> output(from.size() + 1, kGuard);
        if (second == nullptr) {
            door->Call<void(f0r_instance_t, double, std::uint32_t const*, std::uint32_t*)>("f0r_update")(
                instance, time, from.data(), output.data());
        } else {
            door->Call<void(f0r_instance_t, double, std::uint32_t const*, std::uint32_t const*, std::uint32_t const*,
                            std::uint32_t*)>("f0r_update2")(instance, time, from.data(), ToPixels(*second).data(),
                                                            nullptr, output.data());
        }
        EXPECT_EQ(output.back(), kGuard) << "written behind the picture";
        return Picture::Make(width, height, true, [&](unsigned x, unsigned y) {
            auto const* const bytes = reinterpret_cast<std::uint8_t const*>(&output[std::size_t{y} * width + x]);
            return Rgba{bytes[0] / 255.0, bytes[1] / 255.0, bytes[2] / 255.0, bytes[3] / 255.0};
        });
    }
    Picture Draw(double time, Picture const& first, Picture const& second) const { return Draw(time, first, &second); }

private:
    void SetAny(std::string const& name, void* value) {
        door->Call<void(f0r_instance_t, f0r_param_t, int)>("f0r_set_param_value")(instance, value,
                                                                                  door->FindParameter(name));
    }
    /// In a block of exactly the picture's size, so that reading beyond it shows under a sanitizer.
    static std::vector<std::uint32_t> ToPixels(Picture const& picture) {
        std::vector<std::uint32_t> pixels(picture.pixels.size());
        auto* const bytes = reinterpret_cast<std::uint8_t*>(pixels.data());
        for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
            for (std::size_t channel = 0; channel < 4; ++channel) {
                bytes[4 * i + channel] = static_cast<std::uint8_t>(picture.pixels[i][channel] * 255.0 + 0.5);
            }
        }
        return pixels;
    }

    Door const* door;
    unsigned width;
    unsigned height;
    f0r_instance_t instance;
    void (*destruct)(f0r_instance_t);
};

}  // namespace Kaltor::Tests

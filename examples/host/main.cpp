// Blurs a picture in memory, lets it dissolve into its original, and writes the result as a PPM file.
#include <fstream>
#include <iostream>
#include <vector>

#include <kaltor/Embed.h>

int main() try {
    std::vector<std::uint8_t> const pixels = [] {  // a disc, 128 x 96 pixels of RGB
        std::vector<std::uint8_t> made;
        for (int i = 0; i < 128 * 96; ++i) {
            int const x = i % 128 - 64, y = i / 128 - 48;
            made.insert(made.end(), {static_cast<std::uint8_t>(x * x + y * y < 1000 ? 255 : 0), 64, 128});
        }
        return made;
    }();
    Kaltor::Embed::ImageView const picture{pixels.data(), 128, 96, 0, Kaltor::Embed::Layout::Rgb};

    Kaltor::Embed::Library const library;
    Kaltor::Embed::Effect blur = library.Make("EffectBlurGaussian");
    blur.Set("scale", 0.05);
    Kaltor::Embed::Image const soft = blur.Apply(picture);
    for (Kaltor::Embed::FieldInfo const& field : blur.GetFields()) {
        std::cout << field.name << " = " << field.value << ": " << field.help << '\n';
    }
    Kaltor::Embed::Effect dissolve = library.Make("TransitionCrossfade");
    Kaltor::Embed::Image const half = dissolve.Apply(soft, picture, {.progress = 0.5});

    std::ofstream file("soft.ppm", std::ios::binary);
    file << "P6\n" << half.GetWidth() << ' ' << half.GetHeight() << "\n255\n";
    for (std::uint32_t y = 0; y < half.GetHeight(); ++y) {
        file.write(reinterpret_cast<char const*>(half.GetPixels() + half.GetStride() * y), half.GetWidth() * 3);
    }
} catch (std::exception const& error) {
    std::cerr << "soften: " << error.what() << '\n';
    return 1;
}

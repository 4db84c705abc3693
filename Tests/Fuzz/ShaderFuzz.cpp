// A shader file as a stranger sends it: its header, its uniforms as fields, and a compiler's log of it. Nothing is
// drawn.
#include <cstdlib>

#include <fmt/format.h>

#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::AsText(data, size);
    Proc::DescribeShaderLog("a.glsl", text);
    Fuzz::MayRefuse([&] {
        Proc::SettingsShaderFile settings(std::make_shared<Proc::ShaderFile const>("a.glsl", text));
        auto const again = settings.MakeDefault();
        for (std::size_t i = 0; i < settings.GetFields().size(); ++i) {
            Proc::Field const& field = settings.GetFields()[i];
            std::string const value = field.Format(field.get(settings));
            try {
                again->Set(field.key, value);
            } catch (std::invalid_argument const& error) {
                if (field.type != Proc::FieldType::File) {
                    fmt::print(stderr, "the default of {} is refused: {}\n", field.key, error.what());
                    std::abort();
                }
            }
            settings.GetNumbers(i);
        }
        if (!again->HasSameValues(settings)) {
            fmt::print(stderr, "the defaults read back as something else\n");
            std::abort();
        }
    });
    return 0;
}

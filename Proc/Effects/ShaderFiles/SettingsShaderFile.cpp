#include "Proc/Effects/ShaderFiles/SettingsShaderFile.h"

#include <stdexcept>
#include <type_traits>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"

namespace Kaltor::Proc {
namespace {

FieldType FieldTypeOf(ShaderUniform const& uniform) {
    using Type = ShaderUniform::Type;
    switch (uniform.type) {
        case Type::Int:
            return FieldType::Int;
        case Type::Bool:
            return FieldType::Flag;
        case Type::Vector:
            return uniform.isColor ? FieldType::Color : FieldType::Reals;
        case Type::IntVector:
            return FieldType::Ints;
        case Type::Sampler:
            return FieldType::File;
        case Type::Float:
            break;
    }
    return FieldType::Float;
}

}  // namespace

SettingsShaderFile::Declared::Declared(std::shared_ptr<ShaderFile const> shaderFile) : file(std::move(shaderFile)) {
    std::vector<ShaderUniform> const& uniforms = file->GetUniforms();
    for (std::size_t i = 0; i < uniforms.size(); ++i) {
        Field field{};
        field.key = uniforms[i].name;
        field.type = FieldTypeOf(uniforms[i]);
        field.minimum = uniforms[i].minimum;
        field.maximum = uniforms[i].maximum;
        field.help = uniforms[i].help;
        field.length = uniforms[i].size;
        field.get = [i](Settings const& settings) {
            return static_cast<SettingsShaderFile const&>(settings).values[i];
        };
        field.set = [i](Settings& settings, FieldValue const& value) {
            FieldValue& member = static_cast<SettingsShaderFile&>(settings).values[i];
            if (member.index() != value.index()) {
                throw std::bad_variant_access();
            }
            member = value;
        };
        fields.push_back(std::move(field));
    }
}

SettingsShaderFile::SettingsShaderFile(std::shared_ptr<ShaderFile const> shaderFile)
    : declared(std::make_shared<Declared const>(std::move(shaderFile))) {
    for (ShaderUniform const& uniform : declared->file->GetUniforms()) {
        values.push_back(uniform.initial);
    }
}

std::unique_ptr<Settings> SettingsShaderFile::MakeDefault() const {
    auto made = std::make_unique<SettingsShaderFile>(*this);
    for (std::size_t i = 0; i < values.size(); ++i) {
        made->values[i] = declared->file->GetUniforms()[i].initial;
    }
    return made;
}

Numbers SettingsShaderFile::GetNumbers(std::size_t uniform) const {
    ShaderUniform const& declaration = declared->file->GetUniforms()[uniform];
    FieldValue const& value = values[uniform];
    if (value == declaration.initial) {
        return declaration.exact;
    }
    Numbers numbers = std::visit(
        []<typename T>(T const& held) -> Numbers {
            constexpr double kMost = 255.0;
            if constexpr (std::is_same_v<T, Color>) {
                return {held.red / kMost, held.green / kMost, held.blue / kMost, held.alpha / kMost};
            } else if constexpr (std::is_same_v<T, Numbers>) {
                return held;
            } else if constexpr (std::is_arithmetic_v<T>) {
                return {static_cast<double>(held)};
            } else {
                return {};
            }
        },
        value);
    numbers.resize(declaration.size);
    return numbers;
}

void SettingsShaderFile::RequirePictures() const {
    for (Field const& field : declared->fields) {
        if (field.type == FieldType::File && std::get<std::string>(field.get(*this)).empty()) {
            Core::Throw(
                std::invalid_argument(fmt::format("{0} needs a picture for \"{1}\": give it with --set "
                                                  "{1}=PICTURE.png, or in an edit with \"{1}\": \"PICTURE.png\"",
                                                  GetClassId(), field.key)));
        }
    }
}

}  // namespace Kaltor::Proc

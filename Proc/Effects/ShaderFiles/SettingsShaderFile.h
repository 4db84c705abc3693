#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Proc/Effects/ShaderFiles/ShaderFile.h"

namespace Kaltor::Proc {

/// The settings of a transition or effect from a shader file: its uniforms are the fields, each object's own.
class SettingsShaderFile final : public Settings {
public:
    explicit SettingsShaderFile(std::shared_ptr<ShaderFile const> shaderFile);

    std::string const& GetClassId() const override { return declared->file->GetName(); }
    std::string_view GetSummary() const override { return declared->file->GetSummary(); }
    std::string_view GetNeutral() const override { return {}; }
    bool RunsOnProgress() const override { return declared->file->RunsOnProgress(); }
    bool IsRandom() const override { return false; }
    bool KeepsLayout() const override { return false; }
    std::vector<Field> const& GetFields() const override { return declared->fields; }
    std::unique_ptr<Settings> Clone() const override { return std::make_unique<SettingsShaderFile>(*this); }
    std::unique_ptr<Settings> MakeDefault() const override;
    std::string GetOrigin() const override { return declared->file->GetPath(); }

    ShaderFile const& GetFile() const { return *declared->file; }
    /// The value of the uniform of this number.
    FieldValue const& Get(std::size_t uniform) const { return values[uniform]; }
    /// The numbers that the program gets for it: the default as exactly as the file has it.
    Numbers GetNumbers(std::size_t uniform) const;

    /// Throws `std::invalid_argument` where a picture is not given.
    void RequirePictures() const;

private:
    /// Shared by all objects of one file; the fields' texts are the file's.
    struct Declared {
        explicit Declared(std::shared_ptr<ShaderFile const> shaderFile);
        std::shared_ptr<ShaderFile const> file;
        std::vector<Field> fields;
    };

    std::shared_ptr<Declared const> declared;
    std::vector<FieldValue> values;
};

}  // namespace Kaltor::Proc

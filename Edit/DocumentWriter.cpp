#include "Edit/DocumentWriter.h"

#include <cmath>
#include <filesystem>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Declaration.h"
#include "Edit/FieldCurve.h"

namespace Kaltor::Edit {
namespace {

template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type {};
template <typename T>
struct IsVector : std::false_type {};
template <typename T>
struct IsVector<std::vector<T>> : std::true_type {};

Json WriteNumber(double value) {
    constexpr double kExact = 1e15;
    return value == std::floor(value) && std::abs(value) < kExact ? Json(static_cast<std::int64_t>(value))
                                                                  : Json(value);
}

Json Write(bool value) {
    return value;
}
Json Write(double value) {
    return WriteNumber(value);
}
Json Write(std::uint32_t value) {
    return value;
}
Json Write(int value) {
    return value;
}
Json Write(std::string const& value) {
    return value;
}
Json Write(Time const& time) {
    return time.frames == 0.0 && time.share == 0.0 ? WriteNumber(time.seconds) : Json(Format(time));
}
Json Write(Length const& length) {
    return length.isPixels ? Json(Format(length)) : WriteNumber(length.value);
}
Json Write(Proc::Color const& color) {
    Proc::Field field{};
    field.type = Proc::FieldType::Color;
    return field.Format(color);
}
Json Write(Output::Size const& size) {
    return fmt::format("{}x{}", size.width, size.height);
}
Json Write(Media::BitRate const& rate) {
    return Media::Format(rate);
}
Json Write(Media::TextMap const& texts) {
    return texts;
}
Json Write(AVRational const& rate) {
    return rate.den == 1 ? Json(rate.num) : Json(fmt::format("{}/{}", rate.num, rate.den));
}
template <typename Enumeration>
requires std::is_enum_v<Enumeration> Json Write(Enumeration value) {
    for (EnumLabel<Enumeration> const& label : GetLabels(Enumeration{})) {
        if (label.value == value) {
            return label.label;
        }
    }
    return nullptr;
}

template <typename WriteComponents>
Json WriteCurve(Curve const& curve, WriteComponents const& writeComponents) {
    Json keys = Json::array();
    for (Key const& key : curve.keys) {
        Json one = Json::array({Write(key.time), writeComponents(key.value)});
        if (!key.easing.IsLinear()) {
            one.push_back(key.easing.GetName());
        }
        keys.push_back(std::move(one));
    }
    return {{"keys", std::move(keys)}};
}
Json WriteFirst(std::vector<double> const& value) {
    return WriteNumber(value.front());
}
Json Write(Animated const& value) {
    return value.IsConstant() ? WriteNumber(value.constant) : WriteCurve(value.curve, WriteFirst);
}

Json WriteFieldValue(Proc::Field const& field, Proc::FieldValue const& value) {
    using Proc::FieldType;
    switch (field.type) {
        case FieldType::Flag:
            return std::get<bool>(value);
        case FieldType::Choice:
        case FieldType::Color:
        case FieldType::File:
            return field.Format(value);
        case FieldType::Reals8:
        case FieldType::Reals:
        case FieldType::Ints:
            return Components(value);
        // What single precision holds is written as shortly as it reads back.
        case FieldType::Float:
            return Json::parse(field.Format(value));
        default:
            return WriteNumber(Components(value).front());
    }
}

template <typename Struct>
Json WriteStruct(Struct const& value);

template <typename Struct>
requires std::is_class_v<Struct> Json Write(Struct const& value) {
    if constexpr (IsOptional<Struct>::value) {
        return value ? Write(*value) : Json();
    } else if constexpr (IsVector<Struct>::value) {
        Json list = Json::array();
        for (auto const& one : value) {
            list.push_back(Write(one));
        }
        return list;
    } else {
        return WriteStruct(value);
    }
}

std::string Absolute(std::string const& file) {
    return std::filesystem::absolute(file).lexically_normal().string();
}

/// A class by its id, a shader file that is known by its path alone by that.
std::string NameOf(Proc::Settings const& settings) {
    std::string const& name = settings.GetClassId();
    return name == settings.GetOrigin() ? Absolute(name) : name;
}

/// The archive that writes one object, with all that has a value.
class ObjectWriter {
public:
    template <typename T>
    void operator()(char const* key, T const& member, char const*) {
        Put(key, Write(member));
    }
    template <typename T>
    void operator()(char const* key, T const& member, Range const&, char const*) {
        Put(key, Write(member));
    }

    void Look(char const* key, Edit::Look const& look) {
        Put(key, look.settings ? Json(NameOf(*look.settings)) : Json("none"));
        if (!look.easing.IsLinear()) {
            Put("easing", look.easing.GetName());
        }
        if (!look.progress.keys.empty()) {
            Put("progress", WriteCurve(look.progress, WriteFirst));
        }
        if (!look.settings) {
            return;
        }
        std::unique_ptr<Proc::Settings> const standard = look.settings->MakeDefault();
        for (Proc::Field const& field : look.settings->GetFields()) {
            Proc::FieldValue const value = field.get(*look.settings);
            if (value != field.get(*standard)) {
                bool const isFile = field.type == Proc::FieldType::File;
                Put(std::string(field.key),
                    isFile ? Json(Absolute(std::get<std::string>(value))) : WriteFieldValue(field, value));
            }
        }
        for (KeyedField const& keyed : look.keyed) {
            Proc::Field const& field = look.settings->FindField(keyed.key);
            Put(keyed.key, WriteCurve(keyed.curve, [&field](std::vector<double> const& components) {
                    return WriteFieldValue(field, FromComponents(field, components));
                }));
        }
    }

    Json object = Json::object();

private:
    void Put(std::string const& key, Json value) {
        if (!value.is_null()) {
            object[key] = std::move(value);
        }
    }
};

template <typename Struct>
Json WriteWhole(Struct const& value) {
    ObjectWriter writer;
    Struct copy = value;
    Declare(writer, copy);
    return std::move(writer.object);
}

template <typename Struct>
Json WriteStruct(Struct const& value) {
    Json whole = WriteWhole(value);
    static Json const standard = WriteWhole(Struct());
    Json result = Json::object();
    for (auto const& [key, member] : whole.items()) {
        // The class's name is always there.
        bool const isName = key == "effect" || key == "transition";
        if (isName || !standard.contains(key) || standard[key] != member) {
            result[key] = member;
        }
    }
    return result;
}

void MakeRelative(std::string& file, std::filesystem::path const& folder) {
    if (file.empty() || file == "-") {
        return;
    }
    std::filesystem::path const absolute = std::filesystem::absolute(file).lexically_normal();
    std::filesystem::path const relative = absolute.lexically_relative(folder);
    bool const isBelow = !relative.empty() && *relative.begin() != "..";
    file = (isBelow ? relative : absolute).string();
}

/// Makes the paths of shader files and of their pictures, which are written as absolute ones, relative.
void MakeShadersRelative(Json& json, std::filesystem::path const& folder) {
    if (!json.is_structured()) {
        return;
    }
    bool const isLook = json.is_object() && (json.contains("effect") || json.contains("transition"));
    for (Json& member : json) {
        if (isLook && member.is_string() && member.get_ref<std::string const&>().starts_with('/')) {
            MakeRelative(member.get_ref<std::string&>(), folder);
        } else {
            MakeShadersRelative(member, folder);
        }
    }
}

}  // namespace

Json WriteDocument(Document const& document) {
    Json json{{"version", Document::kVersion}};
    json.update(WriteStruct(document));
    return json;
}

std::string FormatDocument(Document const& document, std::string const& folder) {
    std::filesystem::path const base = std::filesystem::absolute(folder).lexically_normal();
    Document copy = document;
    for (Clip& clip : copy.clips) {
        MakeRelative(clip.source.file, base);
    }
    for (Overlay& overlay : copy.overlays) {
        MakeRelative(overlay.source.file, base);
    }
    for (Sound& sound : copy.sounds) {
        MakeRelative(sound.file, base);
    }
    for (Subtitles& subtitles : copy.subtitles) {
        MakeRelative(subtitles.file, base);
    }
    Json json = WriteDocument(copy);
    MakeShadersRelative(json, base);
    try {
        return json.dump(2) + "\n";
    } catch (Json::type_error const&) {
        // Other text in its place would be another file's name.
        Core::Throw(std::invalid_argument("an edit cannot hold names that are not UTF-8; give the file another name"));
    }
}

}  // namespace Kaltor::Edit

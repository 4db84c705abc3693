#include "Edit/DocumentReader.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <numeric>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Core/Text.h"
#include "Edit/Declaration.h"
#include "Edit/FieldCurve.h"
#include "Edit/Schema.h"
#include "Media/Sequence.h"

namespace Kaltor::Edit {
namespace {

/// Where in the document something stands: "clips/2/effects".
class Place {
public:
    Place() = default;
    Place operator/(std::string_view key) const {
        Place place;
        place.text = text.empty() ? std::string(key) : fmt::format("{}/{}", text, key);
        return place;
    }
    Place operator/(std::size_t index) const { return *this / std::to_string(index); }

    [[noreturn]] void Refuse(std::string const& why) const {
        Core::Throw(std::invalid_argument(text.empty() ? why : fmt::format("{}: {}", text, why)));
    }

private:
    std::string text;
};

/// A value as a message shows it: short.
std::string Show(Json const& value) {
    constexpr std::size_t kLongest = 60;
    if (value.is_object() || value.is_array()) {
        return value.is_object() ? "an object" : "a list";
    }
    std::string const text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    return text.size() <= kLongest ? text : std::string(Core::BeginningOf(text, kLongest)) + "...\"";
}

[[noreturn]] void RefuseType(Place const& place, Json const& value, std::string const& wanted) {
    place.Refuse(fmt::format("{} is not {}", Show(value), wanted));
}

struct Context {
    Host::Catalog const& catalog;
    Home const& home;
};

/// Calls a parser that knows no places.
template <typename Parse>
auto Parsed(Place const& place, Parse const& parse) {
    try {
        return parse();
    } catch (std::invalid_argument const& error) {
        place.Refuse(error.what());
    }
}

double ReadNumber(Json const& value, Place const& place, Range const& range) {
    if (!value.is_number()) {
        RefuseType(place, value, "a number");
    }
    auto const number = value.get<double>();
    if (number < range.minimum) {
        place.Refuse(fmt::format("{:g} is below {:g}", number, range.minimum));
    }
    if (!(number <= range.maximum)) {
        place.Refuse(fmt::format("{:g} is above {:g}", number, range.maximum));
    }
    return number;
}

std::string const& ReadText(Json const& value, Place const& place, char const* what = "a text") {
    if (!value.is_string()) {
        RefuseType(place, value, what);
    }
    auto const& text = value.get_ref<std::string const&>();
    if (text.find('\0') != std::string::npos) {
        place.Refuse("a text cannot hold the character of code 0");
    }
    return text;
}

void Read(Json const& value, Place const& place, Context const&, bool& member) {
    if (!value.is_boolean()) {
        RefuseType(place, value, "true or false");
    }
    member = value.get<bool>();
}

void Read(Json const& value, Place const& place, Context const&, std::string& member) {
    member = ReadText(value, place);
}

Time ReadTime(Json const& value, Place const& place) {
    if (value.is_number()) {
        return Time::Seconds(ReadNumber(value, place, kAnyNumber));
    }
    std::string const& text = ReadText(value, place, "a time");
    return Parsed(place, [&] { return ParseTime(text); });
}

void Read(Json const& value, Place const& place, Context const&, Time& member) {
    member = ReadTime(value, place);
}

void Read(Json const& value, Place const& place, Context const&, Length& member) {
    if (value.is_number()) {
        member = {ReadNumber(value, place, kAnyNumber), false};
        return;
    }
    std::string const& text = ReadText(value, place, "a length");
    member = Parsed(place, [&] { return ParseLength(text); });
}

void Read(Json const& value, Place const& place, Context const&, Proc::Color& member) {
    std::string const& text = ReadText(value, place, "a colour");
    member = Parsed(place, [&] { return ParseColor(text); });
}

void Read(Json const& value, Place const& place, Context const&, Output::Size& member) {
    constexpr std::size_t kLongest = 32;  // the schema's expression takes stack for each digit
    std::string const& text = ReadText(value, place, "a size");
    std::size_t const cross = text.find_first_of("xX");
    std::string_view const view = text;
    auto const readSide = [](std::string_view side) { return Core::ParseNumber<std::uint32_t>(side).value_or(0); };
    std::uint32_t const width = readSide(view.substr(0, cross));
    std::uint32_t const height = cross == std::string::npos ? 0 : readSide(view.substr(cross + 1));
    if (text.size() > kLongest || width == 0 || height == 0 || width % 2 != 0 || height % 2 != 0) {
        place.Refuse(
            fmt::format("{} is not a size: it takes WIDTHxHEIGHT, two even numbers, such as 1280x720", Show(value)));
    }
    member = {width, height};
}

void Read(Json const& value, Place const& place, Context const&, Media::BitRate& member) {
    member = Parsed(place, [&] {
        return Media::ParseBitRate(value.is_number() ? value.dump() : ReadText(value, place, "a bit rate"));
    });
}

void Read(Json const& value, Place const& place, Context const&, Media::TextMap& member) {
    if (!value.is_object()) {
        RefuseType(place, value, "an object");
    }
    for (auto const& [key, one] : value.items()) {
        member[key] = one.is_number() || one.is_boolean() ? one.dump() : ReadText(one, place / key);
    }
}

void Read(Json const& value, Place const& place, Context const&, AVRational& member) {
    member = Parsed(place, [&] {
        return value.is_number() ? ParseFrameRate(value.dump()) : ParseFrameRate(ReadText(value, place, "a rate"));
    });
}

template <typename Whole>
Whole ReadWhole(Json const& value, Place const& place) {
    constexpr auto kLeast = static_cast<double>(std::numeric_limits<Whole>::min());
    constexpr auto kMost = static_cast<double>(std::numeric_limits<Whole>::max());
    double const number = ReadNumber(value, place, {kLeast, kMost});
    if (number != std::floor(number)) {
        RefuseType(place, value, "a whole number");
    }
    return static_cast<Whole>(number);
}
void Read(Json const& value, Place const& place, Context const&, std::uint32_t& member) {
    member = ReadWhole<std::uint32_t>(value, place);
}
void Read(Json const& value, Place const& place, Context const&, int& member) {
    member = ReadWhole<int>(value, place);
}

template <typename Enumeration>
requires std::is_enum_v<Enumeration>
void Read(Json const& value, Place const& place, Context const&, Enumeration& member) {
    std::string const& text = ReadText(value, place);
    std::vector<std::string> labels;
    for (EnumLabel<Enumeration> const& label : GetLabels(Enumeration{})) {
        if (label.label == text) {
            member = label.value;
            return;
        }
        labels.emplace_back(label.label);
    }
    place.Refuse(fmt::format("{} is none of {}", Show(value), fmt::join(labels, ", ")));
}

Easing ReadEasing(Json const& value, Place const& place) {
    std::string const& text = ReadText(value, place, "an easing");
    return Parsed(place, [&] { return Easing::Parse(text); });
}

/// The components of a key's value, and their place for messages.
using ReadComponents = std::function<std::vector<double>(Json const&, Place const&)>;

void CheckMembers(Json const& object, Place const& place, std::initializer_list<std::string_view> known) {
    for (auto const& [key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            (place / key).Refuse(fmt::format("there is no such key; it takes {}", fmt::join(known, ", ")));
        }
    }
}

bool IsCurve(Json const& value) {
    return value.is_object();
}

/// {"keys": [[time, value, easing], ...]} or {"from": value, "to": value, "easing": easing}.
Curve ReadCurve(Json const& value, Place const& place, ReadComponents const& readComponents) {
    Curve curve;
    if (!value.contains("keys")) {
        CheckMembers(value, place, {"from", "to", "easing"});
        if (!value.contains("from") || !value.contains("to")) {
            place.Refuse(R"(it takes {"keys": [[time, value, easing], ...]} or {"from": value, "to": value})");
        }
        Easing const easing = value.contains("easing") ? ReadEasing(value["easing"], place / "easing") : Easing();
        curve.keys.push_back({Time::Seconds(0.0), readComponents(value["from"], place / "from"), easing});
        curve.keys.push_back({Time::Share(1.0), readComponents(value["to"], place / "to"), {}});
        return curve;
    }
    CheckMembers(value, place, {"keys"});
    Json const& keys = value["keys"];
    Place const list = place / "keys";
    if (!keys.is_array() || keys.empty()) {
        list.Refuse("it takes a list of keys, each [time, value] or [time, value, easing]");
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        Json const& key = keys[i];
        Place const at = list / i;
        if (!key.is_array() || key.size() < 2 || key.size() > 3) {
            RefuseType(at, key, "a key: it takes [time, value] or [time, value, easing]");
        }
        Key& read = curve.keys.emplace_back();
        read.time = ReadTime(key[0], at / 0);
        read.value = readComponents(key[1], at / 1);
        if (key.size() == 3) {
            read.easing = ReadEasing(key[2], at / 2);
        }
        if (i == 0) {
            continue;
        }
        Key const& before = curve.keys[i - 1];
        if (before.value.size() != read.value.size()) {
            (at / 1).Refuse("it has another form than the key before");
        }
        // Times of different units are compared when the span is known.
        auto const unit = [](Time const& time) { return std::pair(time.frames != 0.0, time.share != 0.0); };
        Time const zero;
        bool const isComparable = unit(before.time) == unit(read.time) || before.time == zero || read.time == zero;
        auto const sum = [](Time const& time) { return time.seconds * 1e3 + time.frames + time.share; };
        if (isComparable && sum(read.time) <= sum(before.time)) {
            (at / 0).Refuse(
                fmt::format("{} does not come after the key before, at {}", Format(read.time), Format(before.time)));
        }
    }
    return curve;
}

void Read(Json const& value, Place const& place, Context const&, Animated& member, Range const& range) {
    if (!IsCurve(value)) {
        member = {ReadNumber(value, place, range), {}};
        return;
    }
    member.curve = ReadCurve(value, place, [&range](Json const& number, Place const& at) {
        return std::vector{ReadNumber(number, at, range)};
    });
}

void Read(Json const& value, Place const& place, Context const&, double& member, Range const& range) {
    member = ReadNumber(value, place, range);
}

/// A field's constant, checked against its declaration.
Proc::FieldValue ReadFieldValue(Proc::Field const& field, Json const& value, Place const& place) {
    using Proc::FieldType;
    auto const parse = [&](std::string const& text) { return Parsed(place, [&] { return field.Parse(text); }); };
    switch (field.type) {
        case FieldType::Int:
        case FieldType::Uint:
            ReadNumber(value, place, {field.minimum, field.maximum});
            if (!value.is_number_integer() && value.get<double>() != std::floor(value.get<double>())) {
                RefuseType(place, value, "a whole number");
            }
            return parse(std::to_string(static_cast<std::int64_t>(value.get<double>())));
        case FieldType::Real:
        case FieldType::Float:
            ReadNumber(value, place, {field.minimum, field.maximum});
            return parse(fmt::format("{}", value.get<double>()));
        case FieldType::Flag:
            if (!value.is_boolean()) {
                RefuseType(place, value, "true or false");
            }
            return value.get<bool>();
        case FieldType::Choice:
            return parse(value.is_number_integer() ? value.dump() : ReadText(value, place, "a choice"));
        case FieldType::Color:
            return parse(ReadText(value, place, "a colour"));
        case FieldType::File:
            return ReadText(value, place, "a file's path");
        case FieldType::Reals8:
        case FieldType::Reals:
        case FieldType::Ints:
            break;
    }
    if (!value.is_array() || value.size() != field.length) {
        RefuseType(place, value, fmt::format("a list of {} numbers", field.length));
    }
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < field.length; ++i) {
        texts.push_back(fmt::format("{}", ReadNumber(value[i], place / i, {field.minimum, field.maximum})));
    }
    return parse(fmt::format("{}", fmt::join(texts, ",")));
}

/// With symbolic links resolved, as far as the path exists.
std::filesystem::path Canonical(std::filesystem::path const& path) {
    std::filesystem::path const full = std::filesystem::absolute(path);
    std::error_code error;
    std::filesystem::path const result = std::filesystem::weakly_canonical(full, error);
    return error ? full.lexically_normal() : result;
}

/// Those of a sequence; none where it is not whole, which is reported when it is examined.
std::vector<std::string> ListPictures(std::string const& pattern) {
    std::vector<std::string> names;
    try {
        Media::Sequence const sequence = Media::Sequence::Find(pattern);
        for (std::int64_t i = 0; i < sequence.count; ++i) {
            names.push_back(sequence.GetName(i));
        }
    } catch (Media::MediaError const&) {
        return {};
    }
    return names;
}

void ResolvePath(std::string& file, Home const& own, Place const& place) {
    std::filesystem::path const folder(own.folder.empty() ? "." : own.folder);
    if (file.empty()) {
        return;
    }
    if (file == "-") {
        if (own.trust == Trust::OwnFolder) {
            place.Refuse("standard input is not the document's own; --trust allows it");
        }
        return;
    }
    std::filesystem::path const full = (folder / file).lexically_normal();  // an absolute one stays
    if (own.trust == Trust::OwnFolder) {
        std::filesystem::path const home = Canonical(folder);
        auto const check = [&](std::filesystem::path const& path, std::string const& shown) {
            std::filesystem::path const whole = Canonical(path);
            std::filesystem::path const inside = whole.lexically_relative(home);
            bool const isNamed = std::find(own.named.begin(), own.named.end(), whole) != own.named.end();
            if (!isNamed && (inside.empty() || *inside.begin() == "..")) {
                place.Refuse(fmt::format("{} lies outside of the document's folder; --trust allows it", shown));
            }
        };
        check(full, file);
        if (Media::Sequence::IsPattern(full.string())) {
            for (std::string const& picture : ListPictures(full.string())) {
                check(picture, std::filesystem::path(picture).filename().string());
            }
        }
    }
    file = full.string();
}

class ObjectReader;
template <typename Struct>
void ReadStruct(Json const& value, Place const& place, Context const& context, Struct& member);

template <typename Struct>
requires(std::is_class_v<Struct> &&
         !std::is_same_v<Struct, std::string>) void Read(Json const& value, Place const& place, Context const& context,
                                                         Struct& member) {
    ReadStruct(value, place, context, member);
}

template <typename T, typename... Options>
void Read(Json const& value, Place const& place, Context const& context, std::optional<T>& member,
          Options const&... options) {
    Read(value, place, context, member.emplace(), options...);
}

template <typename T>
void Read(Json const& value, Place const& place, Context const& context, std::vector<T>& member) {
    if (!value.is_array()) {
        RefuseType(place, value, "a list");
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        Read(value[i], place / i, context, member.emplace_back());
    }
}

/// The archive that reads one object.
class ObjectReader {
public:
    ObjectReader(Json const& value, Place const& where, Context const& known)
        : object(value), place(where), context(known) {
        if (!object.is_object()) {
            RefuseType(place, object, "an object");
        }
    }

    template <typename T>
    void operator()(char const* key, T& member, char const*) {
        if (Json const* const value = Find(key)) {
            Read(*value, place / key, context, member);
        }
    }
    template <typename T>
    void operator()(char const* key, T& member, Range const& range, char const*) {
        if (Json const* const value = Find(key)) {
            Read(*value, place / key, context, member, range);
        }
    }

    void Look(char const* key, Edit::Look& look) {
        Json const* const name = Find(key);
        if (name == nullptr) {
            place.Refuse(fmt::format("it needs the key \"{}\"", key));
        }
        std::string const& text = ReadText(*name, place / key, "a name");
        bool const isTransition = std::string_view(key) == "transition";
        if (!isTransition || text != "none") {
            std::string const found = Proc::IsShaderFile(text) ? ResolveShader(text, place / key) : text;
            fields = Parsed(place / key, [&] {
                Host::CatalogEntry const& entry =
                    isTransition ? context.catalog.FindTransition(found) : context.catalog.FindEffect(found);
                return Host::MakeSettings(entry, {});
            });
        }
        if (Json const* const easing = Find("easing")) {
            look.easing = ReadEasing(*easing, place / "easing");
        }
        if (Json const* const progress = Find("progress")) {
            if (!IsCurve(*progress)) {
                RefuseType(place / "progress", *progress,
                           R"(a curve: it takes {"keys": [[time, progress, easing], ...]} or {"from": 0, "to": 1})");
            }
            look.progress = ReadCurve(*progress, place / "progress", [](Json const& number, Place const& at) {
                return std::vector{ReadNumber(number, at, {-100.0, 100.0})};
            });
        }
        target = &look;
    }

    /// Refuses what is left: no key of this object and no field of its class.
    void Finish() {
        for (auto const& [key, value] : object.items()) {
            if (std::find(seen.begin(), seen.end(), key) != seen.end()) {
                continue;
            }
            auto const field = FindField(key);
            if (field == nullptr) {
                RefuseUnknown(key);
            }
            Place const at = place / key;
            if (!IsCurve(value)) {
                field->set(*fields, ReadField(*field, value, at));
            } else {
                target->keyed.push_back({key, ReadFieldCurve(*field, value, at)});
            }
        }
        if (target != nullptr) {
            target->settings = std::move(fields);
        }
    }

private:
    Json const* Find(char const* key) {
        known.emplace_back(key);
        auto const found = object.find(key);
        if (found == object.end()) {
            return nullptr;
        }
        seen.emplace_back(key);
        return &*found;
    }

    Proc::Field const* FindField(std::string const& key) const {
        if (!fields) {
            return nullptr;
        }
        std::vector<Proc::Field> const& all = fields->GetFields();
        auto const found =
            std::find_if(all.begin(), all.end(), [&key](Proc::Field const& field) { return field.key == key; });
        return found != all.end() ? &*found : nullptr;
    }

    /// A shader file beside the document; else one of those that are known by their names.
    std::string ResolveShader(std::string const& name, Place const& at) const {
        std::string file = name;
        ResolvePath(file, context.home, at);
        std::error_code error;
        bool const isPath = name.find('/') != std::string::npos || std::filesystem::exists(file, error);
        // With a slash it is no name, but a path.
        return !isPath ? name : file.find('/') == std::string::npos ? "./" + file : file;
    }

    Proc::FieldValue ReadField(Proc::Field const& field, Json const& value, Place const& at) const {
        Proc::FieldValue read = ReadFieldValue(field, value, at);
        if (auto* const file = std::get_if<std::string>(&read)) {
            ResolvePath(*file, context.home, at);
        }
        return read;
    }

    static Curve ReadFieldCurve(Proc::Field const& field, Json const& value, Place const& at) {
        using Proc::FieldType;
        if (field.type == FieldType::Flag || field.type == FieldType::Choice) {
            at.Refuse("a flag or a choice cannot change over time; numbers, lists and colours can");
        }
        if (field.type == FieldType::File) {
            at.Refuse("a file cannot change over time; numbers, lists and colours can");
        }
        return ReadCurve(value, at, [&field](Json const& one, Place const& where) {
            // The value of a whole number may lie between whole numbers on its way.
            return Components(ReadFieldValue(field, one, where));
        });
    }

    [[noreturn]] void RefuseUnknown(std::string const& key) const {
        std::vector<std::string> names = known;
        if (fields) {
            for (Proc::Field const& field : fields->GetFields()) {
                names.emplace_back(field.key);
            }
        }
        std::string const nearest = Proc::FindNearest(key, names);
        (place / key)
            .Refuse(nearest.empty() ? fmt::format("there is no such key; it takes {}", fmt::join(names, ", "))
                                    : fmt::format("there is no such key; did you mean \"{}\"?", nearest));
    }

    Json const& object;
    Place place;
    Context const& context;
    std::vector<std::string> seen;
    std::vector<std::string> known;
    std::unique_ptr<Proc::Settings> fields;
    Edit::Look* target = nullptr;
};

template <typename Struct>
void ReadStruct(Json const& value, Place const& place, Context const& context, Struct& member) {
    ObjectReader reader(value, place, context);
    if constexpr (std::is_same_v<Struct, Document>) {
        int version = 0;
        reader("version", version, "");
        if (version != Document::kVersion) {
            (place / "version")
                .Refuse(version == 0 ? fmt::format("it is missing; this program reads version {}", Document::kVersion)
                                     : fmt::format("{} is not known here; this program reads version {}", version,
                                                   Document::kVersion));
        }
        std::string schema;  // for editors
        reader("$schema", schema, "");
    }
    Declare(reader, member);
    reader.Finish();
}

/// What no single key shows.
void CheckSource(Source const& source, Place const& place) {
    int const count = int{!source.file.empty()} + int{source.color.has_value()} + int{source.title.has_value()};
    if (!source.raw.empty()) {
        if (source.file.empty()) {
            (place / "raw").Refuse(R"(it is for a "file")");
        }
        Parsed(place / "raw", [&] { return Media::ParseRawForm(source.raw); });
    }
    if (source.alpha != Media::InputRules::Alpha::Auto && source.file.empty()) {
        (place / "alpha").Refuse(R"(it is for a "file")");
    }
    if (count != 1) {
        place.Refuse(count == 0 ? R"(it needs one of "file", "color" and "title")"
                                : R"(it takes only one of "file", "color" and "title")");
    }
}

void CheckOverlay(Overlay const& overlay, Place const& place) {
    CheckSource(overlay.source, place);
    if (overlay.cropLeft + overlay.cropRight >= 1.0 || overlay.cropTop + overlay.cropBottom >= 1.0) {
        place.Refuse("the crops leave nothing of it");
    }
}

void CheckFile(std::string const& file, Place const& place) {
    if (file.empty()) {
        place.Refuse(R"(it needs the key "file")");
    }
}

void Check(Document const& document) {
    Place const root;
    if (document.clips.empty()) {
        (root / "clips").Refuse("there is no clip; a video needs at least one");
    }
    for (std::size_t i = 0; i < document.clips.size(); ++i) {
        CheckSource(document.clips[i].source, root / "clips" / i);
    }
    for (std::size_t i = 0; i < document.overlays.size(); ++i) {
        CheckOverlay(document.overlays[i], root / "overlays" / i);
    }
    for (std::size_t i = 0; i < document.sounds.size(); ++i) {
        CheckFile(document.sounds[i].file, root / "sounds" / i);
    }
    for (std::size_t i = 0; i < document.subtitles.size(); ++i) {
        CheckFile(document.subtitles[i].file, root / "subtitles" / i);
    }
}

template <typename Part>
Part ReadPart(Json const& json, Host::Catalog const& catalog) {
    Part part;
    Home const typed{"", Trust::Everywhere};
    ReadStruct(json, Place(), {catalog, typed}, part);
    return part;
}

}  // namespace

Proc::Color ParseColor(std::string_view text) {
    Proc::Field field{};
    field.key = "a colour";
    field.type = Proc::FieldType::Color;
    return std::get<Proc::Color>(field.Parse(text));
}

Document ReadDocument(Json const& json, Host::Catalog const& catalog, Home const& home) {
    Document document;
    ReadStruct(json, Place(), {catalog, home}, document);
    Check(document);
    ValidateBySchema(json);
    return document;
}

Overlay ReadOverlay(Json const& json, Host::Catalog const& catalog) {
    auto overlay = ReadPart<Overlay>(json, catalog);
    CheckOverlay(overlay, Place());
    return overlay;
}

Sound ReadSound(Json const& json, Host::Catalog const& catalog) {
    auto sound = ReadPart<Sound>(json, catalog);
    CheckFile(sound.file, Place());
    return sound;
}

void ResolvePaths(Document& document, std::string const& folder, Trust trust) {
    ResolvePaths(document, Home{folder, trust});
}

void ResolvePaths(Document& document, Home const& home) {
    Place const root;
    if (home.trust == Trust::OwnFolder && !document.output.encoderOptions.empty()) {
        (root / "output" / "encoderOptions").Refuse("an encoder's own options can name files; --trust allows them");
    }
    for (std::size_t i = 0; i < document.clips.size(); ++i) {
        ResolvePath(document.clips[i].source.file, home, root / "clips" / i / "file");
    }
    for (std::size_t i = 0; i < document.overlays.size(); ++i) {
        ResolvePath(document.overlays[i].source.file, home, root / "overlays" / i / "file");
    }
    for (std::size_t i = 0; i < document.sounds.size(); ++i) {
        ResolvePath(document.sounds[i].file, home, root / "sounds" / i / "file");
    }
    for (std::size_t i = 0; i < document.subtitles.size(); ++i) {
        ResolvePath(document.subtitles[i].file, home, root / "subtitles" / i / "file");
    }
}

Document ReadDocumentFile(std::string const& path, Host::Catalog const& catalog, Trust trust) {
    Json const json = ReadJson(path, true);
    try {
        std::string const folder = std::filesystem::path(path).parent_path().string();
        Document document = ReadDocument(json, catalog, {folder, trust});
        ResolvePaths(document, folder, trust);
        return document;
    } catch (std::invalid_argument const& error) {
        Core::Throw(std::invalid_argument(fmt::format("{}: {}", path, error.what())));
    }
}

}  // namespace Kaltor::Edit

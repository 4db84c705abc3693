#include "Edit/Schema.h"

#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Declaration.h"
#include "Edit/JsonValidator.h"

namespace Kaltor::Edit {
namespace {

Json Ref(char const* name) {
    return {{"$ref", fmt::format("#/definitions/{}", name)}};
}

/// The schema of each type, and those of the structs that were met on the way.
struct SchemaMaker {
    Json definitions = Json::object();

    Json Of(bool const&) { return {{"type", "boolean"}}; }
    Json Of(std::string const&) { return {{"type", "string"}}; }
    Json Of(std::uint32_t const&) { return {{"type", "integer"}, {"minimum", 0}}; }
    Json Of(int const&) { return {{"type", "integer"}}; }
    Json Of(Time const&) { return Ref("time"); }
    Json Of(Length const&) { return Ref("length"); }
    Json Of(Proc::Color const&) { return Ref("color"); }
    Json Of(AVRational const&) { return {{"type", Json::array({"number", "string"})}}; }
    Json Of(Media::BitRate const&) { return {{"type", Json::array({"number", "string"})}}; }
    Json Of(Media::TextMap const&) {
        return {{"type", "object"},
                {"additionalProperties", {{"type", Json::array({"string", "number", "boolean"})}}}};
    }
    Json Of(Output::Size const&) { return {{"type", "string"}, {"pattern", "^[0-9]+[xX][0-9]+$"}}; }
    template <typename Enumeration>
    requires std::is_enum_v<Enumeration> Json Of(Enumeration const&) {
        Json labels = Json::array();
        for (EnumLabel<Enumeration> const& label : GetLabels(Enumeration{})) {
            labels.push_back(label.label);
        }
        return {{"enum", std::move(labels)}};
    }
    static Json OfRange(Range const& range) {
        return {{"type", "number"}, {"minimum", range.minimum}, {"maximum", range.maximum}};
    }
    template <typename T>
    Json Of(T const&, Range const& range) {
        if constexpr (std::is_same_v<T, Animated>) {
            return {{"anyOf", Json::array({OfRange(range), Ref("curve")})}};
        } else {
            return OfRange(range);
        }
    }
    template <typename T>
    Json Of(std::optional<T> const&) {
        return Of(T());
    }
    template <typename T>
    Json Of(std::vector<T> const&) {
        return {{"type", "array"}, {"items", Of(T())}};
    }
    Json Of(Effect const& value) { return Define("effect", value); }
    Json Of(Joint const& value) { return Define("transition", value); }
    Json Of(Title const& value) { return Define("title", value); }
    Json Of(Clip const& value) { return Define("clip", value); }
    Json Of(Overlay const& value) { return Define("overlay", value); }
    Json Of(Sound const& value) { return Define("sound", value); }
    Json Of(Sound::Duck const& value) { return Define("duck", value); }
    Json Of(Subtitles const& value) { return Define("subtitles", value); }
    Json Of(Mix const& value) { return Define("mix", value); }
    Json Of(Output const& value) { return Define("output", value); }

    template <typename Struct>
    Json Define(char const* name, Struct const& value) {
        if (!definitions.contains(name)) {
            definitions[name] = nullptr;  // keeps its place
            definitions[name] = Describe(value);
        }
        return Ref(name);
    }

    template <typename Struct>
    Json Describe(Struct const& value);
};

/// The archive that describes one object.
class ObjectDescriber {
public:
    explicit ObjectDescriber(SchemaMaker& schemaMaker) : maker(schemaMaker) {}

    template <typename T>
    void operator()(char const* key, T const& member, char const* help) {
        Put(key, maker.Of(member), help);
    }
    template <typename T>
    void operator()(char const* key, T const& member, Range const& range, char const* help) {
        Put(key, maker.Of(member, range), help);
    }
    void Look(char const* key, Edit::Look const&) {
        Put(key, {{"type", "string"}}, "its name; `kaltor list` shows all");
        Put("easing", Ref("easing"), "how its progress goes");
        Put("progress", Ref("curve"), "its progress over its span, instead of 0 to 1");
        object["required"] = Json::array({key});
        // The class's fields.
        object["additionalProperties"] = true;
    }

    Json object{{"type", "object"}, {"properties", Json::object()}, {"additionalProperties", false}};

private:
    void Put(char const* key, Json schema, char const* help) {
        // Beside a reference draft 7 allows nothing else.
        Json described =
            schema.contains("$ref") ? Json{{"allOf", Json::array({std::move(schema)})}} : std::move(schema);
        described["description"] = help;
        object["properties"][key] = std::move(described);
    }

    SchemaMaker& maker;
};

template <typename Struct>
Json SchemaMaker::Describe(Struct const& value) {
    ObjectDescriber describer(*this);
    Struct copy = value;
    Declare(describer, copy);
    return std::move(describer.object);
}

Json MakeCurveSchema() {
    Json const component{{"type", Json::array({"number", "string", "array"})}};
    Json const key{{"type", "array"},
                   {"items", Json::array({Ref("time"), component, Ref("easing")})},
                   {"minItems", 2},
                   {"maxItems", 3}};
    Json const keys{{"type", "object"},
                    {"properties", {{"keys", {{"type", "array"}, {"items", key}, {"minItems", 1}}}}},
                    {"required", Json::array({"keys"})},
                    {"additionalProperties", false}};
    Json const ends{{"type", "object"},
                    {"properties", {{"from", component}, {"to", component}, {"easing", Ref("easing")}}},
                    {"required", Json::array({"from", "to"})},
                    {"additionalProperties", false}};
    return {{"description", "a value that changes over the span"}, {"anyOf", Json::array({keys, ends})}};
}

}  // namespace

Json MakeSchema() {
    SchemaMaker maker;
    maker.definitions["time"] = {{"description",
                                  "seconds, frames (12f), a share of the span (50%) or a timecode ([HH:]MM:SS[.fff], "
                                  "HH:MM:SS:FF)"},
                                 {"type", Json::array({"number", "string"})}};
    maker.definitions["length"] = {{"description", "a share of the frame (0.25, 25%) or pixels (120px)"},
                                   {"type", Json::array({"number", "string"})}};
    maker.definitions["color"] = {
        {"description", "#RRGGBB or #RRGGBBAA"}, {"type", "string"}, {"pattern", "^#([0-9A-Fa-f]{6}|[0-9A-Fa-f]{8})$"}};
    maker.definitions["easing"] = {{"description", "hold, linear, smooth, ease-in-out, easeOutCubic, steps(4), ..."},
                                   {"type", "string"}};
    maker.definitions["curve"] = MakeCurveSchema();
    Json schema = maker.Describe(Document());
    schema["properties"]["version"] = {{"const", Document::kVersion}};
    schema["properties"]["$schema"] = {{"type", "string"}};
    schema["required"] = Json::array({"version", "clips"});
    Json result{{"$schema", "http://json-schema.org/draft-07/schema#"}, {"title", "A video"}};
    result.update(schema);
    result["definitions"] = maker.definitions;
    return result;
}

void ValidateBySchema(Json const& document) {
    static JsonValidator const validator(MakeSchema());
    std::string const error = validator.FindError(document);
    if (!error.empty()) {
        Core::Throw(std::invalid_argument(error));
    }
}

}  // namespace Kaltor::Edit

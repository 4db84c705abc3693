#include "Edit/Convert/Editly.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Edit/Convert/FileAddress.h"
#include "Edit/Convert/Node.h"
#include "Edit/DocumentReader.h"

namespace Kaltor::Edit {
namespace {

constexpr double kQuietest = -120.0;
constexpr double kLoudest = 40.0;

/// A transition there, and the nearest one here.
struct Counterpart {
    std::string_view name;
    std::string_view transition;
    std::string_view key = {};
    std::string_view value = {};
    bool isSame = false;
};
constexpr std::array kCounterparts{
    Counterpart{"fade", "TransitionCrossfade", {}, {}, true},
    Counterpart{"wipeLeft", "TransitionWipe", "direction", "left", true},
    Counterpart{"wipeRight", "TransitionWipe", "direction", "right", true},
    Counterpart{"wipeUp", "TransitionWipe", "direction", "up", true},
    Counterpart{"wipeDown", "TransitionWipe", "direction", "down", true},
    Counterpart{"directional-left", "TransitionPush", "dir", "left", true},
    Counterpart{"directional-right", "TransitionPush", "dir", "right", true},
    Counterpart{"directional-up", "TransitionPush", "dir", "up", true},
    Counterpart{"directional-down", "TransitionPush", "dir", "down", true},
    Counterpart{"directional", "TransitionPush", "dir", "down"},
    Counterpart{"fadecolor", "TransitionFadeInFadeOut"},
    Counterpart{"fadegrayscale", "TransitionCrossfade"},
    Counterpart{"directionalwipe", "TransitionWipe", "direction", "from-bottom-right"},
    Counterpart{"windowslice", "TransitionBlinds"},
    Counterpart{"windowblinds", "TransitionBlinds"},
    Counterpart{"circle", "TransitionCircle"},
    Counterpart{"circleopen", "TransitionCircle"},
    Counterpart{"CircleCrop", "TransitionCircle"},
    Counterpart{"heart", "TransitionCircle"},
    Counterpart{"cube", "TransitionCube"},
    Counterpart{"pinwheel", "TransitionPinwheel"},
    Counterpart{"Radial", "TransitionRadial"},
    Counterpart{"angular", "TransitionRadial"},
    Counterpart{"pixelize", "TransitionPixels"},
    Counterpart{"hexagonalize", "TransitionPixels"},
    Counterpart{"randomsquares", "TransitionPixels", "type", "scatter"},
    Counterpart{"ripple", "TransitionRippleSmooth"},
    Counterpart{"WaterDrop", "TransitionRipple"},
    Counterpart{"Mosaic", "TransitionMosaic"},
    Counterpart{"GridFlip", "TransitionMosaic"},
    Counterpart{"InvertedPageCurl", "TransitionPageturn"},
    Counterpart{"BookFlip", "TransitionPageturn"},
    Counterpart{"Swirl", "TransitionSpiral"},
    Counterpart{"rotate_scale_fade", "TransitionSpin"},
    Counterpart{"rotateTransition", "TransitionSpin"},
    Counterpart{"SimpleZoom", "TransitionZoom", "type", "in"},
    Counterpart{"CrossZoom", "TransitionZoom"},
    Counterpart{"DreamyZoom", "TransitionZoom"},
    Counterpart{"doorway", "TransitionBarnDoor"},
    Counterpart{"wind", "TransitionSmear"},
    Counterpart{"crosswarp", "TransitionSmear"},
    Counterpart{"Bounce", "TransitionSlide"},
    Counterpart{"LinearBlur", "TransitionBlur"},
    Counterpart{"morph", "TransitionCrossfade"},
};

/// CSS colours of one word that documents use.
constexpr std::array<std::pair<std::string_view, std::string_view>, 18> kColorNames{{{"black", "#000000"},
                                                                                     {"white", "#FFFFFF"},
                                                                                     {"red", "#FF0000"},
                                                                                     {"green", "#008000"},
                                                                                     {"lime", "#00FF00"},
                                                                                     {"blue", "#0000FF"},
                                                                                     {"yellow", "#FFFF00"},
                                                                                     {"cyan", "#00FFFF"},
                                                                                     {"aqua", "#00FFFF"},
                                                                                     {"magenta", "#FF00FF"},
                                                                                     {"fuchsia", "#FF00FF"},
                                                                                     {"gray", "#808080"},
                                                                                     {"grey", "#808080"},
                                                                                     {"silver", "#C0C0C0"},
                                                                                     {"orange", "#FFA500"},
                                                                                     {"purple", "#800080"},
                                                                                     {"navy", "#000080"},
                                                                                     {"transparent", "#00000000"}}};

constexpr std::array<char const*, 17> kOwnKeys{"outPath",
                                               "width",
                                               "height",
                                               "fps",
                                               "defaults",
                                               "audioFilePath",
                                               "loopAudio",
                                               "keepSourceAudio",
                                               "clipsAudioVolume",
                                               "outputVolume",
                                               "audioTracks",
                                               "audio",
                                               "audioNorm",
                                               "backgroundAudioVolume",
                                               "allowRemoteRequests",
                                               "fast",
                                               "customOutputArgs"};

/// Which keys of an object were looked at: the others have no counterpart.
class Keys {
public:
    explicit Keys(Node const& object) : node(object) {
        if (!node->is_object()) {
            node.Refuse("it is no object");
        }
    }
    bool Has(char const* key) {
        seen.insert(key);
        return node.Has(key);
    }
    Node At(char const* key) {
        seen.insert(key);
        return node.At(key);
    }
    double Number(char const* key, double standard) { return Has(key) ? At(key).Number() : standard; }
    std::string Text(char const* key, std::string const& standard = "") { return Has(key) ? At(key).Text() : standard; }
    bool Flag(char const* key, bool standard) { return Has(key) ? At(key).Flag() : standard; }
    void Ignore(char const* key) { seen.insert(key); }
    Node const& GetNode() const { return node; }
    std::vector<std::string> Others() const {
        std::vector<std::string> others;
        for (auto const& [key, value] : node->items()) {
            if (!seen.contains(key)) {
                others.push_back(key);
            }
        }
        return others;
    }

private:
    Node node;
    std::set<std::string, std::less<>> seen;
};

/// One layer with what the defaults give it; owns the merged object.
struct Layer {
    Json merged;
    std::string place;
    std::string type;
    Json own = Json::object();  ///< what it has without the defaults

    Node GetNode() const { return {merged, place}; }
};

class EditlyReader {
public:
    EditlyReader(Json const& document, Conversion const& given) : top(Node(document, "")), conversion(given) {}

    Json Read() {
        ReadDefaults();
        ReadOutput();
        keepsSound = top.Flag("keepSourceAudio", false);
        outDb = top.Has("outputVolume") ? Gain(top.At("outputVolume")) : 0.0;
        clipsDb = outDb + (top.Has("clipsAudioVolume") ? Gain(top.At("clipsAudioVolume")) : 0.0);
        ReadClips();
        ReadSounds();
        EndWithVideo();
        if (top.Has("audioNorm")) {
            ReadNormalization(top.At("audioNorm"));
        }
        top.Ignore("verbose");
        top.Ignore("enableFfmpegLog");
        top.Ignore("logTimes");
        WarnOfOthers(top);
        return std::move(result);
    }

private:
    void Warn(std::string const& place, std::string const& message) const {
        if (conversion.warn) {
            conversion.warn(place.empty() ? message : fmt::format("{}: {}", place, message));
        }
    }
    void Warn(Node const& node, std::string const& message) const { Warn(node.GetPlace(), message); }
    void WarnOfOthers(Keys const& keys) const {
        for (std::string const& key : keys.Others()) {
            std::string const& place = keys.GetNode().GetPlace();
            Warn(place.empty() ? key : fmt::format("{}/{}", place, key), "it has no counterpart and is left out");
        }
    }

    void ReadDefaults() {
        if (!top.Has("defaults")) {
            return;
        }
        Keys keys(top.At("defaults"));
        clipDuration = keys.Number("duration", clipDuration);
        keys.Has("transition");
        if (keys.Has("layer")) {
            LimitDefault(keys.At("layer"));
        }
        if (keys.Has("layerType")) {
            Node const types = keys.At("layerType");
            for (auto const& [type, values] : types->items()) {
                LimitDefault({values, fmt::format("{}/{}", types.GetPlace(), type)});
            }
        }
        defaults = &*keys.GetNode();
        WarnOfOthers(keys);
    }

    /// Every layer takes a copy: a small document could mean gigabytes.
    static void LimitDefault(Node const& node) {
        constexpr std::size_t kMostMembers = 30;
        constexpr std::size_t kMostBytes = 4096;
        if (node->size() > kMostMembers || ShowJson(*node).size() > kMostBytes) {
            node.Refuse(
                fmt::format("the defaults of a layer have {} keys and {} bytes at most", kMostMembers, kMostBytes));
        }
    }

    void ReadOutput() {
        if (top.Has("fps")) {
            result["output"]["fps"] = *top.At("fps");
        }
        auto const even = [](double side) { return std::lround(std::clamp(side, 2.0, 1e6) / 2.0) * 2; };
        bool const hasWidth = top.Has("width");
        bool const hasHeight = top.Has("height");
        if (hasWidth && hasHeight) {
            result["output"]["size"] =
                fmt::format("{}x{}", even(top.At("width").Number()), even(top.At("height").Number()));
        } else if (hasWidth || hasHeight) {
            std::optional<double> const aspect = FirstAspect();
            if (!aspect) {
                Warn(hasWidth ? "width" : "height", "the other side cannot be known; the first clip's size is taken");
                return;
            }
            double const width = hasWidth ? top.At("width").Number() : top.At("height").Number() * *aspect;
            result["output"]["size"] = fmt::format("{}x{}", even(width), even(width / *aspect));
        }
        top.Has("outPath");
    }
    /// Of the first video.
    std::optional<double> FirstAspect() {
        for (Node const& clip : top.At("clips").Children()) {
            for (Layer const& layer : LayersOf(clip)) {
                if (layer.type == "video" && layer.merged.contains("path")) {
                    std::optional<FileFacts> const facts = conversion.probe(FileOf(layer.GetNode()));
                    if (facts && facts->aspect > 0.0) {
                        return facts->aspect;
                    }
                }
            }
        }
        return std::nullopt;
    }

    std::vector<Layer> LayersOf(Node const& clip) const {
        std::vector<Layer> layers;
        constexpr std::size_t kMostLayers = 1000;
        Node const given = clip.At("layers");
        std::vector<Node> const nodes = given->is_object() ? std::vector{given} : given.Children();
        if (nodes.size() > kMostLayers) {
            given.Refuse(fmt::format("a clip has {} layers at most", kMostLayers));
        }
        for (Node const& node : nodes) {
            Layer layer{Json::object(), node.GetPlace(), node.At("type").Text(), *node};
            auto const merge = [&layer](Json const& from) {
                if (from.is_object()) {
                    layer.merged.update(from);
                }
            };
            if (defaults != nullptr && defaults->contains("layer")) {
                merge((*defaults)["layer"]);
            }
            if (defaults != nullptr && defaults->contains("layerType")) {
                Json const& types = (*defaults)["layerType"];
                if (types.is_object() && types.contains(layer.type)) {
                    merge(types[layer.type]);
                }
            }
            merge(*node);
            layers.push_back(std::move(layer));
        }
        return layers;
    }

    /// A volume as a factor, or "10dB"; in decibels.
    static double Gain(Node const& node) {
        std::string text = node->is_string() ? node.Text() : "";
        bool const isDecibels = text.ends_with("dB");
        std::optional<double> factor =
            node->is_number() ? node.Number()
                              : Core::ParseNumber<double>(isDecibels ? text.substr(0, text.size() - 2) : text);
        if (!factor || (!isDecibels && *factor < 0.0)) {
            node.Refuse("it is no volume: it takes a factor from 0 up, or decibels such as \"10dB\"");
        }
        return isDecibels ? *factor : *factor > 0.0 ? 20.0 * std::log10(*factor) : kQuietest;
    }
    static void SetVolume(Json& json, double decibels) {
        // What was made of a factor has no meaning beyond a thousandth.
        double const rounded = std::round(decibels * 1000.0) / 1000.0;
        if (rounded != 0.0) {
            json["volume"] = WholeOrReal(std::clamp(rounded, kQuietest, kLoudest));
        }
    }

    std::string FileOf(Node const& layer) const {
        Node const path = layer.At("path");
        try {
            return ParseFileAddress(path.Text(), false);
        } catch (std::invalid_argument const& error) {
            path.Refuse(error.what());
        }
    }

    std::string ColorOf(Keys& keys, char const* key, char const* standard) const {
        if (!keys.Has(key)) {
            return standard;
        }
        Node const node = keys.At(key);
        std::string text = node.Text();
        for (auto const& [name, code] : kColorNames) {
            if (text == name) {
                return std::string(code);
            }
        }
        if (text.size() == 4 && text[0] == '#') {
            text = fmt::format("#{0}{0}{1}{1}{2}{2}", text[1], text[2], text[3]);
        }
        try {
            ParseColor(text);
            return text;
        } catch (std::invalid_argument const&) {
            Warn(node, fmt::format("the colour {} is not known here; {} is in its place", text, standard));
            return standard;
        }
    }

    // Clips.

    struct Clip {
        double begin = 0.0;
        double length = 0.0;
    };

    void ReadClips() {
        std::vector<Node> const nodes = top.At("clips").Children();
        std::vector<double> lengths;
        for (Node const& node : nodes) {
            lengths.push_back(LengthOf(node));
        }
        double at = 0.0;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            Keys keys(nodes[i]);
            keys.Ignore("duration");
            keys.Ignore("layers");
            Json clip = ReadClip(nodes[i], {at, lengths[i]});
            at += lengths[i];
            bool const isLast = i + 1 == nodes.size();
            Node const standard(
                defaults != nullptr && defaults->contains("transition") ? (*defaults)["transition"] : kNothing,
                "defaults/transition");
            bool const hasDefault =
                !(defaults != nullptr && defaults->contains("transition") && (*defaults)["transition"].is_null());
            bool const isOff = nodes[i]->contains("transition") && (*nodes[i])["transition"].is_null();
            Node const own = keys.Has("transition") ? keys.At("transition") : Node(kNothing, standard.GetPlace());
            if (!isLast && !isOff && (hasDefault || own->is_object())) {
                double const longest = std::min(lengths[i], lengths[i + 1]) / 2.0;
                if (std::optional<Json> joint = ReadTransition(own, standard, longest)) {
                    at -= (*joint)["duration"].get<double>();
                    clip["joint"] = std::move(*joint);
                }
            }
            WarnOfOthers(keys);
            result["clips"].push_back(std::move(clip));
        }
        whole = at;
    }

    /// What lasts until the end does so at any rate of frames, and nothing lasts longer.
    void EndWithVideo() {
        constexpr double kRounding = 1e-3;
        for (char const* const list : {"overlays", "sounds"}) {
            if (!result.contains(list)) {
                continue;
            }
            for (Json& one : result[list]) {
                if (one.contains("to") && one["to"].get<double>() > whole - kRounding) {
                    one["to"] = "100%";
                }
            }
        }
    }

    static double PieceLength(Layer const& layer, std::optional<FileFacts> const& facts) {
        Node const node = layer.GetNode();
        double const from = node.Number("cutFrom", 0.0);
        if (!node.Has("cutTo") && (!facts || facts->seconds <= 0.0)) {
            node.Refuse("how long it is cannot be known: it has no cutTo, and its file cannot be read");
        }
        double const to = node.Has("cutTo") ? node.At("cutTo").Number() : facts->seconds;
        if (from < 0.0 || to <= from) {
            node.Refuse(fmt::format("a piece cannot go from {:g} s to {:g} s", from, to));
        }
        return to - from;
    }

    double LengthOf(Node const& clip) const {
        if (clip.Has("duration")) {
            double const length = clip.At("duration").Number();
            if (length <= 0.0) {
                clip.At("duration").Refuse("a duration has to be above 0");
            }
            return length;
        }
        for (Layer const& layer : LayersOf(clip)) {
            if (layer.type == "video") {
                return PieceLength(layer, conversion.probe(FileOf(layer.GetNode())));
            }
        }
        return clipDuration;
    }

    std::optional<Json> ReadTransition(Node const& own, Node const& standard, double longest) {
        auto const find = [&](char const* key) -> std::optional<Node> {
            return own.Has(key)        ? std::optional(own.At(key))
                   : standard.Has(key) ? std::optional(standard.At(key))
                                       : std::nullopt;
        };
        std::optional<Node> const givenDuration = find("duration");
        double const wanted = givenDuration ? givenDuration->Number() : 0.5;
        std::optional<Node> const givenName = find("name");
        std::string const name = givenName ? givenName->Text() : "random";
        std::string const place = givenName ? givenName->GetPlace() : own->is_object() ? own.GetPlace() : "";
        if (wanted <= 0.0) {
            return std::nullopt;
        }
        double const duration = std::min(wanted, longest);
        if (duration < wanted) {
            Warn(givenDuration ? givenDuration->GetPlace() : place,
                 fmt::format("a transition of {:g} s is shortened to {:g} s, half of the shorter clip", wanted,
                             duration));
        }
        Json joint = NearestTransition(name, place);
        joint["duration"] = duration;
        if (std::optional<Node> const easing = find("easing")) {
            try {
                joint["easing"] = Easing::Parse(easing->Text()).GetName();
            } catch (std::invalid_argument const&) {
                Warn(*easing, fmt::format("the easing {} is not known here; it is linear", easing->Text()));
            }
        }
        for (Node const* const node : {&own, &standard}) {
            if (node->operator*().is_object()) {
                for (auto const& [key, value] : (*node)->items()) {
                    if (key != "name" && key != "duration" && key != "easing") {
                        WarnOnce(node->GetPlace() + "/" + key, "it has no counterpart and is left out");
                    }
                }
            }
        }
        return joint;
    }

    Json NearestTransition(std::string const& name, std::string const& place) {
        auto const found = std::find_if(kCounterparts.begin(), kCounterparts.end(),
                                        [&](Counterpart const& one) { return one.name == name; });
        if (found != kCounterparts.end()) {
            if (!found->isSame) {
                WarnOnce(place, fmt::format("the transition {} becomes {}, which is near", name, found->transition));
            }
            Json joint{{"transition", found->transition}};
            if (!found->key.empty()) {
                joint[std::string(found->key)] = found->value;
            }
            return joint;
        }
        if (Proc::IsShaderFile(name)) {
            return Json{{"transition", name}};  // is looked for beside the document
        }
        try {
            return Json{{"transition", conversion.catalog.FindTransition(name).name}};
        } catch (std::invalid_argument const&) {
            WarnOnce(place, fmt::format("the transition {} has no counterpart and becomes a crossfade", name));
            return Json{{"transition", "TransitionCrossfade"}};
        }
    }
    /// What the defaults hold concerns every clip.
    void WarnOnce(std::string const& place, std::string const& message) {
        if (warned.insert(place + message).second) {
            Warn(place, message);
        }
    }

    /// What the defaults give to all layers is not meant for each of them, but for a font.
    void WarnOfLayer(Keys const& keys, Layer const& layer) {
        for (std::string const& key : keys.Others()) {
            if (layer.own.contains(key)) {
                Warn(layer.place + "/" + key, "it has no counterpart and is left out");
            } else if (key == "fontPath") {
                WarnOnce("defaults/layer/fontPath", "it has no counterpart; fonts are found by their family's name");
            }
        }
    }

    static bool IsText(std::string const& type) {
        return type == "title" || type == "subtitle" || type == "news-title" || type == "slide-in-text";
    }

    Json ReadClip(Node const& node, Clip const& place) {
        Json clip;
        for (Layer const& layer : LayersOf(node)) {
            Keys keys(layer.GetNode());
            keys.Ignore("type");
            std::string const& type = layer.type;
            bool const isVideo = type == "video";
            bool const isTimed = keys.Has("start") || keys.Has("stop");
            bool const isPlaced = isVideo && (keys.Number("width", 1.0) != 1.0 || keys.Number("height", 1.0) != 1.0 ||
                                              keys.Has("left") || keys.Has("top"));
            bool const isBase = clip.is_null() && !isTimed && !isPlaced;
            if (type == "fill-color" || type == "pause" || type == "radial-gradient" || type == "linear-gradient" ||
                type == "title-background") {
                AddColor(clip, keys, layer, place);
            } else if (isVideo || type == "image") {
                isBase ? AddBase(clip, keys, layer, place) : AddOverlay(keys, layer, place);
            } else if (type == "image-overlay") {
                AddOverlay(keys, layer, place);
            } else if (IsText(type)) {
                AddText(keys, type, place);
            } else if (type == "audio" || type == "detached-audio") {
                AddSound(keys, place.begin, type == "audio" ? std::optional(place.begin + place.length) : std::nullopt);
            } else {
                Warn(layer.GetNode(), fmt::format("a layer of type {} has no counterpart and is left out", type));
                continue;
            }
            WarnOfLayer(keys, layer);
        }
        if (clip.is_null()) {
            clip = {{"color", "#000000"}, {"duration", place.length}};
        }
        return clip;
    }

    void AddColor(Json& clip, Keys& keys, Layer const& layer, Clip const& place) {
        std::string color;
        std::optional<Layer> background;
        if (layer.type == "title-background") {
            AddText(keys, layer.type, place);
            if (keys.Has("background")) {
                Node const inner = keys.At("background");
                background = Layer{*inner, inner.GetPlace(), inner.Text("type", "fill-color")};
            }
        }
        Keys own(background ? background->GetNode() : layer.GetNode());
        std::string const& type = background ? background->type : layer.type;
        if (type.ends_with("gradient") && own.Has("colors") && own.At("colors")->is_array() &&
            !own.At("colors")->empty()) {
            Warn(own.GetNode(), "a gradient has no counterpart; its first colour is in its place");
            Json const first{{"color", own.At("colors")->front()}};
            Keys one(Node(first, own.GetNode().GetPlace()));
            color = ColorOf(one, "color", "#000000");
        } else if (own.Has("color")) {
            color = ColorOf(own, "color", "#000000");
        } else {
            Warn(own.GetNode(), "a random colour has no counterpart; black is in its place");
            color = "#000000";
        }
        for (char const* const key : {"color", "colors", "background"}) {
            keys.Ignore(key);
        }
        if (clip.is_null() && !keys.Has("start") && !keys.Has("stop")) {
            clip = {{"color", color}, {"duration", place.length}};
            return;
        }
        Json overlay{{"color", color}};
        SetSpan(overlay, keys, place);
        result["overlays"].push_back(std::move(overlay));
    }

    /// The layer that fills the frame.
    void AddBase(Json& clip, Keys& keys, Layer const& layer, Clip const& place) {
        Node const node = layer.GetNode();
        clip = {{"file", FileOf(node)}};
        keys.Ignore("path");
        for (char const* const key : {"width", "height", "originX", "originY"}) {
            keys.Ignore(key);
        }
        std::string const fit = keys.Text("resizeMode", "contain-blur");
        clip["fit"] = fit == "contain" ? "whole" : fit == "cover" ? "fill" : fit == "stretch" ? "stretch" : "blur";
        if (layer.type == "image") {
            clip["duration"] = place.length;
            AddKenBurns(clip, keys);
            return;
        }
        SetPiece(clip, keys, layer, place.length, "from");
        SetOwnSound(clip, keys);
    }

    void AddKenBurns(Json& json, Keys& keys) const {
        bool const isOff = keys.GetNode()->contains("zoomDirection") && (*keys.GetNode())["zoomDirection"].is_null();
        std::string const direction = keys.Text("zoomDirection", "in");
        double const zoom = 1.0 + keys.Number("zoomAmount", 0.1);
        if (isOff || zoom <= 1.0) {
            return;
        }
        if (direction != "in" && direction != "out") {
            Warn(keys.At("zoomDirection"), "it has no counterpart; the picture stands still");
            return;
        }
        Json effect{{"effect", "EffectPanAndZoom"}};
        effect[direction == "in" ? "startZoom" : "endZoom"] = 1;
        effect[direction == "in" ? "endZoom" : "startZoom"] = zoom;
        effect["smooth"] = false;
        json["effects"].push_back(std::move(effect));
    }

    /// The cut of a file and the speed at which it fills a length.
    void SetPiece(Json& json, Keys& keys, Layer const& layer, double length, char const* startKey) {
        constexpr double kSlowest = 0.05;
        constexpr double kFastest = 20.0;
        double const from = keys.Number("cutFrom", 0.0);
        double const piece = PieceLength(layer, conversion.probe(FileOf(layer.GetNode())));
        if (from > 0.0) {
            json[startKey] = from;
        }
        if (keys.Has("cutTo") && std::string_view(startKey) == "from") {
            json["to"] = keys.At("cutTo").Number();
        }
        double const speed = std::clamp(piece / length, kSlowest, kFastest);
        if (std::abs(speed - 1.0) > 1e-6) {
            json["speed"] = WholeOrReal(speed);
        }
        if (speed * length < piece - 1e-6 || speed * length > piece + 1e-6) {
            Warn(layer.GetNode(),
                 fmt::format("it would have to play at a speed of {:g}; it plays at {:g}", piece / length, speed));
        }
    }
    void SetOwnSound(Json& json, Keys& keys) const {
        double const mix = keys.Has("mixVolume") ? Gain(keys.At("mixVolume")) : 0.0;
        if (!keepsSound) {
            json["muted"] = true;
        } else {
            SetVolume(json, clipsDb + mix);
        }
    }

    static void SetSpan(Json& json, Keys& keys, Clip const& place) {
        double const start = std::clamp(keys.Number("start", 0.0), 0.0, place.length);
        double const stop = std::clamp(keys.Number("stop", place.length), 0.0, place.length);
        json["from"] = WholeOrReal(place.begin + start);
        json["to"] = WholeOrReal(place.begin + stop);
    }

    static void SetPosition(Json& json, Keys& keys, bool isTitle) {
        if (!keys.Has("position")) {
            return;
        }
        Node const position = keys.At("position");
        if (position->is_string()) {
            std::string text = position.Text();
            if (text.starts_with("center-")) {
                text = text.substr(7);
            }
            json["anchor"] = text;
            return;
        }
        SetOrigin(json, position.Text("originX", "left"), position.Text("originY", "top"), position.Number("x", 0.0),
                  position.Number("y", 0.0), isTitle);
    }
    /// A point of the frame at which a point of the thing lies.
    static void SetOrigin(Json& json, std::string const& originX, std::string const& originY, double x, double y,
                          bool isTitle) {
        std::string const column = originX == "left" || originX == "right" ? originX : "";
        std::string const row = originY == "top" || originY == "bottom" ? originY : "";
        json["anchor"] =
            row.empty() && column.empty() ? "center" : row + (row.empty() || column.empty() ? "" : "-") + column;
        auto const set = [&json](char const* key, double value) {
            if (value != 0.0) {
                json[key] = value;
            }
        };
        set("x", x - (column == "left" ? 0.0 : column == "right" ? 1.0 : 0.5));
        set("y", y - (row == "top" ? 0.0 : row == "bottom" ? 1.0 : 0.5));
        if (isTitle) {
            json["margin"] = 0;
        }
    }

    void AddOverlay(Keys& keys, Layer const& layer, Clip const& place) {
        Json overlay{{"file", FileOf(layer.GetNode())}};
        keys.Ignore("path");
        SetSpan(overlay, keys, place);
        if (layer.type == "video") {
            double const span = overlay["to"].get<double>() - overlay["from"].get<double>();
            SetPiece(overlay, keys, layer, span > 0.0 ? span : place.length, "start");
            SetOwnSound(overlay, keys);
            SetOrigin(overlay, keys.Text("originX", "left"), keys.Text("originY", "top"), keys.Number("left", 0.0),
                      keys.Number("top", 0.0), false);
        } else {
            SetPosition(overlay, keys, false);
            if (layer.type == "image") {
                AddKenBurns(overlay, keys);
            } else {
                keys.Ignore("zoomDirection");
                if (keys.Has("zoomDirection") || keys.Has("zoomAmount")) {
                    AddKenBurns(overlay, keys);
                }
            }
        }
        for (char const* const side : {"width", "height"}) {
            if (keys.Has(side)) {
                overlay[side] = keys.At(side).Number();
            }
        }
        if (!keys.Has("width") && !keys.Has("height") && layer.type != "image-overlay") {
            overlay["width"] = 1;
        }
        result["overlays"].push_back(std::move(overlay));
    }

    void AddText(Keys& keys, std::string const& type, Clip const& place) {
        Json title{{"text", keys.Text("text")}};
        if (type == "subtitle") {
            title["style"] = "caption";
        } else if (type == "news-title") {
            title["style"] = "lower-third";
            title["boxColor"] = ColorOf(keys, "backgroundColor", "#D02A42");
        } else if (type == "slide-in-text") {
            title["color"] = ColorOf(keys, "color", "#FFFFFF");
            Warn(keys.GetNode(), "the letters slide in there; here they come in one after the other");
            title["animation"] = "typewriter";
        }
        if (keys.Has("textColor")) {
            title["color"] = ColorOf(keys, "textColor", "#FFFFFF");
        }
        if (keys.Has("fontFamily")) {
            title["family"] = keys.Text("fontFamily");
        }
        SetPosition(title, keys, true);
        Json overlay{{"title", std::move(title)}};
        SetSpan(overlay, keys, place);
        result["overlays"].push_back(std::move(overlay));
    }

    // Sound.

    /// One bed; `end` on the time line, where it has one.
    void AddSound(Keys& keys, double begin, std::optional<double> end) {
        Json sound{{"file", FileOf(keys.GetNode())}};
        keys.Ignore("path");
        double const from = begin + (keys.Has("start") ? keys.At("start").Number() : 0.0);
        double const cutFrom = keys.Number("cutFrom", 0.0);
        if (keys.Has("cutTo")) {
            double const stop = from + keys.At("cutTo").Number() - cutFrom;
            end = end ? std::min(*end, stop) : stop;
        }
        if (from > 0.0) {
            sound["from"] = WholeOrReal(from);
        }
        if (end) {
            sound["to"] = WholeOrReal(*end);
        }
        if (cutFrom > 0.0) {
            sound["start"] = cutFrom;
        }
        SetVolume(sound, outDb + (keys.Has("mixVolume") ? Gain(keys.At("mixVolume")) : 0.0));
        result["sounds"].push_back(std::move(sound));
    }

    void ReadSounds() {
        if (top.Has("audioFilePath")) {
            Node const path = top.At("audioFilePath");
            Json const track{{"path", *path}};
            Json sound{{"file", FileOf(Node(track, path.GetPlace()))}};
            if (top.Flag("loopAudio", false)) {
                sound["loop"] = true;
            }
            SetVolume(sound, outDb + (top.Has("backgroundAudioVolume") ? Gain(top.At("backgroundAudioVolume")) : 0.0));
            result["sounds"].push_back(std::move(sound));
        }
        top.Ignore("loopAudio");
        for (char const* const list : {"audioTracks", "audio"}) {
            if (!top.Has(list)) {
                continue;
            }
            for (Node const& track : top.At(list).Children()) {
                Keys keys(track);
                AddSound(keys, 0.0, std::nullopt);
                WarnOfOthers(keys);
            }
        }
    }

    void ReadNormalization(Node const& node) {
        constexpr double kLoudness = -16.0;
        if (node.Flag("enable", false)) {
            result["mix"]["loudness"] = kLoudness;
            Warn(node, fmt::format("its evening out of loudness has no counterpart; the whole is brought to {:g} LUFS",
                                   kLoudness));
        }
    }

    static inline Json const kNothing;

    Keys top;
    Conversion const& conversion;
    Json result{{"version", Document::kVersion}};
    Json const* defaults = nullptr;
    double clipDuration = 4.0;
    double whole = 0.0;  ///< seconds of the video
    bool keepsSound = false;
    double outDb = 0.0;
    double clipsDb = 0.0;
    std::set<std::string> warned;
};

}  // namespace

bool IsEditly(Json const& json) {
    if (!json.is_object() || json.contains("version") || !json.contains("clips") || !json["clips"].is_array()) {
        return false;
    }
    bool const hasOwnKey =
        std::any_of(kOwnKeys.begin(), kOwnKeys.end(), [&](char const* key) { return json.contains(key); });
    return hasOwnKey || std::any_of(json["clips"].begin(), json["clips"].end(),
                                    [](Json const& clip) { return clip.is_object() && clip.contains("layers"); });
}

Document ReadEditly(Json const& json, Conversion const& conversion) {
    return ReadDocument(EditlyReader(json, conversion).Read(), conversion.catalog, conversion.home);
}

}  // namespace Kaltor::Edit

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Edit/Convert/FileAddress.h"
#include "Edit/Convert/Node.h"
#include "Edit/Convert/Otio.h"
#include "Edit/DocumentReader.h"
#include "Edit/TimeLine.h"

namespace Kaltor::Edit {
namespace {

constexpr double kUnlimited = std::numeric_limits<double>::infinity();
constexpr char kCrossfade[] = "TransitionCrossfade";
Json const kNothing;

/// What a schema is called without its version: "Clip" of "Clip.2".
std::string SchemaOf(Node const& node) {
    std::string const name = node.At("OTIO_SCHEMA").Text();
    return name.substr(0, name.rfind('.'));
}

/// The rate as a fraction: 23.976 and so on are 24000/1001. Nothing for those of sound and of clocks.
std::optional<AVRational> VideoRate(double rate) {
    constexpr double kMostRate = 1000.0;
    return rate >= 1.0 && rate < kMostRate ? std::optional(ParseFrameRate(fmt::format("{:.6f}", rate))) : std::nullopt;
}

Json WriteRate(AVRational rate) {
    return rate.den == 1 ? Json(rate.num) : Json(fmt::format("{}/{}", rate.num, rate.den));
}

double RateOf(Node const& time) {
    double const rate = time.At("rate").Number();
    if (rate <= 0.0) {
        time.At("rate").Refuse("a rate has to be above 0");
    }
    return rate;
}

/// A RationalTime in seconds.
double SecondsOf(Node const& time) {
    constexpr double kMost = 1e9;
    double const rate = RateOf(time);
    std::optional<AVRational> const exact = VideoRate(rate);
    double const seconds = time.At("value").Number() / (exact ? av_q2d(*exact) : rate);
    if (std::abs(seconds) > kMost) {
        time.Refuse("the time is too long");
    }
    return seconds;
}

struct Span {
    double start = 0.0;
    double length = 0.0;
};

Span SpanOf(Node const& range) {
    Span const span{SecondsOf(range.At("start_time")), SecondsOf(range.At("duration"))};
    if (span.length < 0.0) {
        range.At("duration").Refuse("a duration cannot be negative");
    }
    return span;
}

std::optional<Span> FindSpan(Node const& node, char const* key) {
    return node.Has(key) ? std::optional(SpanOf(node.At(key))) : std::nullopt;
}

/// What this program has written beside a thing. Empty where it has written nothing.
Json const& OwnData(Node const& node) {
    if (node.Has("metadata") && node->at("metadata").is_object()) {
        Json const& metadata = node->at("metadata");
        if (metadata.contains("kaltor") && metadata["kaltor"].is_object()) {
            return metadata["kaltor"];
        }
    }
    return kNothing;
}
/// A part of it, of the type that it has to be.
Json const* FindOwn(Json const& own, char const* key) {
    return own.is_object() && own.contains(key) ? &own[key] : nullptr;
}

struct Item;

struct Track {
    Node node;
    bool isSound = false;
    std::vector<Item> items;

    double GetLength() const;
    bool HasClip() const;
};

/// What lies on a track: a clip, a gap, a transition at the cut between its neighbours, or, without a length of its
/// own, the place where the upper tracks of a nested stack begin.
struct Item {
    enum class Kind : std::uint8_t { Clip, Gap, Transition, Upper };
    Kind kind;
    Node node;
    double length = 0.0;   ///< seconds on the track
    double skipped = 0.0;  ///< of its beginning, which something around it cuts off
    double before = 0.0;   ///< how far a transition reaches before the cut
    double after = 0.0;
    std::vector<Track> upper = {};
};

double Track::GetLength() const {
    double length = 0.0;
    for (Item const& item : items) {
        length += item.length;
    }
    return length;
}

bool Track::HasClip() const {
    return std::any_of(items.begin(), items.end(), [](Item const& item) { return item.kind == Item::Kind::Clip; });
}

/// What a clip shows, and how.
struct Piece {
    Json source = Json::object();  ///< "file", "color" or "title"
    std::optional<FileFacts> facts;
    bool isTimeless = true;     ///< a still, a colour, a title
    double start = 0.0;         ///< of what the track shows of it, in the file's own time
    double media = kUnlimited;  ///< where the file ends
    double speed = 1.0;
    bool isReversed = false;
    bool isFrozen = false;

    std::string Name() const { return source.contains("file") ? source["file"].get<std::string>() : "it"; }
};

/// A clip or a gap in its place on a track, in frames.
struct Placed {
    Item const* item;
    Piece piece;
    double exact;        ///< where it begins, seconds
    std::int64_t first;  ///< without what transitions add
    std::int64_t last;   ///< the frame after it
    bool isOwn = false;  ///< as this program has written it
};

/// Between two of them, or at an end of the track.
struct Cut {
    std::int64_t at = 0;
    Item const* transition = nullptr;
    std::int64_t begin = 0;  ///< of the transition
    std::int64_t end = 0;

    std::int64_t GetFrames() const { return end - begin; }
};

struct Layout {
    std::vector<Placed> placed;
    std::vector<Cut> cuts;  ///< one more: before the first, between them, after the last

    std::int64_t FirstOf(std::size_t i) const { return cuts[i].begin; }
    std::int64_t LastOf(std::size_t i) const { return cuts[i + 1].end; }
};

class OtioReader {
public:
    OtioReader(Json const& document, Conversion const& given) : root(document, ""), conversion(given) {}

    Json Read() {
        Json result{{"version", Document::kVersion}};
        std::vector<Track> tracks = CollectTracks();
        ChooseRate(tracks);
        if (Json const* const own = FindOwn(OwnData(timeline), "document"); own != nullptr && own->is_object()) {
            for (auto const& [key, value] : own->items()) {
                if (key != "clips" && key != "overlays" && key != "sounds") {
                    result[key] = value;
                }
            }
            hasDefaultJoint = own->contains("joint") && (*own)["joint"].is_object() &&
                              (*own)["joint"].value("transition", Json("none")) != Json("none");
        } else if (rate) {
            result["output"]["fps"] = WriteRate(*rate);
        }
        background = result.contains("output") && result["output"].is_object()
                         ? result["output"].value("background", Json("#000000"))
                         : Json("#000000");
        double total = 0.0;
        for (Track const& track : tracks) {
            total = std::max(total, track.GetLength());
            hasSoundTracks = hasSoundTracks || (track.isSound && track.HasClip());
        }
        totalFrames = ToFrames(total);
        if (totalFrames == 0) {
            root.Refuse("there is nothing on the timeline");
        }
        auto main = std::find_if(tracks.begin(), tracks.end(),
                                 [](Track const& track) { return !track.isSound && !track.items.empty(); });
        if (main == tracks.end()) {
            main = tracks.insert(tracks.begin(), Track{root, false, {}});
        }
        double const rest = total - main->GetLength();
        if (ToFrames(total - rest) < totalFrames) {
            main->items.push_back({Item::Kind::Gap, {kNothing, main->node.GetPlace()}, rest});
        }
        AddClips(result, *main);
        for (Track const& track : tracks) {
            if (&track != &*main) {
                track.isSound ? AddSounds(result, track) : AddOverlays(result, track);
            }
        }
        return result;
    }

private:
    void Warn(Node const& node, std::string const& message) const {
        if (conversion.warn) {
            conversion.warn(node.GetPlace().empty() ? message : fmt::format("{}: {}", node.GetPlace(), message));
        }
    }

    // What is on the tracks.

    std::vector<Track> CollectTracks() {
        timeline = root;
        if (SchemaOf(timeline) == "SerializableCollection") {
            std::vector<Node> const children = timeline.At("children").Children();
            auto const first = std::find_if(children.begin(), children.end(),
                                            [](Node const& child) { return SchemaOf(child) == "Timeline"; });
            if (first == children.end()) {
                root.Refuse("the collection has no timeline");
            }
            if (children.size() > 1) {
                Warn(root, "only the collection's first timeline is read");
            }
            timeline = *first;
        }
        std::string const schema = SchemaOf(timeline);
        Node const stack = schema == "Timeline" ? timeline.At("tracks") : timeline;
        std::vector<Track> tracks;
        if (SchemaOf(stack) != "Stack") {
            if (schema != "Track" && schema != "Sequence" && schema != "Clip") {
                stack.Refuse(fmt::format("a timeline cannot be made of {}", SchemaOf(stack)));
            }
            AddTrack(tracks, stack);
            return Flat(std::move(tracks));
        }
        WarnOfEffects(stack);
        WarnOfMarkers(stack);
        for (Node const& child : stack.At("children").Children()) {
            AddTrack(tracks, child);
        }
        if (std::optional<Span> const span = FindSpan(stack, "source_range")) {
            for (Track& track : tracks) {
                Trim(track.items, *span);
            }
        }
        return Flat(std::move(tracks));
    }

    static std::vector<Track> Flat(std::vector<Track> tracks) {
        std::vector<Track> flat;
        for (Track& track : tracks) {
            Flatten(flat, std::move(track));
        }
        return flat;
    }

    void AddTrack(std::vector<Track>& tracks, Node const& node) {
        if (!node.Flag("enabled", true)) {
            return;
        }
        Track track{node, node.Text("kind", "Video") == "Audio", {}};
        // The clips' own sound, which this program has written for others.
        if (Json const* const role = FindOwn(OwnData(node), "role"); role != nullptr && *role == "clips") {
            return;
        }
        AddItems(track.items, node, track.isSound);
        tracks.push_back(std::move(track));
    }

    static bool IsTrack(std::string const& schema) { return schema == "Track" || schema == "Sequence"; }

    /// What a track, or something on a track, puts there.
    void AddItems(std::vector<Item>& items, Node const& node, bool isSound) {
        std::string const schema = SchemaOf(node);
        WarnOfMarkers(node);
        if (schema == "Clip") {
            bool const isShown = node.Flag("enabled", true);
            items.push_back({isShown ? Item::Kind::Clip : Item::Kind::Gap, node, LengthOfClip(node)});
        } else if (schema == "Gap") {
            items.push_back({Item::Kind::Gap, node, SpanOf(node.At("source_range")).length});
        } else if (schema == "Transition") {
            Item item{Item::Kind::Transition, node};
            item.before = SecondsOf(node.At("in_offset"));
            item.after = SecondsOf(node.At("out_offset"));
            if (item.before < 0.0 || item.after < 0.0) {
                node.Refuse("the offsets of a transition cannot be negative");
            }
            items.push_back(item);
        } else if (IsTrack(schema)) {
            WarnOfEffects(node);
            std::vector<Item> inner;
            for (Node const& child : node.At("children").Children()) {
                AddItems(inner, child, isSound);
            }
            AddTrimmed(items, std::move(inner), node);
        } else if (schema == "Stack") {
            AddStack(items, node, isSound);
        } else {
            Warn(node, fmt::format("{} has no counterpart and is left out", schema));
        }
    }

    /// A nested stack is where its lowest track is, and takes as long as its longest one.
    void AddStack(std::vector<Item>& items, Node const& node, bool isSound) {
        WarnOfEffects(node);
        std::vector<Track> tracks;
        for (Node const& child : node.At("children").Children()) {
            AddTrack(tracks, child);
        }
        double length = 0.0;
        for (Track const& track : tracks) {
            length = std::max(length, track.GetLength());
        }
        bool const loses = std::any_of(tracks.begin(), tracks.end(),
                                       [&](Track const& track) { return track.isSound != isSound && track.HasClip(); });
        if (loses) {
            Warn(node, isSound
                           ? "a nested stack on a sound track gives its sound only; its pictures are left out"
                           : "a nested stack on a video track gives its pictures only; its sound tracks are left out");
        }
        std::erase_if(tracks, [&](Track const& track) { return track.isSound != isSound || !track.HasClip(); });
        std::vector<Item> inner;
        if (tracks.size() > 1) {
            Item& upper = inner.emplace_back(Item{Item::Kind::Upper, node});
            upper.upper.assign(std::make_move_iterator(tracks.begin() + 1), std::make_move_iterator(tracks.end()));
        }
        if (!tracks.empty()) {
            length -= tracks.front().GetLength();
            std::move(tracks.front().items.begin(), tracks.front().items.end(), std::back_inserter(inner));
        }
        if (length > 0.0) {
            inner.push_back({Item::Kind::Gap, node, length});
        }
        AddTrimmed(items, std::move(inner), node);
    }

    /// Takes the upper tracks of nested stacks out: each becomes a track of its own above the one that the stack is on.
    static void Flatten(std::vector<Track>& flat, Track track) {
        std::vector<Track> above;
        double at = 0.0;
        std::vector<Item> items;
        for (Item& item : track.items) {
            at += item.length;
            if (item.kind != Item::Kind::Upper) {
                items.push_back(std::move(item));
                continue;
            }
            for (Track& upper : item.upper) {
                if (at > 0.0) {
                    upper.items.insert(upper.items.begin(),
                                       Item{Item::Kind::Gap, {kNothing, upper.node.GetPlace()}, at});
                }
                Flatten(above, std::move(upper));
            }
        }
        track.items = std::move(items);
        flat.push_back(std::move(track));
        std::move(above.begin(), above.end(), std::back_inserter(flat));
    }

    static void AddTrimmed(std::vector<Item>& items, std::vector<Item> inner, Node const& node) {
        if (std::optional<Span> const span = FindSpan(node, "source_range")) {
            Trim(inner, *span);
        }
        std::move(inner.begin(), inner.end(), std::back_inserter(items));
    }

    /// Keeps a span of what follows one another. Transitions at cuts that it cuts off are gone.
    static void Trim(std::vector<Item>& items, Span const& span) {
        std::vector<Item> kept;
        double at = 0.0;
        double const whole = Track{{kNothing, ""}, false, items}.GetLength();
        double const end = span.start + span.length;
        for (Item& item : items) {
            if (item.kind == Item::Kind::Transition) {
                bool const isInside = at > span.start && at < end;
                if (isInside || (at == 0.0 && span.start <= 0.0) || (at == whole && end >= whole)) {
                    kept.push_back(item);
                }
                continue;
            }
            if (item.kind == Item::Kind::Upper) {
                double const cut = std::max(span.start - at, 0.0);
                for (Track& track : item.upper) {
                    Trim(track.items, {cut, std::max(end - at - cut, 0.0)});
                }
                kept.push_back(std::move(item));
                continue;
            }
            double const begin = at;
            at += item.length;
            double const cutFront = std::clamp(span.start - begin, 0.0, item.length);
            double const cutBack = std::clamp(at - end, 0.0, item.length);
            if (cutFront + cutBack < item.length) {
                item.skipped += cutFront;
                item.length -= cutFront + cutBack;
                kept.push_back(item);
            }
        }
        items = std::move(kept);
    }

    static std::optional<Node> FindReference(Node const& clip) {
        if (clip.Has("media_references")) {
            std::string const key = clip.Text("active_media_reference_key", "DEFAULT_MEDIA");
            Node const all = clip.At("media_references");
            return all.Has(key.c_str()) ? std::optional(all.At(key.c_str())) : std::nullopt;
        }
        return clip.Has("media_reference") ? std::optional(clip.At("media_reference")) : std::nullopt;
    }

    double LengthOfClip(Node const& clip) {
        if (std::optional<Span> const range = FindSpan(clip, "source_range")) {
            return range->length;
        }
        std::optional<Node> const reference = FindReference(clip);
        if (std::optional<Span> const range = reference ? FindSpan(*reference, "available_range") : std::nullopt) {
            return range->length;
        }
        std::optional<std::string> const file = reference ? FindFile(*reference) : std::nullopt;
        std::optional<FileFacts> const facts = file ? conversion.probe(*file) : std::nullopt;
        if (!facts || facts->seconds <= 0.0) {
            clip.Refuse("how long it is cannot be known: it has no source_range, and its media no available_range");
        }
        return facts->seconds;
    }

    void WarnOfMarkers(Node const& node) const {
        if (node.Has("markers") && !node.At("markers").Children().empty()) {
            Warn(node, "markers have no counterpart and are left out");
        }
    }

    void WarnOfEffects(Node const& node) const {
        if (node.Has("effects")) {
            for (Node const& effect : node.At("effects").Children()) {
                Warn(effect, fmt::format("the effect {} has no counterpart and is left out",
                                         effect.Text("effect_name", SchemaOf(effect))));
            }
        }
    }

    // Rates and frames.

    void ChooseRate(std::vector<Track> const& tracks) {
        if (timeline.Has("global_start_time")) {
            rate = VideoRate(RateOf(timeline.At("global_start_time")));
        }
        for (bool const isSound : {false, true}) {
            for (Track const& track : tracks) {
                for (Item const& item : track.items) {
                    if (!rate && track.isSound == isSound && item.node.Has("source_range")) {
                        rate = VideoRate(RateOf(item.node.At("source_range").At("duration")));
                    }
                }
            }
        }
        time.frameRate = rate.value_or(AVRational{30, 1});
    }

    double FramesPerSecond() const { return av_q2d(time.frameRate); }
    std::int64_t ToFrames(double seconds) const {
        // Sums of times that are meant to lie half-way fall to the same side.
        constexpr double kTie = 1e-6;
        return std::llround(seconds * FramesPerSecond() + kTie);
    }
    Json Seconds(std::int64_t frames) const { return WholeOrReal(time.SecondsOf(frames)); }

    // Sources.

    std::optional<std::string> FindFile(Node const& reference) const {
        std::string const schema = SchemaOf(reference);
        if (schema == "ExternalReference") {
            Node const address = reference.At("target_url");
            return ParseAddress(address);
        }
        if (schema == "ImageSequenceReference") {
            std::string base = ParseAddress(reference.At("target_url_base"));
            if (!base.empty() && !base.ends_with('/')) {
                base += '/';
            }
            auto const digits = static_cast<int>(std::clamp(reference.Number("frame_zero_padding", 0.0), 0.0, 20.0));
            return fmt::format("{}{}%{}d{}", base, reference.Text("name_prefix"),
                               digits > 0 ? fmt::format("0{}", digits) : "", reference.Text("name_suffix"));
        }
        return std::nullopt;
    }
    std::string ParseAddress(Node const& address) const {
        try {
            std::string const plain = ParseFileAddress(address.Text(), false);
            bool const mayBeEscaped = plain.find('%') != std::string::npos;
            return mayBeEscaped && !conversion.probe(plain) ? ParseFileAddress(address.Text(), true) : plain;
        } catch (std::invalid_argument const& error) {
            address.Refuse(error.what());
        }
    }

    /// What a clip shows. Nothing where it has no media: then a gap is in its place.
    std::optional<Piece> ReadPiece(Item const& item, Json const& own) {
        Node const& clip = item.node;
        std::optional<Node> const reference = FindReference(clip);
        std::string const schema = reference ? SchemaOf(*reference) : "MissingReference";
        Piece piece;
        ReadTimeEffects(clip, piece);
        if (schema == "GeneratorReference") {
            return ReadGenerator(*reference, own, piece) ? std::optional(piece) : std::nullopt;
        }
        std::optional<std::string> const file = reference ? FindFile(*reference) : std::nullopt;
        if (!file) {
            Warn(clip, schema == "MissingReference"
                           ? "its media are missing; a gap is in its place"
                           : fmt::format("{} has no counterpart; a gap is in its place", schema));
            return std::nullopt;
        }
        piece.source["file"] = *file;
        piece.facts = conversion.probe(*file);
        piece.isTimeless = piece.facts ? piece.facts->isStill : IsStillName(*file);
        if (piece.isTimeless) {
            return piece;
        }
        std::optional<Span> const available = FindSpan(*reference, "available_range");
        std::optional<Span> const source = FindSpan(clip, "source_range");
        piece.start = source ? source->start - (available ? available->start : 0.0) : 0.0;
        piece.media = piece.facts ? piece.facts->seconds : available ? available->length : kUnlimited;
        if (schema == "ImageSequenceReference") {
            SetSequence(*reference, piece);
        }
        // What a nested range cuts off.
        if (!piece.isFrozen) {
            piece.start += item.skipped * piece.speed;
        }
        return piece;
    }

    void SetSequence(Node const& reference, Piece& piece) const {
        if (reference.Number("frame_step", 1.0) != 1.0) {
            Warn(reference, "frame_step is not 1; all pictures of the sequence are shown");
        }
        std::optional<AVRational> const own = VideoRate(reference.Number("rate", 0.0));
        AVRational const pictures = own.value_or(time.frameRate);
        piece.source["fps"] = WriteRate(pictures);
        if (piece.facts) {
            piece.media = static_cast<double>(piece.facts->pictures) * av_q2d(av_inv_q(pictures));
        }
    }

    bool ReadGenerator(Node const& reference, Json const& own, Piece& piece) const {
        for (char const* const key : {"color", "title"}) {
            if (own.is_object() && own.contains(key)) {
                piece.source[key] = own[key];
                return true;
            }
        }
        std::string const kind = reference.Text("generator_kind");
        std::string const color = reference.Has("parameters") && reference.At("parameters").Has("color") &&
                                          reference.At("parameters").At("color")->is_string()
                                      ? reference.At("parameters").Text("color")
                                  : kind == "black" || kind == "Black" ? "#000000"
                                                                       : "";
        try {
            ParseColor(color);
        } catch (std::invalid_argument const&) {
            Warn(reference, fmt::format("the generator \"{}\" has no counterpart; a gap is in its place", kind));
            return false;
        }
        piece.source["color"] = color;
        return true;
    }

    void ReadTimeEffects(Node const& clip, Piece& piece) const {
        constexpr double kSlowest = 0.05;
        constexpr double kFastest = 20.0;
        if (!clip.Has("effects")) {
            return;
        }
        double scalar = 1.0;
        for (Node const& effect : clip.At("effects").Children()) {
            std::string const schema = SchemaOf(effect);
            if (schema == "FreezeFrame") {
                scalar = 0.0;
            } else if (schema == "LinearTimeWarp") {
                scalar *= effect.At("time_scalar").Number();
            } else {
                Warn(effect, fmt::format("the effect {} has no counterpart and is left out",
                                         effect.Text("effect_name", schema)));
            }
        }
        piece.isFrozen = scalar == 0.0;
        piece.isReversed = scalar < 0.0;
        piece.speed = piece.isFrozen ? 1.0 : std::clamp(std::abs(scalar), kSlowest, kFastest);
        if (!piece.isFrozen && piece.speed != std::abs(scalar)) {
            Warn(clip, fmt::format("a speed of {:g} is not possible; it plays at {:g}", std::abs(scalar), piece.speed));
        }
    }

    // Places.

    /// Where a file begins to be used, in its own time, for frames that begin at `first`.
    double StartOf(Placed const& placed, std::int64_t first, std::int64_t last) const {
        Piece const& piece = placed.piece;
        if (piece.isTimeless || piece.isFrozen) {
            return piece.isTimeless ? 0.0 : piece.start;
        }
        double const head = (time.SecondsOf(first) - placed.exact) * piece.speed;
        if (!piece.isReversed) {
            return piece.start + head;
        }
        return piece.start + placed.item->length * piece.speed - head - time.SecondsOf(last - first) * piece.speed;
    }

    /// Whether another program has left the times of what this one has written.
    bool IsUnchanged(Placed const& placed, std::int64_t first, std::int64_t last, char const* key) const {
        Json const& own = OwnData(placed.item->node);
        if (FindOwn(own, key) == nullptr || !own[key].is_object()) {
            return false;
        }
        auto const isNear = [&](char const* name, double value, double unit) {
            return own.contains(name) && own[name].is_number() &&
                   std::abs(own[name].get<double>() - value) * FramesPerSecond() < unit / 2.0;
        };
        Piece const& piece = placed.piece;
        Json const& data = own[key];
        Json const speed = data.value("speed", Json(1));
        constexpr double kSameSpeed = 1e-6;
        bool const isSameSpeed = piece.isTimeless || piece.isFrozen ||
                                 (speed.is_number() && std::abs(speed.get<double>() - piece.speed) < kSameSpeed &&
                                  data.value("reversed", Json(false)) == Json(piece.isReversed));
        return isSameSpeed && isNear("start", StartOf(placed, first, last), piece.speed) &&
               isNear("duration", time.SecondsOf(last - first), 1.0) &&
               (!own.contains("at") || isNear("at", time.SecondsOf(first), 1.0));
    }

    Layout Place(Track const& track, char const* key) {
        Layout layout;
        double at = 0.0;
        Item const* pending = nullptr;
        std::vector<double> exact;
        auto const cut = [&](std::int64_t frame) {
            layout.cuts.push_back({frame, pending, frame, frame});
            exact.push_back(at);
            pending = nullptr;
        };
        for (Item const& item : track.items) {
            if (item.kind == Item::Kind::Transition) {
                if (pending != nullptr) {
                    Warn(item.node, "it follows another transition and is left out");
                    continue;
                }
                pending = &item;
                continue;
            }
            std::int64_t const first = ToFrames(at);
            std::int64_t const last = ToFrames(at + item.length);
            if (first == last) {
                Warn(item.node, "it is shorter than half a frame and is left out");
            } else {
                Placed placed{&item, {}, at, first, last};
                if (item.kind == Item::Kind::Clip) {
                    Json const* const own = FindOwn(OwnData(item.node), key);
                    if (std::optional<Piece> piece = ReadPiece(item, own != nullptr ? *own : kNothing)) {
                        placed.piece = std::move(*piece);
                    }
                }
                cut(first);
                layout.placed.push_back(std::move(placed));
            }
            at += item.length;
        }
        cut(ToFrames(at));
        SetTransitions(layout, exact, key);
        return layout;
    }

    void SetTransitions(Layout& layout, std::vector<double> const& exact, char const* key) {
        std::vector<Placed>& placed = layout.placed;
        std::vector<Cut>& cuts = layout.cuts;
        for (std::size_t i = 0; i < cuts.size(); ++i) {
            Cut& cut = cuts[i];
            if (cut.transition == nullptr) {
                continue;
            }
            cut.begin = i == 0 ? cut.at : ToFrames(exact[i] - cut.transition->before);
            cut.end = i == placed.size() ? cut.at : ToFrames(exact[i] + cut.transition->after);
            std::int64_t const wanted = cut.GetFrames();
            std::int64_t const least = i == 0 ? cut.at : std::max(cuts[i - 1].at, cuts[i - 1].end);
            std::int64_t const most = i == placed.size() ? cut.at : cuts[i + 1].at;
            cut.begin = std::min(std::max(cut.begin, least), cut.at);
            cut.end = std::max(std::min(cut.end, most), cut.at);
            // Both lie within one clip: the first one's end decides.
            cut.begin = std::max(cut.begin, std::min(least, cut.end));
            if (cut.GetFrames() < wanted) {
                Warn(cut.transition->node,
                     fmt::format("it is longer than there is room for and is shortened from {} to {} frames", wanted,
                                 cut.GetFrames()));
            }
        }
        for (std::size_t i = 0; i < placed.size(); ++i) {
            placed[i].isOwn = placed[i].item->kind == Item::Kind::Clip &&
                              IsUnchanged(placed[i], layout.FirstOf(i), layout.LastOf(i), key);
        }
        for (std::size_t i = 0; i < cuts.size(); ++i) {
            if (cuts[i].transition != nullptr) {
                LimitByHandles(cuts[i], i > 0 ? &placed[i - 1] : nullptr, i < placed.size() ? &placed[i] : nullptr);
            }
        }
    }

    /// Frames of a file beyond what the track shows of it: before it, or after it, in the order in which it plays.
    std::int64_t CountHandle(Placed const& placed, bool isBefore) const {
        Piece const& piece = placed.piece;
        if (placed.isOwn || piece.isTimeless || piece.isFrozen) {
            return std::numeric_limits<std::int64_t>::max();
        }
        double const rest =
            isBefore != piece.isReversed ? piece.start : piece.media - piece.start - placed.item->length * piece.speed;
        constexpr double kTolerance = 0.25;
        double const frames = std::floor(rest / piece.speed * FramesPerSecond() + kTolerance);
        return frames > 1e15 ? std::numeric_limits<std::int64_t>::max()
                             : static_cast<std::int64_t>(std::max(frames, 0.0));
    }

    void LimitByHandles(Cut& cut, Placed const* before, Placed const* after) const {
        std::int64_t const wanted = cut.GetFrames();
        std::string lacking;
        if (before != nullptr && cut.end - cut.at > CountHandle(*before, false)) {
            cut.end = cut.at + CountHandle(*before, false);
            lacking = before->piece.Name() + " after its end";
        }
        if (after != nullptr && cut.at - cut.begin > CountHandle(*after, true)) {
            cut.begin = cut.at - CountHandle(*after, true);
            lacking += (lacking.empty() ? "" : " and ") + after->piece.Name() + " before its beginning";
        }
        if (cut.GetFrames() < wanted) {
            Warn(cut.transition->node, fmt::format("it is shortened from {} to {} frames: there is too little of {}",
                                                   wanted, cut.GetFrames(), lacking));
        }
    }

    // What is made of them.

    Json Background() const { return {{"color", background}}; }

    /// Nothing: the document's own.
    std::optional<Json> MakeJoint(Cut const& cut) const {
        Node const& node = cut.transition->node;
        Json const& own = OwnData(node);
        if (Json const* const joint = FindOwn(own, "joint"); joint != nullptr && joint->is_object()) {
            Json result = *joint;
            if (JointFrames(result) != cut.GetFrames()) {
                result["duration"] = Seconds(cut.GetFrames());
            } else if (Json const* const isDefault = FindOwn(own, "isDefault");
                       isDefault != nullptr && *isDefault == true) {
                return std::nullopt;
            }
            return result;
        }
        std::string const type = node.Text("transition_type", "SMPTE_Dissolve");
        std::string name = kCrossfade;
        if (type != "SMPTE_Dissolve") {
            std::string const found =
                FindTransition({type, node.Text("name"),
                                FindOwn(own, "transition") != nullptr && own["transition"].is_string()
                                    ? own["transition"].get<std::string>()
                                    : ""});
            if (found.empty()) {
                Warn(node,
                     fmt::format("the transition {} has no counterpart and becomes a crossfade",
                                 type == "Custom_Transition" && !node.Text("name").empty() ? node.Text("name") : type));
            } else {
                name = found;
            }
        }
        return Json{{"transition", name}, {"duration", Seconds(cut.GetFrames())}};
    }
    std::string FindTransition(std::vector<std::string> const& names) const {
        for (std::string const& name : names) {
            if (Proc::IsShaderFile(name)) {
                return name;  // is looked for beside the document
            }
            try {
                return conversion.catalog.FindTransition(name).name;
            } catch (std::invalid_argument const&) {
                continue;
            }
        }
        return "";
    }
    std::int64_t JointFrames(Json const& joint) const {
        Json const duration = joint.value("duration", Json(1));
        try {
            Time const length = duration.is_string()
                                    ? ParseTime(duration.get<std::string>())
                                    : Time::Seconds(duration.is_number() ? duration.get<double>() : 1.0);
            return time.FrameAtSeconds(length.Resolve(time.frameRate, 0.0));
        } catch (std::invalid_argument const&) {
            return -1;
        }
    }

    /// The part of a clip's or an overlay's JSON that says what of the file is shown.
    Json MakePiece(Placed const& placed, char const* key) const {
        Json const& own = OwnData(placed.item->node);
        Json const* const data = FindOwn(own, key);
        Json result = placed.piece.source;
        if (placed.isOwn) {
            result.erase("fps");  // where it has one, the data have it
            for (auto const& [name, value] : data->items()) {
                if (name != "file") {
                    result[name] = value;
                }
            }
            return result;
        }
        if (data != nullptr && data->is_object()) {
            for (auto const& [name, value] : data->items()) {
                static constexpr std::array<std::string_view, 12> kTimes{"file",  "fps",      "color",     "title",
                                                                         "from",  "to",       "start",     "duration",
                                                                         "speed", "reversed", "holdFirst", "holdLast"};
                if (std::find(kTimes.begin(), kTimes.end(), name) == kTimes.end()) {
                    result[name] = value;
                }
            }
        } else if (hasSoundTracks && result.contains("file") && !placed.piece.isTimeless &&
                   (!placed.piece.facts || placed.piece.facts->hasSound) && std::string_view(key) != "sound") {
            result["muted"] = true;
        }
        if (!placed.piece.isTimeless && placed.piece.speed != 1.0) {
            result["speed"] = WholeOrReal(placed.piece.speed);
        }
        if (!placed.piece.isTimeless && placed.piece.isReversed) {
            result["reversed"] = true;
        }
        return result;
    }

    /// One clip, with what the file lacks filled up.
    Json MakeClip(Placed const& placed, std::int64_t first, std::int64_t last) const {
        Piece const& piece = placed.piece;
        if (placed.item->kind == Item::Kind::Gap || piece.source.empty()) {
            Json gap = Background();
            gap["duration"] = Seconds(last - first);
            return gap;
        }
        Json clip = MakePiece(placed, "clip");
        if (placed.isOwn) {
            return clip;
        }
        std::int64_t const frames = last - first;
        if (piece.isTimeless) {
            clip["duration"] = Seconds(frames);
            return clip;
        }
        double const start = StartOf(placed, first, last);
        if (piece.isFrozen) {
            double const from = std::max(0.0, std::min(start, piece.media - time.SecondsOf(1)));
            clip["from"] = WholeOrReal(from);
            clip["to"] = WholeOrReal(from + time.SecondsOf(1));
            if (frames > 1) {
                clip["holdLast"] = Seconds(frames - 1);
            }
            clip["muted"] = true;
            return clip;
        }
        double const perFrame = time.SecondsOf(1) * piece.speed;
        auto const count = [&](double seconds) {
            return std::min(frames, std::max<std::int64_t>(0, std::llround(seconds / perFrame)));
        };
        double const end = start + static_cast<double>(frames) * perFrame;
        std::int64_t const early = count(-start);
        std::int64_t const late = piece.media == kUnlimited ? 0 : count(end - piece.media);
        if (early + late >= frames) {
            Warn(placed.item->node,
                 fmt::format("{} has nothing at {:.2f} s; a gap is in its place", piece.Name(), start));
            Json gap = Background();
            gap["duration"] = Seconds(frames);
            return gap;
        }
        if (early + late > 0) {
            Warn(placed.item->node,
                 fmt::format("{} is {} frames too short; its {} picture stands for them", piece.Name(), early + late,
                             (early > 0) == piece.isReversed ? "last" : "first"));
        }
        double const from = std::max(start + static_cast<double>(early) * perFrame, 0.0);
        clip["from"] = WholeOrReal(from);
        clip["to"] = WholeOrReal(from + static_cast<double>(frames - early - late) * perFrame);
        std::int64_t const holdFirst = piece.isReversed ? late : early;
        std::int64_t const holdLast = piece.isReversed ? early : late;
        if (holdFirst > 0) {
            clip["holdFirst"] = Seconds(holdFirst);
        }
        if (holdLast > 0) {
            clip["holdLast"] = Seconds(holdLast);
        }
        return clip;
    }

    void AddClips(Json& result, Track const& track) {
        Layout const layout = Place(track, "clip");
        Json clips = Json::array();
        Json const none{{"transition", "none"}};
        for (std::size_t i = 0; i < layout.placed.size(); ++i) {
            Placed const& placed = layout.placed[i];
            Json clip = MakeClip(placed, layout.FirstOf(i), layout.LastOf(i));
            bool const isLast = i + 1 == layout.placed.size();
            Cut const& cut = layout.cuts[i + 1];
            if (!isLast && cut.transition != nullptr && cut.GetFrames() > 0) {
                clip.erase("joint");
                if (std::optional<Json> joint = MakeJoint(cut)) {
                    clip["joint"] = std::move(*joint);
                }
            } else if (!isLast) {
                bool const isOwnCut =
                    clip.contains("joint") && clip["joint"].is_object() &&
                    (clip["joint"].value("transition", Json()) == "none" || JointFrames(clip["joint"]) == 0);
                if (!isOwnCut) {
                    clip.erase("joint");
                    if (hasDefaultJoint) {
                        clip["joint"] = none;
                    }
                }
            }
            clips.push_back(std::move(clip));
        }
        result["clips"] = std::move(clips);
        auto const edge = [&](Cut const& cut, char const* key) {
            if (cut.transition != nullptr && cut.GetFrames() > 0) {
                if (std::optional<Json> joint = MakeJoint(cut)) {
                    result[key] = std::move(*joint);
                }
            }
        };
        edge(layout.cuts.front(), "opening");
        edge(layout.cuts.back(), "closing");
    }

    /// The aspect of the frame as far as it is known: that of the first clip with a file.
    std::optional<double> FrameAspect(Json const& result) const {
        if (result.contains("output") && result["output"].is_object() && result["output"].contains("size")) {
            unsigned width = 0;
            unsigned height = 0;
            Json const& size = result["output"]["size"];
            if (size.is_string() && std::sscanf(size.get<std::string>().c_str(), "%ux%u", &width, &height) == 2 &&
                height > 0) {
                return static_cast<double>(width) / height;
            }
        }
        for (Json const& clip : result["clips"]) {
            if (clip.contains("file")) {
                std::optional<FileFacts> const facts = conversion.probe(clip["file"].get<std::string>());
                return facts && facts->aspect > 0.0 ? std::optional(facts->aspect) : std::nullopt;
            }
        }
        return std::nullopt;
    }

    void SetPlace(Json& json, Layout const& layout, std::size_t i) const {
        std::int64_t const first = layout.FirstOf(i);
        std::int64_t const last = layout.LastOf(i);
        json.erase("from");
        json.erase("to");
        if (first > 0) {
            json["from"] = Seconds(first);
        }
        Placed const& placed = layout.placed[i];
        double const start = StartOf(placed, first, last);
        double const missing = -std::min(start, 0.0) * FramesPerSecond() / placed.piece.speed;
        if (missing >= 1.0) {
            Warn(placed.item->node,
                 fmt::format("{} begins {:.0f} frames too late for it", placed.piece.Name(), missing));
        }
        if (!placed.piece.isTimeless && start > 0.0) {
            json["start"] = WholeOrReal(start);
        }
        // The end of all at any rate that the video is made at.
        json["to"] = last < totalFrames ? Seconds(last) : Json("100%");
    }

    void AddOverlays(Json& result, Track const& track) {
        Layout const layout = Place(track, "overlay");
        std::optional<double> const frameAspect = FrameAspect(result);
        for (std::size_t i = 0; i < layout.placed.size(); ++i) {
            Placed const& placed = layout.placed[i];
            Piece const& piece = placed.piece;
            if (placed.item->kind == Item::Kind::Gap || piece.source.empty()) {
                continue;
            }
            Json overlay = MakePiece(placed, "overlay");
            if (!placed.isOwn) {
                SetPlace(overlay, layout, i);
                if (piece.isFrozen) {
                    Warn(placed.item->node, "a frozen picture has no counterpart above the lowest track; it plays");
                }
                bool const endsWithFile = (StartOf(placed, layout.FirstOf(i), layout.LastOf(i)) +
                                           time.SecondsOf(layout.LastOf(i) - layout.FirstOf(i)) * piece.speed +
                                           time.SecondsOf(1)) >= piece.media;
                if (piece.isReversed && !endsWithFile) {
                    Warn(placed.item->node, "above the lowest track, what plays backwards begins with the file's end");
                }
                if (piece.source.contains("file") && FindOwn(OwnData(placed.item->node), "overlay") == nullptr) {
                    // The whole picture, as large as the frame has room for.

                    bool const isNarrow =
                        frameAspect && piece.facts && piece.facts->aspect > 0.0 && piece.facts->aspect < *frameAspect;
                    overlay[isNarrow ? "height" : "width"] = 1;
                }
            }
            Cut const& before = layout.cuts[i];
            Cut const& after = layout.cuts[i + 1];
            auto const set = [&](Cut const& cut, char const* key) {
                if (cut.transition != nullptr && cut.GetFrames() > 0) {
                    if (std::optional<Json> joint = MakeJoint(cut)) {
                        overlay[key] = std::move(*joint);
                    }
                }
            };
            set(before, "enter");
            // Where another one follows, that comes in above this one.
            bool const isFollowed = i + 1 < layout.placed.size() && !layout.placed[i + 1].piece.source.empty();
            if (!isFollowed) {
                set(after, "leave");
            } else if (after.transition != nullptr &&
                       after.transition->node.Text("transition_type", "SMPTE_Dissolve") != "SMPTE_Dissolve") {
                Warn(after.transition->node, "above the lowest track it only brings in the later clip");
            }
            result["overlays"].push_back(std::move(overlay));
        }
    }

    void AddSounds(Json& result, Track const& track) {
        Layout const layout = Place(track, "sound");
        for (std::size_t i = 0; i < layout.placed.size(); ++i) {
            Placed const& placed = layout.placed[i];
            if (placed.item->kind == Item::Kind::Gap || placed.piece.source.empty()) {
                continue;
            }
            if (!placed.piece.source.contains("file") || placed.piece.isFrozen ||
                (placed.piece.facts && !placed.piece.facts->hasSound)) {
                Warn(placed.item->node, "there is no sound in it; it is left out");
                continue;
            }
            Json sound = MakePiece(placed, "sound");
            if (!placed.isOwn) {
                SetPlace(sound, layout, i);
                if (layout.cuts[i].GetFrames() > 0) {
                    sound["fadeIn"] = Seconds(layout.cuts[i].GetFrames());
                }
                if (layout.cuts[i + 1].GetFrames() > 0) {
                    sound["fadeOut"] = Seconds(layout.cuts[i + 1].GetFrames());
                }
            }
            result["sounds"].push_back(std::move(sound));
        }
    }

    Node root;
    Node timeline{kNothing, ""};
    Conversion const& conversion;
    std::optional<AVRational> rate;
    TimeLine time;
    Json background;
    bool hasSoundTracks = false;
    bool hasDefaultJoint = false;
    std::int64_t totalFrames = 0;
};

}  // namespace

Document ReadOtio(Json const& json, Conversion const& conversion) {
    return ReadDocument(OtioReader(json, conversion).Read(), conversion.catalog, conversion.home);
}

}  // namespace Kaltor::Edit

#include "Edit/ProbeRecord.h"

#include <cstddef>
#include <optional>
#include <type_traits>

namespace Kaltor::Edit {
namespace {

template <typename Struct, typename Visit>
void VisitMembers(Struct& value, Visit const& visit);

/// Writes a value at the end of a list.
struct ListWriter {
    Json& list;

    template <typename Value>
    void operator()(Value const& value) const {
        using Plain = std::remove_cv_t<Value>;
        if constexpr (std::is_enum_v<Plain>) {
            list.push_back(static_cast<int>(value));
        } else if constexpr (std::is_same_v<Plain, Media::Microseconds>) {
            list.push_back(value.count());
        } else if constexpr (std::is_arithmetic_v<Plain> || std::is_same_v<Plain, std::string>) {
            list.push_back(value);
        } else {
            Json inner = Json::array();
            VisitMembers(value, ListWriter{inner});
            list.push_back(std::move(inner));
        }
    }

    template <typename Value>
    void operator()(std::optional<Value> const& value) const {
        Json inner = Json::array();
        if (value) {
            ListWriter{inner}(*value);
        }
        list.push_back(std::move(inner));
    }

    template <typename Value, std::size_t count>
    void operator()(Value const (&values)[count]) const {  // as FFmpeg's structures have them
        for (Value const& value : values) {
            (*this)(value);
        }
    }
};

/// Takes the values from there in the same order.
struct ListReader {
    Json const& list;
    mutable std::size_t next = 0;

    template <typename Value>
    void operator()(Value& value) const {
        Json const& json = list.at(next++);
        if constexpr (std::is_enum_v<Value>) {
            value = static_cast<Value>(json.get<int>());
        } else if constexpr (std::is_same_v<Value, Media::Microseconds>) {
            value = Media::Microseconds(json.get<Media::Microseconds::rep>());
        } else if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, std::string>) {
            value = json.get<Value>();
        } else {
            VisitMembers(value, ListReader{json});
        }
    }

    template <typename Value>
    void operator()(std::optional<Value>& value) const {
        Json const& inner = list.at(next++);
        if (!inner.empty()) {
            ListReader{inner}(value.emplace());
        }
    }

    template <typename Value, std::size_t count>
    void operator()(Value (&values)[count]) const {
        for (Value& value : values) {
            (*this)(value);
        }
    }
};

/// Each member once, by a binding that does not compile any more when one is added.
template <typename Struct, typename Visit>
void VisitMembers(Struct& value, Visit const& visit) {
    using Plain = std::remove_cv_t<Struct>;
    auto const visitAll = [&visit](auto&... members) { (visit(members), ...); };
    if constexpr (std::is_same_v<Plain, AVRational>) {
        visitAll(value.num, value.den);
    } else if constexpr (std::is_same_v<Plain, AVMasteringDisplayMetadata>) {
        visitAll(value.display_primaries[0], value.display_primaries[1], value.display_primaries[2], value.white_point,
                 value.min_luminance, value.max_luminance, value.has_primaries, value.has_luminance);
    } else if constexpr (std::is_same_v<Plain, AVContentLightMetadata>) {
        visitAll(value.MaxCLL, value.MaxFALL);
    } else if constexpr (std::is_same_v<Plain, Media::HdrLevels> || std::is_same_v<Plain, Media::SoundFormat> ||
                         std::is_same_v<Plain, Media::SoundInfo> || std::is_same_v<Plain, ColorSpec>) {
        auto& [first, second] = value;
        visitAll(first, second);
    } else if constexpr (std::is_same_v<Plain, Conf::FrameInfo>) {
        auto& [width, height, pixelAspectX, pixelAspectY] = value;
        visitAll(width, height, pixelAspectX, pixelAspectY);
    } else {
        static_assert(std::is_same_v<Plain, Media::MediaInfo>);
        auto& [frame, rotation, frameRate, duration, declaredDuration, isOpenEnded, isStill, subtitles, sound,
               colorSpec, resolvedColorSpec, transfer, primaries, levels, hasAlpha, hasLostAlpha, isRgb, bits,
               chromaXLog2, chromaYLog2, container, codec, pixelFormat] = value;
        visitAll(frame, rotation, frameRate, duration, declaredDuration, isOpenEnded, isStill, subtitles, sound,
                 colorSpec, resolvedColorSpec, transfer, primaries, levels, hasAlpha, hasLostAlpha, isRgb, bits,
                 chromaXLog2, chromaYLog2, container, codec, pixelFormat);
    }
}

template <typename Info>
Json ListOf(Info const& info) {
    Json list = Json::array();
    VisitMembers(info, ListWriter{list});
    return list;
}

template <typename Info>
Info FromList(Json const& json) {
    Info info;
    VisitMembers(info, ListReader{json});
    return info;
}

}  // namespace

Json RecordOf(Media::MediaInfo const& info) {
    return ListOf(info);
}

Media::MediaInfo MediaInfoFromRecord(Json const& json) {
    return FromList<Media::MediaInfo>(json);
}

Json RecordOf(Media::SoundInfo const& info) {
    return ListOf(info);
}

Media::SoundInfo SoundInfoFromRecord(Json const& json) {
    return FromList<Media::SoundInfo>(json);
}

}  // namespace Kaltor::Edit

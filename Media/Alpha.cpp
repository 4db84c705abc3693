#include "Media/Alpha.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>

extern "C" {
#include <libavutil/frame.h>
}

namespace Kaltor::Media {
namespace {

/// Numbers in a stretch of bytes; what lies beyond its end reads as 0.
class ByteReader {
public:
    explicit ByteReader(std::span<std::uint8_t const> bytes, bool isLittle = false)
        : content(bytes), isLittleEndian(isLittle) {}

    std::uint32_t At(std::size_t place, std::size_t size) const {
        if (place > content.size() || content.size() - place < size) {
            return 0;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = value << 8U | content[place + (isLittleEndian ? size - 1 - i : i)];
        }
        return value;
    }
    std::uint32_t Next(std::size_t size) {
        std::uint32_t const value = At(position, size);
        position += size;
        return value;
    }
    /// The bytes that it passes.
    std::span<std::uint8_t const> Skip(std::size_t size) {
        std::size_t const from = std::min(position, content.size());
        position += size;
        return content.subspan(from, std::min(size, content.size() - from));
    }
    bool IsAtEnd() const { return position >= content.size(); }

private:
    std::span<std::uint8_t const> content;
    bool isLittleEndian;
    std::size_t position = 0;
};

using Bytes = std::span<std::uint8_t const>;

/// Of NAL units of HEVC: a prefix SEI whose first message is alpha channel information (ITU-T H.265, D.2.38).
bool IsAlphaMessage(Bytes unit) {
    constexpr unsigned kPrefixSei = 39;
    constexpr unsigned kAlphaInformation = 165;
    return unit.size() > 2 && ((unit[0] >> 1U) & 0x3FU) == kPrefixSei && unit[2] == kAlphaInformation;
}

/// Walks the boxes of ISO/IEC 14496-12 in a stretch of bytes; `each` gets a box's type and content.
void ForEachBox(Bytes bytes, std::function<void(std::string_view type, Bytes content)> const& each) {
    constexpr std::size_t kHeader = 8;
    while (bytes.size() >= kHeader) {
        std::size_t size = ByteReader(bytes).At(0, 4);
        size = size == 0 ? bytes.size() : size;
        if (size < kHeader || size > bytes.size()) {  // boxes of 64 bits are media data, too large for a picture
            return;
        }
        each({reinterpret_cast<char const*>(bytes.data() + 4), 4}, bytes.subspan(kHeader, size - kHeader));
        bytes = bytes.subspan(size);
    }
}

/// What a picture file's meta box says of its items.
struct PictureItems {
    struct Reference {
        std::uint32_t from;
        std::uint32_t to;
    };
    std::uint32_t primary = 0;
    Bytes primaryPlace;  ///< where that number stands
    std::vector<Reference> auxiliaries;
    std::vector<Reference> multiplied;        ///< from colours to their alpha
    std::set<std::uint32_t> alphaProperties;  ///< counted from 1
    std::set<std::uint32_t> alphaItems;

    explicit PictureItems(Bytes meta) {
        constexpr std::size_t kFullBox = 4;  // version and flags
        ForEachBox(meta.subspan(std::min(kFullBox, meta.size())), [this](std::string_view type, Bytes content) {
            if (type == "pitm") {
                ReadPrimary(content);
            } else if (type == "iref") {
                ReadReferences(content);
            } else if (type == "iprp") {
                ReadProperties(content);
            }
        });
    }

private:
    void ReadPrimary(Bytes content) {
        ByteReader const reader(content);
        std::size_t const size = reader.At(0, 1) == 0 ? 2 : 4;
        if (content.size() >= 4 + size) {
            primary = reader.At(4, size);
            primaryPlace = content.subspan(4, size);
        }
    }

    void ReadReferences(Bytes content) {
        std::size_t const size = ByteReader(content).At(0, 1) == 0 ? 2 : 4;
        ForEachBox(content.subspan(std::min<std::size_t>(4, content.size())),
                   [this, size](std::string_view type, Bytes box) {
                       ByteReader reader(box);
                       std::uint32_t const from = reader.Next(size);
                       std::uint32_t const count = reader.Next(2);
                       for (std::uint32_t i = 0; i < count && !reader.IsAtEnd(); ++i) {
                           Reference const reference{from, reader.Next(size)};
                           if (type == "auxl") {
                               auxiliaries.push_back(reference);
                           } else if (type == "prem") {
                               multiplied.push_back(reference);
                           }
                       }
                   });
    }

    void ReadProperties(Bytes content) {
        ForEachBox(content, [this](std::string_view type, Bytes box) {
            if (type == "ipco") {
                std::uint32_t number = 0;
                ForEachBox(box, [&](std::string_view kind, Bytes property) {
                    ++number;
                    std::string_view const text(reinterpret_cast<char const*>(property.data()), property.size());
                    bool const isAlpha = text.find("auxiliary:alpha") != std::string_view::npos ||
                                         text.find("hevc:2015:auxid:1") != std::string_view::npos;
                    if (kind == "auxC" && isAlpha) {
                        alphaProperties.insert(number);
                    }
                });
            } else if (type == "ipma") {
                ReadAssociations(box);
            }
        });
    }

    void ReadAssociations(Bytes box) {
        ByteReader reader(box);
        std::uint32_t const head = reader.Next(4);
        std::size_t const idSize = head >> 24U == 0 ? 2 : 4;
        std::size_t const indexSize = (head & 1U) == 0 ? 1 : 2;
        std::uint32_t const essential = indexSize == 1 ? 0x80U : 0x8000U;
        std::uint32_t const items = reader.Next(4);
        for (std::uint32_t i = 0; i < items && !reader.IsAtEnd(); ++i) {
            std::uint32_t const item = reader.Next(idSize);
            std::uint32_t const count = reader.Next(1);
            for (std::uint32_t k = 0; k < count; ++k) {
                if (alphaProperties.contains(reader.Next(indexSize) & ~essential)) {
                    alphaItems.insert(item);
                }
            }
        }
    }
};

}  // namespace

void MultiplyByAlpha(AVFrame& picture) {
    for (int y = 0; y < picture.height; ++y) {
        auto const row = [&](int plane) {
            return reinterpret_cast<float*>(picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane]);
        };
        float const* const alpha = row(3);
        for (int plane = 0; plane < 3; ++plane) {
            float* const color = row(plane);
            for (int x = 0; x < picture.width; ++x) {
                color[x] *= alpha[x];
            }
        }
    }
}

bool HasHevcAlpha(std::span<std::uint8_t const> header) {
    constexpr std::size_t kArrays = 22;  // where the configuration counts its lists of NAL units
    if (header.size() > kArrays && header[0] == 1) {
        ByteReader reader(header.subspan(kArrays));
        for (std::uint32_t lists = reader.Next(1); lists > 0 && !reader.IsAtEnd(); --lists) {
            reader.Next(1);
            for (std::uint32_t units = reader.Next(2); units > 0 && !reader.IsAtEnd(); --units) {
                std::uint32_t const size = reader.Next(2);
                if (IsAlphaMessage(reader.Skip(size))) {
                    return true;
                }
            }
        }
        return false;
    }
    for (std::size_t i = 0; i + 3 < header.size(); ++i) {
        if (header[i] == 0 && header[i + 1] == 0 && header[i + 2] == 1 && IsAlphaMessage(header.subspan(i + 3))) {
            return true;
        }
    }
    return false;
}

bool IsTiffPremultiplied(std::span<std::uint8_t const> content) {
    constexpr std::uint32_t kExtraSamples = 338;
    constexpr std::size_t kEntry = 12;
    if (content.size() < 8 || content[0] != content[1] || (content[0] != 'I' && content[0] != 'M')) {
        return false;
    }
    ByteReader const reader(content, content[0] == 'I');
    std::size_t const directory = reader.At(4, 4);
    std::uint32_t const entries = reader.At(directory, 2);
    for (std::uint32_t i = 0; i < entries; ++i) {
        std::size_t const entry = directory + 2 + i * kEntry;
        if (reader.At(entry, 2) == kExtraSamples) {
            return reader.At(entry + 8, 2) == 1;  // associated alpha; the value stands in the entry
        }
    }
    return false;
}

std::optional<AvifAlpha> FindAvifAlpha(std::vector<std::uint8_t> content) {
    std::optional<PictureItems> items;
    ForEachBox(content, [&items](std::string_view type, Bytes box) {
        if (type == "meta" && !items) {
            items.emplace(box);
        }
    });
    if (!items || items->primaryPlace.empty()) {
        return std::nullopt;
    }
    auto const isOfPrimary = [&items](PictureItems::Reference const& reference) {
        return reference.to == items->primary && items->alphaItems.contains(reference.from);
    };
    auto const alpha = std::find_if(items->auxiliaries.begin(), items->auxiliaries.end(), isOfPrimary);
    if (alpha == items->auxiliaries.end()) {
        return std::nullopt;
    }
    bool const isPremultiplied =
        std::any_of(items->multiplied.begin(), items->multiplied.end(), [&](PictureItems::Reference const& reference) {
            return reference.from == items->primary && reference.to == alpha->from;
        });
    auto const place = static_cast<std::size_t>(items->primaryPlace.data() - content.data());
    std::size_t const size = items->primaryPlace.size();
    std::uint32_t const number = alpha->from;
    for (std::size_t i = 0; i < size; ++i) {
        content[place + i] = static_cast<std::uint8_t>(number >> (8U * (size - 1 - i)));
    }
    return AvifAlpha{std::move(content), isPremultiplied};
}

}  // namespace Kaltor::Media

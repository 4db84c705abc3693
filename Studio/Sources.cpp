#include "Studio/Sources.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

#include "Core/Interfaces/Exception.h"
#include "Media/AudioReader.h"
#include "Media/Picture.h"
#include "Media/PipeSource.h"
#include "Studio/Plans.h"
#include "Studio/RequestError.h"

namespace Kaltor::Studio {
namespace {

constexpr std::size_t kMostThumbnailBytes = std::size_t{32} << 20U;
/// Parts of a second in which the least and the most of the sound is kept.
constexpr int kPeaksInSecond = 200;
constexpr double kLongestSeconds = 6 * 3600.0;
constexpr std::size_t kMostWaves = 16;

double InSeconds(Media::Microseconds time) {
    return std::chrono::duration<double>(time).count();
}

std::string KeyOf(std::string const& path) {
    return path + "\n" + FingerprintOf(path);
}

Conf::FrameInfo SizeOf(Conf::FrameInfo const& own, std::uint32_t height) {
    auto const known = [](std::uint32_t aspect) { return static_cast<double>(std::max(aspect, 1U)); };
    double const shape = own.width * known(own.pixelAspectX) / (own.height * known(own.pixelAspectY));
    constexpr double kWidest = 4.0;  // of something very wide a strip is enough
    auto const even = [](double side) { return std::max(2U, static_cast<std::uint32_t>(std::lround(side / 2.0)) * 2U); };
    return {even(height * std::min(shape, kWidest)), even(height), 1, 1};
}

}  // namespace

Sources::Sources(FileAccess const& files, bool playlists)
    : access(files), allowPlaylists(playlists), thumbnails(kMostThumbnailBytes) {}

Edit::Json Sources::Probe(std::string const& file) {
    std::string const path = access.ToRead(file).string();
    Media::InputRules const rules{allowPlaylists, &isStopped};
    Edit::Json json{{"file", file}};
    std::optional<Media::MediaInfo> info;
    std::optional<Media::SoundInfo> sound;
    try {
        info = Media::Probe(path, rules);
    } catch (Media::SystemError const&) {
        throw;
    } catch (Media::MediaError const&) {
        sound = Media::ProbeSound(path, rules);  // or it is neither, and this says so
    }
    json["picture"] = info.has_value();
    json["seconds"] = InSeconds(info ? info->duration : sound->duration);
    json["still"] = info && info->isStill;
    json["width"] = info ? Edit::Json(info->frame.width) : Edit::Json(nullptr);
    json["height"] = info ? Edit::Json(info->frame.height) : Edit::Json(nullptr);
    json["rate"] = info && info->frameRate.num > 0 ? Edit::Json{info->frameRate.num, info->frameRate.den}
                                                   : Edit::Json(nullptr);
    json["sound"] = info ? info->sound.has_value() : true;
    json["alpha"] = info && info->hasAlpha;
    return json;
}

Bytes Sources::MakeThumbnail(std::string const& file, double seconds, std::uint32_t height) {
    std::string const path = access.ToRead(file).string();
    auto const time = Media::Microseconds(std::llround(seconds * 1e6));
    std::pair const key(KeyOf(path), std::pair(static_cast<std::int64_t>(time.count()), height));
    std::lock_guard const lock(mutex);
    if (Bytes bytes = thumbnails.Find(key)) {
        return bytes;
    }
    Media::InputRules const rules{allowPlaylists, &isStopped};
    Media::MediaInfo const info = Media::Probe(path, rules);
    Media::VideoTarget const target{SizeOf(info.frame, height), {25, 1}, {}, PixFmt::Rgb24};
    // The last picture begins before the end.
    Media::Microseconds const last = std::max(Media::Microseconds(0), info.duration - std::chrono::milliseconds(100));
    Media::VideoReader reader(path, target, info.isStill ? Media::Microseconds(0) : std::min(time, last), {}, rules);
    auto const bytes = std::make_shared<std::vector<std::uint8_t> const>(
        Media::EncodeJpeg(*Proc::DataVideoFF::Wrap(reader.Read())));
    thumbnails.Add(key, bytes);
    return bytes;
}

std::shared_ptr<Sources::Wave const> Sources::FindWave(std::string const& path) {
    std::string const key = KeyOf(path);
    auto const found = std::find_if(waves.begin(), waves.end(), [&](auto const& wave) { return wave->key == key; });
    if (found != waves.end()) {
        waves.splice(waves.begin(), waves, found);
        return waves.front();
    }
    Media::InputRules const rules{allowPlaylists, &isStopped};
    Media::SoundInfo const info = Media::ProbeSound(path, rules);
    auto wave = std::make_shared<Wave>();
    wave->key = key;
    wave->seconds = InSeconds(info.duration);
    Media::SoundFormat const format{info.format.sampleRate, std::min(info.format.channels, 2)};
    Media::AudioReader reader(path, format, Media::Microseconds(0), {}, rules);
    auto const count = static_cast<std::size_t>(std::ceil(std::min(wave->seconds, kLongestSeconds) * kPeaksInSecond));
    wave->peaks.reserve(count);
    std::vector<std::vector<float>> planes(static_cast<std::size_t>(format.channels));
    std::vector<float*> pointers;
    auto const longest = static_cast<std::size_t>(format.sampleRate / kPeaksInSecond + 1);
    for (std::vector<float>& plane : planes) {
        plane.resize(longest);
        pointers.push_back(plane.data());
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (isStopped) {
            Core::Throw(Media::Cancelled());
        }
        auto const sampleAt = [&format](std::size_t peak) {
            return peak * static_cast<std::size_t>(format.sampleRate) / kPeaksInSecond;
        };
        std::size_t const samples = sampleAt(i + 1) - sampleAt(i);
        reader.Read(pointers.data(), samples);
        Peak& peak = wave->peaks.emplace_back();
        for (std::vector<float> const& plane : planes) {
            for (std::size_t k = 0; k < samples; ++k) {
                peak.least = std::min(peak.least, plane[k]);
                peak.most = std::max(peak.most, plane[k]);
            }
        }
    }
    waves.push_front(wave);
    if (waves.size() > kMostWaves) {
        waves.pop_back();
    }
    return wave;
}

Edit::Json Sources::MakeWaveform(std::string const& file, std::size_t points, double from, double to) {
    std::string const path = access.ToRead(file).string();
    std::shared_ptr<Wave const> wave;
    {
        std::lock_guard const lock(waveMutex);
        wave = FindWave(path);
    }
    double const end = to < 0.0 ? wave->seconds : std::min(to, wave->seconds);
    double const begin = std::clamp(from, 0.0, end);
    Edit::Json peaks = Edit::Json::array();
    for (std::size_t i = 0; i < points && end > begin; ++i) {
        auto const at = [&](std::size_t point) {
            double const seconds = begin + (end - begin) * static_cast<double>(point) / static_cast<double>(points);
            return std::min(wave->peaks.size(), static_cast<std::size_t>(seconds * kPeaksInSecond));
        };
        Peak sum;
        for (std::size_t k = at(i); k < std::max(at(i) + 1, at(i + 1)) && k < wave->peaks.size(); ++k) {
            sum.least = std::min(sum.least, wave->peaks[k].least);
            sum.most = std::max(sum.most, wave->peaks[k].most);
        }
        auto const rounded = [](float value) { return std::round(std::clamp(value, -1.0F, 1.0F) * 1e3) / 1e3; };
        peaks.push_back({rounded(sum.least), rounded(sum.most)});
    }
    return {{"seconds", wave->seconds}, {"from", begin}, {"to", end}, {"peaks", peaks}};
}

}  // namespace Kaltor::Studio

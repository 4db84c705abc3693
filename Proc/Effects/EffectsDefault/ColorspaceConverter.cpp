#include "Proc/Effects/EffectsDefault/ColorspaceConverter.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Interfaces/Statistics.h"
#include "Proc/Data/DataVideoFF.h"
#include "Proc/Effects/EffectsDefault/YuvToRgb.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Settings/SettingsServices.h"

extern "C" {
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace Kaltor::Proc {
namespace {

using boost::intrusive_ptr;

struct SwsDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

/// What a scaler is made for.
struct Conversion {
    AVPixelFormat source;
    AVPixelFormat target;
    int width;
    int height;
    ColorSpec sourceSpec;  ///< resolved
    ColorSpec targetSpec;

    bool operator==(Conversion const&) const = default;
};

int const* Coefficients(ColorMatrix matrix) {
    switch (matrix) {
        case ColorMatrix::Bt709:
            return sws_getCoefficients(SWS_CS_ITU709);
        case ColorMatrix::Bt2020:
            return sws_getCoefficients(SWS_CS_BT2020);
        default:
            return sws_getCoefficients(SWS_CS_ITU601);
    }
}

/// libswscale's context for one conversion, kept from frame to frame.
class Scaler {
public:
    void Convert(Conversion const& wanted, AVFrame const& source, AVFrame& target) {
        if (!context || !(wanted == made)) {
            Make(wanted);
        }
        if (sws_scale(context.get(), source.data, source.linesize, 0, source.height, target.data, target.linesize) <=
            0) {
            Core::Throw(std::runtime_error("libswscale failed to convert a frame"));
        }
    }

    void Reset() { context.reset(); }

private:
    void Make(Conversion const& wanted) {
        context.reset(sws_alloc_context());
        if (!context) {
            throw std::bad_alloc();
        }
        bool const isFromFull = wanted.sourceSpec.range == ColorRange::Full;
        bool const isToFull = wanted.targetSpec.range == ColorRange::Full;
        auto const set = [this](char const* option, std::int64_t value) {
            av_opt_set_int(context.get(), option, value, 0);
        };
        set("srcw", wanted.width);
        set("srch", wanted.height);
        set("dstw", wanted.width);
        set("dsth", wanted.height);
        set("src_format", wanted.source);
        set("dst_format", wanted.target);
        set("src_range", isFromFull ? 1 : 0);
        set("dst_range", isToFull ? 1 : 0);
        set("sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND);
        bool const isReady = sws_init_context(context.get(), nullptr, nullptr) >= 0 &&
                             sws_setColorspaceDetails(context.get(), Coefficients(wanted.sourceSpec.matrix),
                                                      isFromFull ? 1 : 0, Coefficients(wanted.targetSpec.matrix),
                                                      isToFull ? 1 : 0, 0, 1 << 16, 1 << 16) >= 0;
        if (!isReady) {
            context.reset();
            Core::Throw(std::runtime_error(fmt::format("libswscale cannot convert {} to {} at {}x{}",
                                                       PixFmtDescription::Find(FromAvPixelFormat(wanted.source)).name,
                                                       PixFmtDescription::Find(FromAvPixelFormat(wanted.target)).name,
                                                       wanted.width, wanted.height)));
        }
        made = wanted;
    }

    std::unique_ptr<SwsContext, SwsDeleter> context;
    Conversion made{};
};

class ColorspaceConverter final : public RefCountImpl<IOneInputEffectVideo> {
public:
    Core::Property GetSettings() const override { return Core::Property(SettingsColorspaceConverter::CLASS_ID); }
    void SetSettings(Core::Property const&) override {
        ThrowFilterException("Method not implemented", Core::SourceLocation::Current());
    }
    void SetSettings(Settings const& value) override {
        settings = dynamic_cast<SettingsColorspaceConverter const&>(value);
    }
    Settings const* GetSettingsBase() const override { return &settings; }
    void Reset() override {
        scaler.Reset();
        toRgb.reset();
    }
    Core::Property GetStatistic() const override { return Core::MakeStatistics("GetStatistic", 0, processedFrames); }
    TimeToProgress& GetProgress() override { return progress; }
    TimeToProgress const& GetProgress() const override { return progress; }
    void SetProgress(TimeToProgress const& value) override { progress = value; }

    void UpdateFormatCodec(intrusive_ptr<Conf::IFormatCodecVideo>& codec) override {
        codec->SetPixFmt(Choose(codec->GetPixFmt()));
    }

    void Process(intrusive_ptr<IDataVideo>& data) override {
        auto const* const source = dynamic_cast<DataVideoFF const*>(data.get());
        if (source == nullptr) {
            return;
        }
        PixFmt const format = Choose(source->GetPixFmt());
        if (format == source->GetPixFmt()) {
            return;
        }
        data = Convert(*source, format);
        ++processedFrames;
    }

private:
    /// The format that a picture of `source` is brought to; itself where it is accepted.
    PixFmt Choose(PixFmt source) const {
        std::vector<PixFmt> const& accepted = settings.GetFormats();
        if (accepted.empty() || std::find(accepted.begin(), accepted.end(), source) != accepted.end()) {
            return source;
        }
        if (settings.GetKeepAlpha()) {
            bool const hasAlpha = PixFmtDescription::Find(source).HasAlpha();
            auto const alike = std::find_if(accepted.begin(), accepted.end(), [hasAlpha](PixFmt format) {
                return PixFmtDescription::Find(format).HasAlpha() == hasAlpha;
            });
            if (alike != accepted.end()) {
                return *alike;
            }
        }
        return accepted.front();
    }

    intrusive_ptr<DataVideoFF> Convert(DataVideoFF const& source, PixFmt format) {
        Conf::FrameInfo const& info = source.GetFrameInfo();
        bool const isFromYuv = PixFmtDescription::Find(source.GetPixFmt()).IsYuv();
        bool const isToYuv = PixFmtDescription::Find(format).IsYuv();
        ColorSpec const tags = source.GetColorSpec();
        ColorSpec const spec = tags.Resolved(info.height);
        ColorSpec const ofRgb{spec.matrix, ColorRange::Full};

        intrusive_ptr<DataVideoFF> const target = DataVideoFF::Create(format, info);
        if (isFromYuv && !isToYuv) {
            if (!toRgb || !toRgb->IsFor(source.GetPixFmt(), format, spec)) {
                toRgb.emplace(source.GetPixFmt(), format, spec);
            }
            toRgb->Convert(source.GetFrame(), target->GetWritableFrame());
        } else {
            scaler.Convert({ToAvPixelFormat(source.GetPixFmt()), ToAvPixelFormat(format), static_cast<int>(info.width),
                            static_cast<int>(info.height), isFromYuv ? spec : ofRgb, isToYuv ? spec : ofRgb},
                           source.GetFrame(), target->GetWritableFrame());
        }
        // Between RGB and YUV the matrix that was used is told, so that nobody guesses another one for the way back.
        target->SetColorSpec(isFromYuv == isToYuv ? tags : spec);
        target->SetTimestamp(source.GetTimestamp());
        target->SetDuration(source.GetDuration());
        return target;
    }

    SettingsColorspaceConverter settings;
    TimeToProgress progress;
    Scaler scaler;
    std::optional<YuvToRgbConverter> toRgb;
    std::uint64_t processedFrames = 0;
};

}  // namespace

intrusive_ptr<IOneInputEffectVideo> CreateColorspaceConverter(intrusive_ptr<IEffectFactory const> const&) {
    return {new ColorspaceConverter};
}

void RegisterDefaultEffects(IEffectRegistry& registry) {
    registry.RegisterOneInputEffect(SettingsColorspaceConverter::CLASS_ID, ImplNames::DEFAULT,
                                    &CreateColorspaceConverter);
}

}  // namespace Kaltor::Proc

#include "Conf/IFormatCodecVideo.h"

namespace Kaltor::Conf {
namespace {

class FormatCodecVideo final : public RefCountImpl<IFormatCodecVideo> {
public:
    FormatCodecVideo(PixFmt format, FrameInfo const& info) : pixFmt(format), frameInfo(info) {}

    PixFmt GetPixFmt() const override { return pixFmt; }
    void SetPixFmt(PixFmt format) override { pixFmt = format; }
    FrameInfo GetFrameInfo() const override { return frameInfo; }
    void InitByPixelAspect(std::uint32_t width, std::uint32_t height, std::uint32_t aspectX,
                           std::uint32_t aspectY) override {
        frameInfo = {width, height, aspectX, aspectY};
    }

private:
    PixFmt pixFmt;
    FrameInfo frameInfo;
};

}  // namespace

boost::intrusive_ptr<IFormatCodecVideo> MakeFormatCodecVideo(PixFmt format, FrameInfo const& info) {
    return {new FormatCodecVideo(format, info)};
}

}  // namespace Kaltor::Conf

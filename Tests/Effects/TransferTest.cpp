// The uploader and the downloader as effects: which frames pass, what is counted, what is refused. (The frame tests
// compare the pictures themselves.)

#include "Ogl/DataVideoOGL.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Ogl::ShaderStorage;
using Proc::DataVideoFF;
using Proc::IDataVideo;

class TransferTest : public GlTest {
protected:
    intrusive_ptr<Proc::IOneInputEffectVideo> const uploader = MakeEffect(Proc::SettingsFrameUploader());
    intrusive_ptr<Proc::IOneInputEffectVideo> const downloader = MakeEffect(Proc::SettingsFrameDownloader());

    static std::uint64_t Count(intrusive_ptr<Proc::IOneInputEffectVideo> const& effect) {
        EXPECT_EQ(effect->GetStatistic().GetChild("Time").Get<std::int64_t>(), 0);
        return effect->GetStatistic().GetChild("Count").Get<std::uint64_t>();
    }
    void SetMode(int mode) const {
        Proc::SettingsFrameDownloader settings;
        settings.downloadMode = Proc::SettingsFrameDownloader::Mode{mode};
        downloader->SetSettings(settings);
    }
};

TEST_F(TransferTest, WhatIsThereAlreadyPasses) {
    intrusive_ptr<IDataVideo> const gpu = DataVideoOGL::Create(PixFmt::Rgb24, {4, 4, 1, 1});
    intrusive_ptr<IDataVideo> data = gpu;
    uploader->Process(data);
    EXPECT_EQ(data, gpu);
    intrusive_ptr<IDataVideo> const cpu = DataVideoFF::Create(PixFmt::Yuv420p, {4, 4, 1, 1});
    data = cpu;
    downloader->Process(data);
    EXPECT_EQ(data, cpu);
    data.reset();
    downloader->Process(data);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(Count(uploader) + Count(downloader), 0U);
}

TEST_F(TransferTest, AnUploadWaitsForNobody) {
    std::barrier gate(2);
    Ogl::OglManager::GetInstance().DoBackgroundTask(
        LambdaTask::Make([&gate](ShaderStorage const&) { gate.arrive_and_wait(); }));
    // The GL thread stands still, yet this returns.
    intrusive_ptr<DataVideoFF> const source = DataVideoFF::Create(PixFmt::Bgra, {4, 4, 1, 1});
    intrusive_ptr<IDataVideo> data = source;
    uploader->Process(data);
    EXPECT_EQ(dynamic_cast<DataVideoOGL&>(*data).GetPendingTaskCount(), 1U);
    EXPECT_EQ(source->GetRefCount(), 2) << "the task keeps the frame in main memory";
    gate.arrive_and_wait();
    intrusive_ptr<DataVideoOGL> const other = DataVideoOGL::Create(PixFmt::Rgba, {4, 4, 1, 1});
    other->ConcatenateTasks(boost::dynamic_pointer_cast<DataVideoOGL>(data));
    dynamic_cast<DataVideoOGL&>(*data).Execute();
    EXPECT_EQ(source->GetRefCount(), 1) << "and lets go of it, also where another frame keeps the task";
}

TEST_F(TransferTest, TheModeDecidesTheFormatInMainMemory) {
    struct Case {
        int mode;
        PixFmt gpu;
        PixFmt cpu;
    };
    for (Case const& c : {Case{0, PixFmt::Rgb24, PixFmt::Rgb24}, Case{0, PixFmt::Rgba, PixFmt::Rgba},
                          Case{1, PixFmt::Rgb24, PixFmt::Yuv420p}, Case{1, PixFmt::Rgba, PixFmt::Yuv420p},
                          Case{2, PixFmt::Rgba, PixFmt::Rgba}, Case{-1, PixFmt::Rgb24, PixFmt::Rgb24}}) {
        SetMode(c.mode);
        intrusive_ptr<IDataVideo> data = DataVideoOGL::Create(c.gpu, {6, 4, 1, 1});
        downloader->Process(data);
        EXPECT_EQ(data->GetPixFmt(), c.cpu) << "mode " << c.mode;
        EXPECT_EQ(static_cast<int>(data->GetPixFmt()) == 0, c.mode == 1);
        intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(c.gpu, {6, 4, 1, 1});
        downloader->UpdateFormatCodec(codec);
        EXPECT_EQ(codec->GetPixFmt(), c.cpu);
    }
    intrusive_ptr<Conf::IFormatCodecVideo> codec = Conf::MakeFormatCodecVideo(PixFmt::Nv12, {6, 4, 1, 1});
    uploader->UpdateFormatCodec(codec);
    EXPECT_EQ(codec->GetPixFmt(), PixFmt::Nv12);
}

TEST_F(TransferTest, AFailureOfWhatIsPendingComesOut) {
    intrusive_ptr<IDataVideo> data = DataVideoOGL::Create(PixFmt::Rgb24, {6, 4, 1, 1});
    dynamic_cast<DataVideoOGL&>(*data).AttachTask(
        LambdaTask::Make([](ShaderStorage const&) { Core::Throw(std::range_error("not drawn")); }));
    intrusive_ptr<IDataVideo> const before = data;
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(Catch<std::range_error>([&] { downloader->Process(data); }).what, "not drawn") << attempt;
        EXPECT_EQ(data, before);
    }
    // The same error comes from frames that are made from this one.
    MakeEffect(*Typed("EffectInvert"))->Process(data);
    EXPECT_THROW(downloader->Process(data), std::range_error);

    // A size that no GL has: reported when the frame is used, not when it is requested. A failed download must not look
    // like a picture in main memory.
    intrusive_ptr<IDataVideo> const wide = DataVideoOGL::Create(PixFmt::Rgb24, {1000000, 1, 1, 1});
    data = wide;
    EXPECT_THROW(downloader->Process(data), std::runtime_error);
    EXPECT_EQ(data, wide);
    EXPECT_EQ(Count(downloader), 0U) << "only what arrived counts";
}

TEST_F(TransferTest, SettingsMustBeTheirOwn) {
    EXPECT_NO_THROW(uploader->SetSettings(Proc::SettingsFrameUploader()));
    EXPECT_THROW(uploader->SetSettings(Proc::SettingsFrameDownloader()), std::bad_cast);
    SetMode(1);
    EXPECT_THROW(downloader->SetSettings(Proc::SettingsFrameUploader()), std::bad_cast);
    intrusive_ptr<IDataVideo> data = DataVideoOGL::Create(PixFmt::Rgb24, {6, 4, 1, 1});
    downloader->Process(data);
    EXPECT_EQ(data->GetPixFmt(), PixFmt::Yuv420p) << "the refused settings changed nothing";

    EXPECT_EQ(uploader->GetSettings(), Core::Property(Proc::SettingsFrameUploader::CLASS_ID));
    EXPECT_NO_THROW(uploader->SetSettings(Core::Property(Proc::SettingsFrameUploader::CLASS_ID)));
    Caught const caught = Catch<std::invalid_argument>([&] { uploader->SetSettings(Core::Property("SomethingElse")); });
    EXPECT_EQ(caught.what, "Effect was initialized with incorrect class (SomethingElse)!");
    EXPECT_EQ(caught.file, "Proc/Effects/EffectsOgl/FrameUploader");
    EXPECT_EQ(caught.line, 66);
    EXPECT_GT(caught.stackDepth, 0U);

    Caught const get = Catch<Proc::FilterException>([&] { static_cast<void>(downloader->GetSettings()); });
    Caught const set = Catch<Proc::FilterException>([&] { downloader->SetSettings(Core::Property("Any")); });
    for (Caught const* const one : {&get, &set}) {
        EXPECT_EQ(one->description, "Method not implemented");
        EXPECT_EQ(one->file, "Proc/Effects/EffectsOgl/FrameDownloader");
        EXPECT_GT(one->stackDepth, 0U);
    }
    EXPECT_EQ(get.line, 51);
    EXPECT_EQ(set.line, 52);
    EXPECT_NO_THROW(uploader->Reset());
    EXPECT_NO_THROW(downloader->Reset());
}

}  // namespace
}  // namespace Kaltor::Tests

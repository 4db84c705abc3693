// Tasks, chains of them and threads.

#include <atomic>
#include <barrier>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "Ogl/DataVideoOGL.h"
#include "Ogl/OglManager.h"
#include "Tests/Support/Caught.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using boost::intrusive_ptr;
using Ogl::DataVideoOGL;
using Ogl::IOglTask;
using Ogl::OglManager;
using Ogl::ShaderStorage;
using testing::ElementsAre;

class Wrong : public std::runtime_error {
public:
    explicit Wrong(int number) : std::runtime_error("wrong " + std::to_string(number)), code(number) {}
    int code;
};

intrusive_ptr<DataVideoOGL> MakeFrame(unsigned width = 8, unsigned height = 4, PixFmt format = PixFmt::Rgba) {
    return DataVideoOGL::Create(format, {width, height, 1, 1});
}

/// A task that notes its number.
intrusive_ptr<IOglTask> Note(std::vector<int>& notes, int number) {
    return LambdaTask::Make([&notes, number](ShaderStorage const&) { notes.push_back(number); });
}

intrusive_ptr<IOglTask> Fail(int number) {
    return LambdaTask::Make([number](ShaderStorage const&) { Core::Throw(Wrong(number)); });
}

TEST(Tasks, RunInTheOrderOfTheirSubmission) {
    constexpr int kTasks = 300;
    std::vector<int> notes;
    std::vector<std::thread::id> threads;
    for (int i = 0; i < kTasks; ++i) {
        OglManager::GetInstance().DoBackgroundTask(LambdaTask::Make([&, i](ShaderStorage const&) {
            notes.push_back(i);
            threads.push_back(std::this_thread::get_id());
        }));
    }
    OnGl([](ShaderStorage const&) { EXPECT_TRUE(OglManager::GetInstance().IsOpenGLThread()); });
    EXPECT_FALSE(OglManager::GetInstance().IsOpenGLThread());
    std::vector<int> expected(kTasks);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(notes, expected);
    EXPECT_THAT(threads, testing::Each(threads.front()));
}

TEST(Tasks, HandTheirExceptionToWhoeverWaits) {
    intrusive_ptr<IOglTask> const task = Fail(7);
    OglManager::GetInstance().DoBackgroundTask(task);
    Caught const caught = Catch<Wrong>([&] { task->WaitForComplete(); });
    EXPECT_EQ(caught.what, "wrong 7");
    EXPECT_GT(caught.stackDepth, 0U);
    EXPECT_EQ(caught.file, "Tests/Ogl/TaskTest.cpp");
    OnGl([](ShaderStorage const&) {});  // the GL thread has let go of it then
    EXPECT_EQ(task->GetRefCount(), 1);

    // What is no std::exception passes too, and the manager lives on.
    EXPECT_THROW(OnGl([](ShaderStorage const&) { throw 5; }), int);
    bool hasRun = false;
    OnGl([&hasRun](ShaderStorage const&) { hasRun = true; });
    EXPECT_TRUE(hasRun);
}

TEST(Tasks, WaitingOnTheGlThreadIsRefusedNotEndless) {
    OnGl([](ShaderStorage const&) {
        intrusive_ptr<IOglTask> const task = LambdaTask::Make([](ShaderStorage const&) {});
        EXPECT_THROW(task->WaitForComplete(), std::logic_error);
        bool hasRun = false;
        EXPECT_THROW(OglManager::GetInstance().Invoke([&hasRun](ShaderStorage const&) { hasRun = true; }),
                     std::logic_error);
        EXPECT_FALSE(hasRun);
    });
    // Nothing of it runs later, when the frame above is gone.
    OnGl([](ShaderStorage const&) {});

    intrusive_ptr<DataVideoOGL> const frame = MakeFrame();
    std::vector<int> notes;
    frame->AttachTask(Note(notes, 1));
    OnGl([&](ShaderStorage const&) { EXPECT_THROW(frame->Execute(), std::logic_error); });
    frame->Execute();
    EXPECT_THAT(notes, ElementsAre(1));
}

TEST(Chains, RunInputsFirstInOrder) {
    std::vector<int> notes;
    intrusive_ptr<DataVideoOGL> const first = MakeFrame();
    intrusive_ptr<DataVideoOGL> const second = MakeFrame();
    intrusive_ptr<DataVideoOGL> const output = MakeFrame();
    output->AttachTask(Note(notes, 5));
    first->AttachTask(Note(notes, 1));
    first->AttachTask(Note(notes, 2));
    second->AttachTask(Note(notes, 3));
    second->AttachTask(Note(notes, 4));
    output->ConcatenateTasks(first);
    output->ConcatenateTasks(second);
    output->ConcatenateTasks(nullptr);
    output->AttachTask(Note(notes, 6));
    EXPECT_EQ(output->GetPendingTaskCount(), 6U);
    output->Execute();
    EXPECT_THAT(notes, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(output->GetPendingTaskCount(), 0U);
    output->Execute();
    EXPECT_EQ(notes.size(), 6U);
}

TEST(Chains, ATaskOfTwoFramesRunsOnce) {
    std::vector<int> notes;
    intrusive_ptr<DataVideoOGL> source = MakeFrame();
    source->AttachTask(Note(notes, 0));
    intrusive_ptr<DataVideoOGL> const left = MakeFrame();
    intrusive_ptr<DataVideoOGL> const right = MakeFrame();
    left->ConcatenateTasks(source);
    left->AttachTask(Note(notes, 1));
    right->ConcatenateTasks(source);
    right->AttachTask(Note(notes, 2));
    right->Execute();
    source->Execute();
    left->Execute();
    EXPECT_THAT(notes, ElementsAre(0, 2, 1));
}

TEST(Chains, AFailureReachesTheWaitingFrameOnceAndDropsTheRest) {
    std::vector<int> notes;
    intrusive_ptr<DataVideoOGL> const frame = MakeFrame();
    frame->AttachTask(Note(notes, 1));
    frame->AttachTask(Fail(2));
    intrusive_ptr<IOglTask> dropped = Note(notes, 3);
    frame->AttachTask(dropped);
    Caught const caught = Catch<Wrong>([&] { frame->Execute(); });
    EXPECT_EQ(caught.what, "wrong 2");
    EXPECT_THAT(notes, ElementsAre(1));
    EXPECT_EQ(frame->GetPendingTaskCount(), 0U);
    // The chain may still be on its way out of the GL thread.
    OnGl([](ShaderStorage const&) {});
    EXPECT_EQ(dropped->GetRefCount(), 1);
    EXPECT_NO_THROW(frame->Execute());
    frame->AttachTask(Note(notes, 4));
    EXPECT_NO_THROW(frame->Execute());
    EXPECT_THAT(notes, ElementsAre(1, 4));
}

TEST(Chains, AFailingTaskOfTwoFramesReachesBoth) {
    intrusive_ptr<DataVideoOGL> const source = MakeFrame();
    source->AttachTask(Fail(1));
    intrusive_ptr<DataVideoOGL> const left = MakeFrame();
    intrusive_ptr<DataVideoOGL> const right = MakeFrame();
    left->ConcatenateTasks(source);
    right->ConcatenateTasks(source);
    EXPECT_THROW(left->Execute(), Wrong);
    EXPECT_THROW(right->Execute(), Wrong);
}

TEST(Chains, TwoThreadsMayExecuteAtOnce) {
    constexpr int kRounds = 200;
    for (int round = 0; round < kRounds; ++round) {
        std::atomic<int> shared = 0;
        std::atomic<int> own = 0;
        intrusive_ptr<DataVideoOGL> const source = MakeFrame();
        source->AttachTask(LambdaTask::Make([&shared](ShaderStorage const&) { ++shared; }));
        std::array<intrusive_ptr<DataVideoOGL>, 2> outputs{MakeFrame(), MakeFrame()};
        std::barrier start(3);
        {
            std::vector<std::jthread> threads;
            for (intrusive_ptr<DataVideoOGL> const& output : outputs) {
                threads.emplace_back([&, output] {
                    start.arrive_and_wait();
                    output->ConcatenateTasks(source);
                    output->AttachTask(LambdaTask::Make([&](ShaderStorage const&) {
                        EXPECT_EQ(shared, 1) << "drawn from an input that was not drawn yet";
                        ++own;
                    }));
                    output->Execute();
                });
            }
            threads.emplace_back([&] {
                start.arrive_and_wait();
                source->Execute();
            });
        }
        ASSERT_EQ(shared, 1);
        ASSERT_EQ(own, 2);
    }
}

TEST(Chains, TwoThreadsMayExecuteOneFrame) {
    constexpr int kRounds = 100;
    for (int round = 0; round < kRounds; ++round) {
        std::atomic<int> runs = 0;
        intrusive_ptr<DataVideoOGL> const frame = MakeFrame();
        for (int i = 0; i < 3; ++i) {
            frame->AttachTask(LambdaTask::Make([&runs](ShaderStorage const&) { ++runs; }));
        }
        {
            std::jthread const other([&] { frame->Execute(); });
            frame->Execute();
        }
        OnGl([](ShaderStorage const&) {});
        ASSERT_EQ(runs, 3);
    }
}

TEST(Chains, AFrameMayGoWithItsTasksUnrun) {
    auto const tracked = std::make_shared<int>(0);
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    for (int i = 0; i < 10; ++i) {
        intrusive_ptr<DataVideoOGL> const source = MakeFrame();
        intrusive_ptr<DataVideoOGL> const output = MakeFrame();
        source->AttachTask(LambdaTask::Make([tracked](ShaderStorage const&) { ++*tracked; }));
        output->ConcatenateTasks(source);
        output->AttachTask(LambdaTask::Make([tracked, source](ShaderStorage const&) { ++*tracked; }));
    }
    EXPECT_EQ(tracked.use_count(), 1);
    EXPECT_EQ(*tracked, 0);
    EXPECT_EQ(CountObjectsInUse(), before);
}

TEST(Chains, AFrameMayGoWhileItsChainIsQueued) {
    auto const tracked = std::make_shared<std::atomic<int>>(0);
    std::barrier gate(2);
    // The GL thread is held while frames are executed, and dropped, elsewhere.
    OglManager::GetInstance().DoBackgroundTask(
        LambdaTask::Make([&gate](ShaderStorage const&) { gate.arrive_and_wait(); }));
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([tracked] {
            intrusive_ptr<DataVideoOGL> frame = MakeFrame();
            frame->AttachTask(LambdaTask::Make([tracked, raw = frame.get()](ShaderStorage const&) {
                raw->FrameData();
                ++*tracked;
            }));
            frame->Execute();
        });
    }
    gate.arrive_and_wait();
    threads.clear();
    EXPECT_EQ(*tracked, 4);
}

TEST(Frames, OfSeveralThreadsKeepTheirPictures) {
    constexpr unsigned kThreads = 4;
    constexpr unsigned kFrames = 25;
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (unsigned i = 0; i < kFrames; ++i) {
                unsigned const number = thread * kFrames + i;
                intrusive_ptr<DataVideoOGL> const source = MakeFrame(16, 8, PixFmt::Rgb24);
                intrusive_ptr<DataVideoOGL> const output = MakeFrame(16, 8);
                source->AttachTask(LambdaTask::Make([number, raw = source.get()](ShaderStorage const& storage) {
                    storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                    glClearColor(static_cast<float>(number) / 255.0F, 0.5F, 1.0F, 1.0F);
                    glClear(GL_COLOR_BUFFER_BIT);
                }));
                output->ConcatenateTasks(source);
                output->AttachTask(LambdaTask::Make([source, raw = output.get()](ShaderStorage const& storage) {
                    storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                    source->FrameData().Draw(storage.Quad(), storage);
                }));
                output->Execute();
                Picture seen;
                OnGl([&](ShaderStorage const& storage) {
                    seen = ReadTexture(output->FrameData().GetFirstTexture(), storage);
                });
                EXPECT_TRUE(
                    IsNear(seen, Picture::Flat(16, 8, {number / 255.0, 128.0 / 255.0, 1, 1}, true), 1.0 / 255.0))
                    << "frame " << number;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(CountObjectsInUse(), before);
}

TEST(Frames, TakeTheColourTagsOfTheirInput) {
    ColorSpec const tags{ColorMatrix::Bt2020, ColorRange::Full};
    intrusive_ptr<DataVideoOGL> const source = MakeFrame();
    source->SetColorSpec(tags);
    intrusive_ptr<DataVideoOGL> const other = MakeFrame();
    other->SetColorSpec({ColorMatrix::Bt601, ColorRange::Limited});
    intrusive_ptr<DataVideoOGL> const output = MakeFrame();
    output->ConcatenateTasks(source);
    output->ConcatenateTasks(other);
    EXPECT_EQ(output->GetColorSpec(), tags);
    OnGl([&](ShaderStorage const&) { EXPECT_EQ(output->FrameData().GetColorSpec(), tags); });
}

}  // namespace
}  // namespace Kaltor::Tests

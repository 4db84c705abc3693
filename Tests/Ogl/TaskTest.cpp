// Tasks, chains of them and threads.

#include "Ogl/DataVideoOGL.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Ogl::IOglTask;
using Ogl::OglManager;
using Ogl::ShaderStorage;

class Wrong : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using FramePtr = intrusive_ptr<DataVideoOGL>;
using Tasks = std::vector<intrusive_ptr<IOglTask>>;

/// A frame with tasks of its own that is drawn from others.
FramePtr Make(std::vector<FramePtr> const& inputs, Tasks const& tasks) {
    FramePtr frame = DataVideoOGL::Create(PixFmt::Rgba, {16, 8, 1, 1});
    for (FramePtr const& input : inputs) {
        frame->ConcatenateTasks(input);
    }
    for (intrusive_ptr<IOglTask> const& task : tasks) {
        frame->AttachTask(task);
    }
    return frame;
}

/// A task that notes its number.
intrusive_ptr<IOglTask> Note(std::vector<int>& notes, int number) {
    return LambdaTask::Make([&notes, number](ShaderStorage const&) { notes.push_back(number); });
}

intrusive_ptr<IOglTask> Count(std::atomic<int>& runs) {
    return LambdaTask::Make([&runs](ShaderStorage const&) { ++runs; });
}

intrusive_ptr<IOglTask> Fail(char const* what) {
    return LambdaTask::Make([what](ShaderStorage const&) { Core::Throw(Wrong(what)); });
}

/// Waits until the GL thread has released the tasks that it ran.
void Settle() {
    OnGl([](ShaderStorage const&) {});
}

TEST(Tasks, RunInTheOrderOfTheirSubmissionOnOneThread) {
    std::vector<int> notes;
    std::vector<int> expected;
    for (int i = 0; i < 300; ++i) {
        expected.push_back(i);
        OglManager::GetInstance().DoBackgroundTask(LambdaTask::Make([&notes, i](ShaderStorage const&) {
            EXPECT_TRUE(OglManager::GetInstance().IsOpenGLThread());
            notes.push_back(i);
        }));
    }
    Settle();
    EXPECT_FALSE(OglManager::GetInstance().IsOpenGLThread());
    EXPECT_EQ(notes, expected);
}

TEST(Tasks, HandTheirExceptionToWhoeverWaits) {
    intrusive_ptr<IOglTask> const task = Fail("wrong");
    OglManager::GetInstance().DoBackgroundTask(task);
    Caught const caught = Catch<Wrong>([&] { task->WaitForComplete(); });
    EXPECT_EQ(caught.what, "wrong");
    EXPECT_GT(caught.stackDepth, 0U);
    EXPECT_EQ(caught.file, "Tests/Ogl/TaskTest.cpp");
    Settle();
    EXPECT_EQ(task->GetRefCount(), 1);

    // Objects that are not a std::exception pass too, and the manager continues.
    EXPECT_THROW(OnGl([](ShaderStorage const&) { throw 5; }), int);
    EXPECT_NO_THROW(Settle());
}

TEST(Tasks, WaitingOnTheGlThreadIsRefusedNotEndless) {
    std::vector<int> notes;
    FramePtr const frame = Make({}, {Note(notes, 1)});
    OnGl([&](ShaderStorage const&) {
        EXPECT_THROW(Note(notes, 2)->WaitForComplete(), std::logic_error);
        EXPECT_THROW(OglManager::GetInstance().Invoke([&](ShaderStorage const&) { notes.push_back(3); }),
                     std::logic_error);
        EXPECT_THROW(frame->Execute(), std::logic_error);
    });
    Settle();
    EXPECT_THAT(notes, ElementsAre()) << "nothing of it runs later";
    frame->Execute();
    EXPECT_THAT(notes, ElementsAre(1));
}

TEST(Chains, RunInputsFirstInOrderAndOnce) {
    std::vector<int> notes;
    FramePtr const source = Make({}, {Note(notes, 0), Note(notes, 1)});
    FramePtr const left = Make({source, nullptr, Make({}, {Note(notes, 2), Note(notes, 3)})}, {Note(notes, 4)});
    FramePtr const late = Make({}, {Note(notes, 6)});
    late->ConcatenateTasks(source);  // in front all the same
    late->ConcatenateTasks(Make({}, {Note(notes, 5)}));
    EXPECT_EQ(late->GetPendingTaskCount(), 4U);
    left->Execute();
    EXPECT_THAT(notes, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(left->GetPendingTaskCount(), 0U);
    source->Execute();
    late->Execute();
    late->Execute();
    EXPECT_THAT(notes, ElementsAre(0, 1, 2, 3, 4, 5, 6));
}

void ExpectFailed(FramePtr const& frame, std::string const& what) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(Catch<Wrong>([&] { frame->Execute(); }).what, what) << "attempt " << attempt;
        EXPECT_EQ(frame->GetPendingTaskCount(), 0U);
    }
    OnGl([&](ShaderStorage const&) { EXPECT_THROW(frame->FrameData(), Wrong) << "there is no picture"; });
}

TEST(Chains, AFailureDropsTheRestAndStaysWithEveryFrameThatNeedsThePicture) {
    std::vector<int> notes;
    intrusive_ptr<IOglTask> const dropped = Note(notes, 2);
    FramePtr const source = Make({}, {Note(notes, 1), Fail("wrong")});
    FramePtr const left = Make({source}, {dropped});
    FramePtr const right = Make({source}, {Note(notes, 3)});
    for (FramePtr const& frame : {left, right, source}) {
        ExpectFailed(frame, "wrong");
    }
    Settle();
    EXPECT_EQ(dropped->GetRefCount(), 1);
    left->AttachTask(Note(notes, 4));
    ExpectFailed(left, "wrong");
    // Frames made from them later fail, too, each time with the first error of the chain.
    FramePtr const late = Make({Make({}, {Note(notes, 5)}), left, Make({}, {Fail("second")})}, {Note(notes, 6)});
    ExpectFailed(Make({Make({}, {Fail("first")}), late}, {}), "first");
    ExpectFailed(late, "wrong");
    ExpectFailed(Make({late}, {}), "wrong");
    EXPECT_THAT(notes, ElementsAre(1, 5));
}

TEST(Chains, AFrameMadeWhileItsInputIsFailingFailsToo) {
    std::vector<int> notes;
    std::barrier gate(2);
    FramePtr const source = Make({}, {LambdaTask::Make([&gate](ShaderStorage const&) {
                                     gate.arrive_and_wait();
                                     gate.arrive_and_wait();
                                     Core::Throw(Wrong("wrong"));
                                 })});
    std::jthread const executing([&] { EXPECT_THROW(source->Execute(), Wrong); });
    gate.arrive_and_wait();
    FramePtr const output = Make({source}, {Note(notes, 1)});
    gate.arrive_and_wait();
    ExpectFailed(output, "wrong");
    EXPECT_THAT(notes, ElementsAre());
}

TEST(Chains, SeveralThreadsMayExecuteAtOnce) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> shared = 0;
        std::atomic<int> own = 0;
        FramePtr const source = Make({}, {Count(shared), Count(shared), Count(shared)});
        std::barrier start(4);
        std::vector<std::jthread> threads;
        for (bool const isOfSource : {true, false, false, true}) {
            threads.emplace_back([&, isOfSource, output = Make({}, {})] {
                start.arrive_and_wait();
                if (isOfSource) {
                    source->Execute();
                    return;
                }
                output->ConcatenateTasks(source);
                output->AttachTask(LambdaTask::Make([&](ShaderStorage const&) {
                    EXPECT_EQ(shared, 3) << "drawn from an input that was not drawn yet";
                    ++own;
                }));
                output->Execute();
            });
        }
        threads.clear();
        Settle();
        ASSERT_EQ(shared, 3);
        ASSERT_EQ(own, 2);
    }
}

TEST(Chains, AFrameMayGoWithItsTasksUnrun) {
    auto const tracked = std::make_shared<int>(0);
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    auto const task = [&] { return LambdaTask::Make([tracked](ShaderStorage const&) { ++*tracked; }); };
    for (int i = 0; i < 10; ++i) {
        FramePtr const source = Make({}, {task()});
        Make({source}, {task(), LambdaTask::Make([tracked, source](ShaderStorage const&) { ++*tracked; })});
    }
    EXPECT_EQ(tracked.use_count(), 1);
    EXPECT_EQ(*tracked, 0);
    EXPECT_EQ(CountObjectsInUse(), before);
}

TEST(Chains, AFrameMayGoWhileItsChainIsQueued) {
    std::atomic<int> runs = 0;
    std::barrier gate(2);
    // The GL thread is held while frames are executed, and dropped, elsewhere.
    OglManager::GetInstance().DoBackgroundTask(
        LambdaTask::Make([&gate](ShaderStorage const&) { gate.arrive_and_wait(); }));
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&runs] {
            FramePtr const frame = Make({}, {});
            frame->AttachTask(LambdaTask::Make([&runs, raw = frame.get()](ShaderStorage const&) {
                raw->FrameData();
                ++runs;
            }));
            frame->Execute();
        });
    }
    gate.arrive_and_wait();
    threads.clear();
    EXPECT_EQ(runs, 4);
}

TEST(DrawnFrames, OfSeveralThreadsKeepTheirPictures) {
    Ogl::GlObjectCounts const before = CountObjectsInUse();
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (unsigned number = thread; number < 100; number += 4) {
                FramePtr const source = Make({}, {});
                source->AttachTask(LambdaTask::Make([number, raw = source.get()](ShaderStorage const& storage) {
                    storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                    glClearColor(static_cast<float>(number) / 255.0F, 0.2F, 1.0F, 1.0F);
                    glClear(GL_COLOR_BUFFER_BIT);
                }));
                FramePtr const output = Make({source}, {});
                output->AttachTask(LambdaTask::Make([source, raw = output.get()](ShaderStorage const& storage) {
                    storage.FBO().Attach(raw->FrameData().GetFirstTexture());
                    source->FrameData().Draw(storage.Quad(), storage);
                }));
                output->Execute();
                OnGl([&](ShaderStorage const& storage) {
                    EXPECT_TRUE(IsNear(ReadTexture(output->FrameData().GetFirstTexture(), storage),
                                       Picture::Flat(16, 8, {number / 255.0, 0.2, 1, 1}, true), kUnfiltered))
                        << "frame " << number;
                });
            }
        });
    }
    threads.clear();
    EXPECT_EQ(CountObjectsInUse(), before);
}

}  // namespace
}  // namespace Kaltor::Tests

// The wrappers around algorithms that only note how they are called: checks, order, progress, caches, ownership.

#include "Proc/Effects/Shared/Algorithms.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Settings/SettingsBlendTransitions.h"
#include "Proc/Settings/SettingsFilterEffects.h"
#include "Proc/Settings/SettingsServices.h"
#include "Tests/Support/GlFixture.h"
#include "Tests/Support/GlTools.h"

namespace Kaltor::Tests {
namespace {

using boost::shared_ptr;
using Ogl::DataVideoOGL;
using Ogl::OglCache;
using Ogl::OglManager;
using Ogl::ShaderStorage;
using Ogl::Src;
using Proc::IData;
using Proc::IDataVideo;
using testing::DoubleEq;

/// How an algorithm was called, and which of its objects are alive. Written on both threads, read when both are idle.
struct Notes {
    std::atomic<int> algorithms = 0;
    std::atomic<int> caches = 0;
    std::atomic<int> cachesMade = 0;
    std::atomic<bool> cacheDiedElsewhere = false;
    std::vector<std::pair<double, double>> moments;  ///< time and progress
    std::vector<OglCache*> cachesLent;
    std::vector<std::vector<DataVideoOGL*>> inputs;
    std::vector<DataVideoOGL*> outputs;
    std::vector<std::pair<PixFmt, unsigned>> wanted;  ///< what outputs were asked for: format and width
    std::function<void()> during;                     ///< called while drawing
    std::function<void()> whileMakingTheCache;
};

class NotingCache final : public OglCache {
public:
    explicit NotingCache(std::shared_ptr<Notes> to) : notes(std::move(to)) { ++notes->caches; }
    ~NotingCache() override {
        --notes->caches;
        if (!OglManager::GetInstance().IsOpenGLThread()) {
            notes->cacheDiedElsewhere = true;
        }
    }

private:
    std::shared_ptr<Notes> notes;
};

OglCache* MakeCache(std::shared_ptr<Notes> const& notes) {
    if (notes->whileMakingTheCache) {
        notes->whileMakingTheCache();
    }
    ++notes->cachesMade;
    return new NotingCache(notes);
}

void NoteDrawing(Notes& notes, DataVideoOGL* dst, std::vector<DataVideoOGL*> inputs, double time, double progress,
                 OglCache* cache) {
    EXPECT_TRUE(OglManager::GetInstance().IsOpenGLThread());
    notes.moments.emplace_back(time, progress);
    notes.inputs.push_back(std::move(inputs));
    notes.outputs.push_back(dst);
    notes.cachesLent.push_back(cache);
    if (notes.during) {
        notes.during();
    }
}

class NotingEffect final : public Ogl::EffectWithSettings<Proc::SettingsEffectBlurGaussian> {
public:
    explicit NotingEffect(std::shared_ptr<Notes> to) : notes(std::move(to)) { ++notes->algorithms; }
    ~NotingEffect() override { --notes->algorithms; }
    void Processing(DataVideoOGL* dst, Src const& src, double time, double progress, ShaderStorage const&,
                    OglCache* cache) const override {
        NoteDrawing(*notes, dst, {src.get()}, time, progress, cache);
    }
    OglCache* CreateCache() const override { return MakeCache(notes); }
    intrusive_ptr<DataVideoOGL> CreateDst(PixFmt format, Conf::FrameInfo const& info) override {
        notes->wanted.emplace_back(format, info.width);
        return IEffectAlgorithm::CreateDst(format, info);
    }

private:
    std::shared_ptr<Notes> notes;
};

class NotingTransition final : public Ogl::TransitionWithSettings<Proc::SettingsTransitionCrossfade> {
public:
    explicit NotingTransition(std::shared_ptr<Notes> to) : notes(std::move(to)) { ++notes->algorithms; }
    ~NotingTransition() override { --notes->algorithms; }
    void Processing(DataVideoOGL* dst, Src const& first, Src const& second, double time, double progress,
                    ShaderStorage const&, OglCache* cache) const override {
        NoteDrawing(*notes, dst, {first.get(), second.get()}, time, progress, cache);
    }
    OglCache* CreateCache() const override { return MakeCache(notes); }

private:
    std::shared_ptr<Notes> notes;
};

/// Notes requests and passes them to another factory, or returns an uploader that uploads nothing.
class NotingFactory final : public RefCountImpl<Proc::IEffectFactory> {
public:
    explicit NotingFactory(intrusive_ptr<Proc::IEffectFactory const> toAsk) : real(std::move(toAsk)) {}
    intrusive_ptr<Proc::IOneInputEffectVideo> CreateOneInputEffect(std::string const& classId,
                                                                   std::string const& implName) const override {
        asked.emplace_back(classId, implName);
        if (isPowerless) {
            Core::Throw(std::invalid_argument("no uploader"));
        }
        return real->CreateOneInputEffect(classId, implName);
    }
    intrusive_ptr<Proc::ITwoInputEffectVideo> CreateTwoInputEffect(std::string const&,
                                                                   std::string const&) const override {
        return nullptr;
    }

    mutable std::vector<std::pair<std::string, std::string>> asked;
    bool isPowerless = false;

private:
    intrusive_ptr<Proc::IEffectFactory const> real;
};

/// An item that is not video.
class NoVideo final : public RefCountImpl<IData> {
public:
    std::int64_t GetDuration() const override { return 0; }
    void SetDuration(std::int64_t) override {}
    std::int64_t GetTimestamp() const override { return 0; }
    void SetTimestamp(std::int64_t) override {}
};

class WrapperTest : public GlTest {
protected:
    std::shared_ptr<Notes> const notes = std::make_shared<Notes>();
    intrusive_ptr<NotingFactory> const factory{new NotingFactory(GetFactory())};

    intrusive_ptr<Proc::IOneInputEffectVideo> Effect() const {
        return Proc::EffectWrapper::Create(factory, new NotingEffect(notes));
    }
    intrusive_ptr<Proc::ITwoInputEffectVideo> Transition() const {
        return Proc::TransitionWrapper::Create(factory, new NotingTransition(notes));
    }
    static intrusive_ptr<IDataVideo> Cpu(unsigned width = 6, PixFmt format = PixFmt::Rgb24, std::int64_t timestamp = 0,
                                         std::int64_t duration = 0) {
        intrusive_ptr<IDataVideo> const data = Proc::DataVideoFF::Create(format, {width, 4, 1, 1});
        data->SetTimestamp(timestamp);
        data->SetDuration(duration);
        return data;
    }
    static intrusive_ptr<IDataVideo> Gpu(unsigned width = 6, PixFmt format = PixFmt::Rgb24,
                                         std::int64_t timestamp = 0) {
        intrusive_ptr<IDataVideo> const data = DataVideoOGL::Create(format, {width, 4, 1, 1});
        data->SetTimestamp(timestamp);
        return data;
    }
    static void Execute(intrusive_ptr<IDataVideo> const& data) {
        dynamic_cast<DataVideoOGL&>(*data).Execute();
        Settle();
    }
    /// Draws one frame.
    static void Draw(Proc::IOneInputEffectVideo& effect, intrusive_ptr<IDataVideo> data = Gpu()) {
        effect.Process(data);
        Execute(data);
    }
    /// Waits until the GL thread has released the tasks that it ran.
    static void Settle() {
        OnGl([](ShaderStorage const&) {});
    }
    void ExpectAllGone() const {
        Settle();
        EXPECT_EQ(notes->algorithms, 0);
        EXPECT_EQ(notes->caches, 0);
        EXPECT_FALSE(notes->cacheDiedElsewhere);
    }
    static std::uint64_t Count(Proc::IEffect const& effect) {
        EXPECT_EQ(effect.GetStatistic().GetChild("Time").Get<std::int64_t>(), 0);
        EXPECT_EQ(effect.GetStatistic().GetChild("Method").Get<std::string>(), "GetStatistic");
        return effect.GetStatistic().GetChild("Count").Get<std::uint64_t>();
    }
};

/// What `action` throws, and from where it says that it comes; the function is compared where it is given.
template <typename Error, typename Action>
void ExpectThrows(Action&& action, std::string const& what, std::string const& file, int line,
                  std::string const& function = "") {
    Caught const caught = Catch<Error>(action);
    EXPECT_EQ(caught.what, what);
    EXPECT_EQ(caught.file, file);
    EXPECT_EQ(caught.line, line);
    EXPECT_GT(caught.stackDepth, 0U);
    if (!function.empty()) {
        EXPECT_EQ(caught.function, function);
    }
}

void ExpectDeprecated(Proc::IEffect& effect, std::string const& name, int getLine, int setLine) {
    std::string const file = "Proc/Effects/EffectsOgl/" + name;
    std::string const operation = "Kaltor::Proc::" + name + "::";
    char const* const what = "/// @todo deprecated method";
    ExpectThrows<std::logic_error>([&] { static_cast<void>(effect.GetSettings()); }, what, file, getLine,
                                   "virtual Kaltor::Core::Property " + operation + "GetSettings() const");
    ExpectThrows<std::logic_error>([&] { effect.SetSettings(Core::Property("Any")); }, what, file, setLine,
                                   "virtual void " + operation + "SetSettings(const Kaltor::Core::Property &)");
}

TEST_F(WrapperTest, PropertyAccessIsGone) {
    ExpectDeprecated(*Effect(), "EffectWrapper", 68, 73);
    ExpectDeprecated(*Transition(), "TransitionWrapper", 72, 77);
}

TEST_F(WrapperTest, AskForOneUploaderEach) {
    intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
    EXPECT_THAT(factory->asked, ElementsAre(Pair(Proc::SettingsFrameUploader::CLASS_ID, Proc::ImplNames::OGL)));
    intrusive_ptr<Proc::ITwoInputEffectVideo> const transition = Transition();
    EXPECT_EQ(factory->asked.size(), 2U);
    EXPECT_EQ(effect->GetRefCount(), 1);
    EXPECT_EQ(effect->GetSettingsBase(), nullptr);
    EXPECT_EQ(notes->cachesMade, 0);

    factory->isPowerless = true;
    EXPECT_THROW(Effect(), std::invalid_argument);
    EXPECT_THROW(Transition(), std::invalid_argument);
    EXPECT_EQ(notes->algorithms, 2) << "the algorithms of the wrappers that were not made are gone";
}

TEST_F(WrapperTest, TakeTheRightNumberOfItems) {
    intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
    intrusive_ptr<Proc::ITwoInputEffectVideo> const transition = Transition();
    intrusive_ptr<IData> const video = Gpu();
    intrusive_ptr<IData> const other(new NoVideo);
    auto const items = [&video](std::size_t count) { return std::vector<intrusive_ptr<IData>>(count, video); };
    for (std::size_t const count : {0U, 1U, 2U, 3U}) {
        if (count != 1) {
            ExpectThrows<std::logic_error>([&] { effect->ProcessData(items(count)); }, "incorrect data count",
                                           "Proc/Interfaces/IOneInputEffect", 21);
        }
        if (count != 2) {
            ExpectThrows<std::logic_error>([&] { transition->ProcessData(items(count)); }, "invalid data count",
                                           "Proc/Interfaces/ITwoInputEffect", 22);
        }
    }
    EXPECT_EQ(effect->ProcessData({other}), other) << "an item that is not video passes";
    EXPECT_EQ(transition->ProcessData({other, video}), other);
    EXPECT_EQ(transition->ProcessData({video, other}), video);
    EXPECT_EQ(Count(*effect) + Count(*transition), 0U);

    intrusive_ptr<IData> const drawn = effect->ProcessData({video});
    EXPECT_NE(drawn, video);
    EXPECT_NE(dynamic_cast<DataVideoOGL*>(drawn.get()), nullptr);
    EXPECT_NE(transition->ProcessData({video, video}), video);
    EXPECT_EQ(Count(*effect), 1U);
    EXPECT_EQ(Count(*transition), 1U);
}

TEST_F(WrapperTest, ATransitionNeedsBothInputsOfOneSize) {
    intrusive_ptr<Proc::ITwoInputEffectVideo> const transition = Transition();
    constexpr char kProcess[] =
        "virtual void Kaltor::Proc::TransitionWrapper::Process(boost::intrusive_ptr<IDataVideo> &, const "
        "boost::intrusive_ptr<const IDataVideo> &)";
    constexpr char kFile[] = "Proc/Effects/EffectsOgl/TransitionWrapper";
    intrusive_ptr<IDataVideo> none;
    transition->Process(none, nullptr);
    EXPECT_EQ(none, nullptr) << "nothing is left alone";
    intrusive_ptr<IDataVideo> const frame = Cpu();
    for (auto const& [given, second] : {std::pair{frame, intrusive_ptr<IDataVideo>()}, {nullptr, frame}}) {
        intrusive_ptr<IDataVideo> first = given;
        ExpectThrows<std::invalid_argument>([&first, &with = second, &transition] { transition->Process(first, with); },
                                            "both data must be present", kFile, 96, kProcess);
        EXPECT_EQ(first, given);
    }
    // The check cannot be avoided through a list.
    EXPECT_THROW(transition->ProcessData({frame, nullptr}), std::invalid_argument);
    EXPECT_THROW(transition->ProcessData({nullptr, frame}), std::invalid_argument);
    EXPECT_EQ(notes->cachesMade, 0);
    for (Conf::FrameInfo const& size : {Conf::FrameInfo{7, 4, 1, 1}, Conf::FrameInfo{6, 5, 1, 1}}) {
        intrusive_ptr<IDataVideo> first = frame;
        intrusive_ptr<IDataVideo> const second = DataVideoOGL::Create(PixFmt::Rgb24, size);
        ExpectThrows<std::logic_error>([&] { transition->Process(first, second); }, "different data size", kFile, 110,
                                       kProcess);
        EXPECT_EQ(first, frame) << "nothing was uploaded";
    }
    EXPECT_EQ(Count(*transition), 0U);
    // Formats and pixel aspects may differ.
    intrusive_ptr<IDataVideo> first = DataVideoOGL::Create(PixFmt::Rgba, {6, 4, 2, 1});
    intrusive_ptr<IDataVideo> const second = Cpu(6, PixFmt::Yuv420p);
    intrusive_ptr<IDataVideo> const kept = second;
    transition->Process(first, second);
    EXPECT_EQ(second, kept) << "the caller keeps its second frame";
    EXPECT_EQ(first->GetFrameInfo(), (Conf::FrameInfo{6, 4, 2, 1}));
    EXPECT_EQ(Count(*transition), 1U);
}

TEST_F(WrapperTest, OutputsAreAskedForByTheFirstInputsFormat) {
    // The caller's format, not that of the uploaded frame.
    Draw(*Effect(), Cpu(6, PixFmt::Yuv420p));
    EXPECT_THAT(notes->wanted, ElementsAre(Pair(PixFmt::Yuv420p, 6U)));
    for (auto const& [input, second] : {std::pair{PixFmt::Bgra, PixFmt::Rgb24}, {PixFmt::Yuv420p, PixFmt::Rgba}}) {
        intrusive_ptr<IDataVideo> first = Cpu(6, input);
        Transition()->Process(first, Cpu(6, second));
        EXPECT_EQ(first->GetPixFmt(), input == PixFmt::Bgra ? PixFmt::Rgba : PixFmt::Rgb24);
    }
}

TEST_F(WrapperTest, AnEffectMapsTheTimestampATransitionItsEnd) {
    intrusive_ptr<IDataVideo> data = Cpu(6, PixFmt::Rgb24, 250000, 40000);
    intrusive_ptr<IDataVideo> first = data;
    Effect()->Process(data);
    EXPECT_EQ(data->GetTimestamp(), 250000);
    EXPECT_EQ(data->GetDuration(), 40000);
    data->SetTimestamp(900000);  // too late: a task has the time of its making
    Execute(data);
    Transition()->Process(first, Cpu(6, PixFmt::Rgb24, 999, 999));
    EXPECT_EQ(first->GetTimestamp(), 250000);
    EXPECT_EQ(first->GetDuration(), 40000);
    first->SetTimestamp(900000);
    Execute(first);
    EXPECT_THAT(notes->moments,
                ElementsAre(Pair(DoubleEq(0.25), DoubleEq(0.25)), Pair(DoubleEq(0.25), DoubleEq(0.29))));
}

TEST_F(WrapperTest, ProgressFollowsTheMappingUnclamped) {
    intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
    auto const run = [&](std::int64_t timestamp) {
        Draw(*effect, Gpu(6, PixFmt::Rgb24, timestamp));
        return notes->moments.back();
    };
    EXPECT_THAT(run(-1000000), Pair(-1.0, -1.0));
    EXPECT_THAT(run(3000000), Pair(3.0, 3.0));
    Proc::TimeToProgress mapping;
    mapping.start = 1000000;
    mapping.stop = 3000000;
    effect->SetProgress(mapping);
    EXPECT_THAT(run(1500000), Pair(1.5, 0.25));
    effect->GetProgress().stop = 1000000;
    EXPECT_TRUE(std::isinf(run(1500000).second));
    effect->GetProgress().mapping = [](long long const& t, long long const& start, long long const& stop) {
        return static_cast<double>(t + start - stop);
    };
    EXPECT_EQ(run(7).second, 7.0);
    EXPECT_EQ(std::as_const(*effect).GetProgress().start, 1000000);
}

TEST_F(WrapperTest, InputsAreDrawnBeforeTheOutput) {
    std::vector<int> order;
    auto const pending = [&](int number) {
        intrusive_ptr<IDataVideo> const data = Gpu();
        dynamic_cast<DataVideoOGL&>(*data).AttachTask(
            LambdaTask::Make([&order, number](ShaderStorage const&) { order.push_back(number); }));
        return data;
    };
    notes->during = [&order] { order.push_back(0); };
    intrusive_ptr<IDataVideo> first = pending(1);
    intrusive_ptr<IDataVideo> const second = pending(2);
    DataVideoOGL* const raw = dynamic_cast<DataVideoOGL*>(first.get());
    intrusive_ptr<IDataVideo> const keptFirst = first;
    Transition()->Process(first, second);
    Effect()->Process(first);
    EXPECT_TRUE(order.empty());
    Execute(first);
    EXPECT_THAT(order, ElementsAre(1, 2, 0, 0));
    EXPECT_THAT(notes->inputs.front(), ElementsAre(raw, dynamic_cast<DataVideoOGL*>(second.get())));
    EXPECT_THAT(notes->inputs.back(), ElementsAre(notes->outputs.front())) << "the effect draws from the transition";
    EXPECT_EQ(notes->outputs.back(), first.get());
}

TEST_F(WrapperTest, TheCacheIsMadeLateKeptAndMadeAnewAfterAReset) {
    intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
    effect->Reset();  // harmless
    EXPECT_EQ(notes->cachesMade, 0);
    Draw(*effect);
    Draw(*effect);
    EXPECT_EQ(notes->cachesMade, 1);
    EXPECT_EQ(notes->cachesLent[0], notes->cachesLent[1]);
    EXPECT_EQ(notes->caches, 1);
    effect->Reset();
    effect->Reset();
    Settle();
    EXPECT_EQ(notes->caches, 0);
    Draw(*effect);
    EXPECT_EQ(notes->cachesMade, 2);
    EXPECT_EQ(notes->caches, 1);
    EXPECT_FALSE(notes->cacheDiedElsewhere);
}

TEST_F(WrapperTest, AFailedCacheIsTriedAgain) {
    intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
    notes->whileMakingTheCache = [] { throw std::bad_alloc(); };
    intrusive_ptr<IDataVideo> data = Cpu();
    intrusive_ptr<IDataVideo> const before = data;
    EXPECT_THROW(effect->Process(data), std::bad_alloc);
    EXPECT_EQ(data, before);
    EXPECT_EQ(Count(*effect), 0U);
    notes->whileMakingTheCache = nullptr;
    effect->Process(data);
    EXPECT_EQ(notes->cachesMade, 1);
}

TEST_F(WrapperTest, QueuedFramesKeepAlgorithmAndCacheUntilTheyAreDrawn) {
    for (bool const isTransition : {false, true}) {
        intrusive_ptr<IDataVideo> data = Gpu();
        intrusive_ptr<IDataVideo> later = Gpu();
        intrusive_ptr<IDataVideo> const input = data;
        if (isTransition) {
            intrusive_ptr<Proc::ITwoInputEffectVideo> const transition = Transition();
            transition->Process(data, Gpu());
            transition->Process(later, Gpu());
        } else {
            intrusive_ptr<Proc::IOneInputEffectVideo> const effect = Effect();
            effect->Process(data);
            effect->Reset();  // with a frame queued
            effect->Process(later);
        }
        // A task that has run holds nothing, even if another frame keeps it.
        intrusive_ptr<DataVideoOGL> const other = DataVideoOGL::Create(PixFmt::Rgb24, {6, 4, 1, 1});
        other->ConcatenateTasks(boost::dynamic_pointer_cast<DataVideoOGL>(data));
        Settle();
        EXPECT_EQ(notes->algorithms, 1) << "the wrapper is gone, its frames are not";
        EXPECT_EQ(notes->caches, isTransition ? 1 : 2);
        EXPECT_EQ(input->GetRefCount(), 2);
        Execute(data);
        EXPECT_EQ(other->GetPendingTaskCount(), 1U);
        EXPECT_EQ(input->GetRefCount(), 1) << "an input is let go of once it was drawn from";
        EXPECT_EQ(notes->algorithms, 1);
        EXPECT_EQ(notes->caches, 1);
        later.reset();  // never drawn
        ExpectAllGone();
        EXPECT_EQ(notes->moments.size(), 1U);
        notes->moments.clear();
    }
}

TEST_F(WrapperTest, AnEffectMayBeDrivenFromOneThreadWhileAnotherExecutes) {
    constexpr int kFrames = 200;
    intrusive_ptr<Proc::IOneInputEffectVideo> effect = Effect();
    std::vector<intrusive_ptr<IDataVideo>> frames(kFrames);
    std::atomic<int> made = 0;
    {
        std::jthread const executing([&] {
            for (int i = 0; i < kFrames; ++i) {
                while (made <= i) {
                    std::this_thread::yield();
                }
                dynamic_cast<DataVideoOGL&>(*frames[static_cast<std::size_t>(i)]).Execute();
            }
        });
        for (int i = 0; i < kFrames; ++i) {
            frames[static_cast<std::size_t>(i)] = Gpu(6, PixFmt::Rgb24, i);
            effect->Process(frames[static_cast<std::size_t>(i)]);
            ++made;
            if (i % 7 == 0) {
                effect->Reset();
            }
        }
        effect.reset();
    }
    ExpectAllGone();
    EXPECT_EQ(notes->moments.size(), static_cast<std::size_t>(kFrames));
}

TEST_F(WrapperTest, CachesDieOnTheGlThreadOnly) {
    shared_ptr<OglCache> none;
    EXPECT_NO_THROW(Ogl::DestroyOglCache(none));

    // While the GL thread is busy the caller's pointer is empty at once, and the cache lives on.
    std::barrier gate(2);
    OglManager::GetInstance().DoBackgroundTask(
        LambdaTask::Make([&gate](ShaderStorage const&) { gate.arrive_and_wait(); }));
    shared_ptr<OglCache> cache(new NotingCache(notes));
    Ogl::DestroyOglCache(cache);
    EXPECT_FALSE(cache);
    EXPECT_EQ(notes->caches, 1);
    gate.arrive_and_wait();
    Settle();
    EXPECT_EQ(notes->caches, 0);

    // A second owner keeps it.
    cache.reset(new NotingCache(notes));
    shared_ptr<OglCache> owner = cache;
    Ogl::DestroyOglCache(cache);
    Settle();
    EXPECT_EQ(notes->caches, 1);
    // On the GL thread: right there.
    OnGl([&](ShaderStorage const&) {
        Ogl::DestroyOglCache(owner);
        EXPECT_FALSE(owner);
        EXPECT_EQ(notes->caches, 0);
    });
    EXPECT_FALSE(notes->cacheDiedElsewhere);
}

}  // namespace
}  // namespace Kaltor::Tests

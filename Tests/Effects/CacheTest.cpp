// What algorithms keep on the GPU: each accepts only its own cache, and a cache is destroyed even after the GL has
// gone.

#include <boost/smart_ptr/make_shared.hpp>

#include "Proc/Effects/EffectsOgl/EffectResizer.h"
#include "Proc/Effects/Shared/EffectWrapper.h"
#include "Proc/Effects/Shared/TransitionWrapper.h"
#include "Proc/Interfaces/IEffectRegistry.h"
#include "Tests/Support/FrameTools.h"

// The plug-in's own objects are linked into this program.
extern "C" void Registrator(Kaltor::Proc::IEffectRegistry& registry);

namespace Kaltor::Tests {
namespace {

using Ogl::DataVideoOGL;
using Ogl::IEffectAlgorithm;
using Ogl::ITransitionAlgorithm;
using Ogl::OglCache;
using Ogl::OglManager;
using Ogl::ShaderStorage;

/// The inside of a wrapper; null for other objects.
template <typename Interface, typename Algorithm>
class Opened : public Proc::WrapperBase<Interface, Algorithm> {
    using Wrapper = Proc::WrapperBase<Interface, Algorithm>;

public:
    static boost::shared_ptr<Algorithm> GetAlgorithm(intrusive_ptr<Interface> const& effect) {
        auto const* const wrapper = dynamic_cast<Wrapper const*>(effect.get());
        return wrapper != nullptr ? wrapper->*(&Opened::algorithm) : nullptr;
    }
};

/// Checks for every registered row whether its algorithm checks the cache that it gets.
class CacheChecker final : public Proc::IEffectRegistry {
public:
    explicit CacheChecker(intrusive_ptr<Proc::IEffectFactory const> toUse) : factory(std::move(toUse)) {}

    bool HasOneInputEffect(std::string const&, std::string const&) const override { return false; }
    void RegisterOneInputEffect(std::string const& classId, std::string const&,
                                Proc::OneInputEffectFactoryFn const& make) override {
        if (auto const algorithm = Opened<Proc::IOneInputEffectVideo, IEffectAlgorithm>::GetAlgorithm(make(factory))) {
            Check(classId, *algorithm);
        }
    }
    bool HasTwoInputEffect(std::string const&, std::string const&) const override { return false; }
    void RegisterTwoInputEffect(std::string const& classId, std::string const&,
                                Proc::TwoInputEffectFactoryFn const& make) override {
        if (auto const algorithm =
                Opened<Proc::ITwoInputEffectVideo, ITransitionAlgorithm>::GetAlgorithm(make(factory))) {
            Check(classId, *algorithm);
        }
    }

    template <typename Algorithm>
    void Check(std::string const& name, Algorithm const& algorithm) {
        ++checked;
        OnGl([&](ShaderStorage const& storage) {
            std::unique_ptr<OglCache> const own(algorithm.CreateCache());
            OglCache plain;
            OglCache const& made = *own;
            if (typeid(made) == typeid(OglCache)) {
                return;
            }
            ++cached;
            intrusive_ptr<DataVideoOGL> const dst = DataVideoOGL::Create(PixFmt::Rgba, {12, 8, 1, 1});
            Ogl::Src const src = DataVideoOGL::Create(PixFmt::Rgba, {12, 8, 1, 1});
            auto const draw = [&](OglCache* cache) {
                if constexpr (std::is_same_v<Algorithm, ITransitionAlgorithm>) {
                    algorithm.Processing(dst.get(), src, src, 0.5, 0.5, storage, cache);
                } else {
                    algorithm.Processing(dst.get(), src, 0.5, 0.5, storage, cache);
                }
            };
            SCOPED_TRACE(name);
            EXPECT_EQ(Catch<std::logic_error>([&] { draw(nullptr); }).what, "Wrong effect cache");
            EXPECT_THROW(draw(&plain), std::bad_cast);
            EXPECT_NO_THROW(draw(own.get()));
        });
    }

    int checked = 0;
    int cached = 0;

private:
    intrusive_ptr<Proc::IEffectFactory const> factory;
};

using CacheTest = GlTest;

TEST_F(CacheTest, NoAlgorithmTakesAnothersCacheOrNone) {
    CacheChecker checker(GetFactory());
    Registrator(checker);
    checker.Check("Resizer", Ogl::EffectResizer());  // is inside a service
    EXPECT_EQ(checker.checked, 38 + 39 + 1);
    EXPECT_GT(checker.cached, 10);
}

/// Reports its own destruction.
class ReportingCache final : public OglCache {
public:
    ReportingCache() = default;
    ~ReportingCache() override {
        std::fprintf(stderr, "gone %s\n",
                     OglManager::FindInstance() == nullptr ? "without a manager" : "with a manager");
    }
};

class ReportingCleanup final : public Ogl::IOglTask {
public:
    ReportingCleanup() : IOglTask(Ogl::OglCapability::Cleanup, nullptr) {}
    void Run(Ogl::OglCapability, ShaderStorage const&) override { std::fprintf(stderr, "cleaned up\n"); }
};

/// Keeps the GL thread busy at the program's end, with something to clean up behind that.
struct LateUser {
    LateUser() = default;
    ~LateUser() {
        OglManager& manager = OglManager::GetInstance();
        manager.DoBackgroundTask(LambdaTask::Make(
            [](ShaderStorage const&) { std::this_thread::sleep_for(std::chrono::milliseconds(300)); }));
        manager.DoBackgroundTask(boost::intrusive_ptr<Ogl::IOglTask>(new ReportingCleanup));
    }
};

TEST(CacheDeathTest, EndsSafelyWithoutAManagerAndWhenItStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Before the first use: the manager is not started for it.
    EXPECT_EXIT(
        {
            boost::shared_ptr<OglCache> cache = boost::make_shared<ReportingCache>();
            Ogl::DestroyOglCache(cache);
            std::filesystem::directory_iterator const threads("/proc/self/task");
            std::_Exit(!cache && std::distance(begin(threads), end(threads)) == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "gone without a manager");
    // Clean-up tasks that are still queued at the stop run while there is a context.
    EXPECT_EXIT(
        {
            OglManager::GetInstance();
            static LateUser const user;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "cleaned up");
}

}  // namespace
}  // namespace Kaltor::Tests

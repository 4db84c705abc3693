// What algorithms keep on the GPU: each accepts only its own cache, and a cache is destroyed even after the GL has
// gone.

#include <boost/smart_ptr/make_shared.hpp>

#include "Proc/Effects/Shared/OglCache.h"
#include "Tests/Support/FrameTools.h"

namespace Kaltor::Tests {
namespace {

using Ogl::OglCache;
using Ogl::OglManager;
using Ogl::ShaderStorage;

TEST(EffectCache, AWrongOneIsRefused) {
    class OwnCache final : public OglCache {};
    Caught const caught = Catch<std::logic_error>([] { Ogl::GetCache<OwnCache>(nullptr); });
    EXPECT_EQ(caught.what, "Wrong effect cache");
    EXPECT_EQ(caught.file, "Proc/Effects/EffectsOgl/OglCache");
    EXPECT_EQ(caught.line, 13);
    OglCache plain;
    EXPECT_THROW(Ogl::GetCache<OwnCache>(&plain), std::bad_cast);
    OwnCache own;
    OnGl([&own](ShaderStorage const&) { EXPECT_EQ(&Ogl::GetCache<OwnCache>(&own), &own); });
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

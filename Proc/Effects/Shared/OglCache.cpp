#include "Proc/Effects/Shared/OglCache.h"

#include <stdexcept>
#include <utility>

#include "Ogl/OglManager.h"
#include "Proc/Interfaces/SourceLocations.h"

namespace Kaltor::Ogl {
namespace {

class CacheDestroyer final : public IOglTask {
public:
    explicit CacheDestroyer(boost::shared_ptr<OglCache>&& owned)
        : IOglTask(OglCapability::Cleanup, nullptr), cache(std::move(owned)) {}

    void Run(OglCapability, ShaderStorage const&) override { cache.reset(); }

private:
    boost::shared_ptr<OglCache> cache;
};

}  // namespace

void DestroyOglCache(boost::shared_ptr<OglCache>& cache) {
    if (!cache) {
        return;
    }
    OglManager* const manager = OglManager::FindInstance();
    // Without a manager there is no GL object left to free: their names were deleted with the context.
    if (manager == nullptr || manager->IsOpenGLThread()) {
        boost::shared_ptr<OglCache>(std::move(cache)).reset();
        return;
    }
    manager->DoBackgroundTask(boost::intrusive_ptr<IOglTask>(new CacheDestroyer(std::move(cache))));
}

void details::throwOnNullptr(OglCache* cache) {
    if (cache == nullptr) {
        Core::Throw(std::logic_error("Wrong effect cache"), Proc::SourceLocations::kMissingCache);
    }
}

}  // namespace Kaltor::Ogl

#pragma once

#include <boost/shared_ptr.hpp>

namespace Kaltor::Ogl {

/// What an algorithm keeps on the GPU from frame to frame. A wrapper owns it and lends it to its tasks; it is touched
/// and destroyed on the GL thread only.
class OglCache {
public:
    OglCache() = default;
    OglCache(OglCache const&) = delete;
    OglCache& operator=(OglCache const&) = delete;
    virtual ~OglCache() = default;
};

/// Drops the caller's reference, so that the cache's destructor runs on the GL thread. `cache` is empty at once; the
/// caller does not wait. Where no GL manager runs, before the first use or at the program's end, the cache goes right
/// there. Any thread.
void DestroyOglCache(boost::shared_ptr<OglCache>& cache);

namespace details {

/// Throws `std::logic_error` "Wrong effect cache" for a null pointer.
void throwOnNullptr(OglCache* cache);

}  // namespace details

/// The algorithm's own cache. Throws as `throwOnNullptr`, and `std::bad_cast` for one of another class.
template <typename CacheImpl>
CacheImpl& GetCache(OglCache* cache) {
    details::throwOnNullptr(cache);
    return dynamic_cast<CacheImpl&>(*cache);
}

}  // namespace Kaltor::Ogl

#pragma once

#include <boost/shared_ptr.hpp>

namespace Kaltor::Ogl {

/// What an algorithm keeps on the GPU from frame to frame. A wrapper owns it and passes it to its tasks; it is used and
/// destroyed on the GL thread only.
class OglCache {
public:
    OglCache() = default;
    OglCache(OglCache const&) = delete;
    OglCache& operator=(OglCache const&) = delete;
    virtual ~OglCache() = default;
};

/// Drops the caller's reference, so that the cache's destructor runs on the GL thread. `cache` is empty at once; the
/// caller does not wait. If no GL manager runs, before the first use or at the program's end, the cache is destroyed on
/// the calling thread. Any thread.
void DestroyOglCache(boost::shared_ptr<OglCache>& cache);

namespace details {

/// Throws `std::logic_error` "Wrong effect cache" for a null pointer.
void throwOnNullptr(OglCache* cache);

}  // namespace details

/// The algorithm's own cache. Throws like `throwOnNullptr`, and `std::bad_cast` for a cache of another class.
template <typename CacheImpl>
CacheImpl& GetCache(OglCache* cache) {
    details::throwOnNullptr(cache);
    return dynamic_cast<CacheImpl&>(*cache);
}

}  // namespace Kaltor::Ogl

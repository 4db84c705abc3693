#pragma once

#include <atomic>
#include <cstdint>

#include <boost/intrusive_ptr.hpp>

namespace Kaltor {

/// Root of every host-visible object: effects, frames, GL tasks. The count is intrusive and thread-safe.
class IRefCount {
public:
    virtual ~IRefCount() = default;
    virtual void AddRef() const = 0;
    virtual std::int32_t GetRefCount() const = 0;
    /// Drops one reference; the object deletes itself with the last one.
    virtual void Release() const = 0;

protected:
    IRefCount() = default;
    IRefCount(IRefCount const&) = default;
    IRefCount& operator=(IRefCount const&) = default;
};

inline void intrusive_ptr_add_ref(IRefCount const* object) {
    object->AddRef();
}
inline void intrusive_ptr_release(IRefCount const* object) {
    object->Release();
}

/// Implements the reference count of `Interface`, which derives from `IRefCount`. A new object has count 0; the first
/// `boost::intrusive_ptr` that takes it makes it 1.
template <typename Interface>
class RefCountImpl : public Interface {
public:
    using Interface::Interface;

    void AddRef() const override { count.fetch_add(1, std::memory_order_relaxed); }
    std::int32_t GetRefCount() const override { return count.load(std::memory_order_acquire); }
    void Release() const override {
        if (count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

private:
    mutable std::atomic<std::int32_t> count{0};
};

}  // namespace Kaltor

#pragma once

#include <memory>

#include "Proc/Data/AvFrame.h"

struct SwsContext;

namespace Kaltor::Proc {

/// Converts pictures between pixel formats of the same size with libswscale. The context is kept from picture to
/// picture while nothing changes. Flat colours come out within 1.5/255 of the formula. One thread at a time.
class SampleConverter {
public:
    SampleConverter();
    ~SampleConverter();
    SampleConverter(SampleConverter&&) noexcept;
    SampleConverter& operator=(SampleConverter&&) noexcept;

    /// Writes `source`'s picture into `target`. The tags must be resolved; those of an RGB picture are ignored.
    /// Throws `std::runtime_error` where libswscale cannot do it.
    void Convert(AVFrame const& source, ColorSpec const& sourceSpec, AVFrame& target, ColorSpec const& targetSpec);
    void Reset();

private:
    struct Conversion;
    struct SwsDeleter {
        void operator()(SwsContext* context) const;
    };
    void Make(Conversion const& wanted);

    std::unique_ptr<SwsContext, SwsDeleter> context;
    std::unique_ptr<Conversion> made;
};

}  // namespace Kaltor::Proc

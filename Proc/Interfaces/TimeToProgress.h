#pragma once

#include <boost/function.hpp>

namespace Kaltor::Proc {

/// Maps a time in microseconds to the progress of an effect.
struct TimeToProgress {
    using Mapping = boost::function<double(long long const& t, long long const& start, long long const& stop)>;

    long long start = 0;
    long long stop = 1'000'000;
    Mapping mapping = &TimeToProgress::Linear;

    double GetProgress(long long t) const { return mapping(t, start, stop); }

    /// (t - start) / (stop - start): not clamped; infinite or not a number where stop equals start.
    static double Linear(long long const& t, long long const& start, long long const& stop) {
        return static_cast<double>(t - start) / static_cast<double>(stop - start);
    }
};

}  // namespace Kaltor::Proc

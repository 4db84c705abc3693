#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Specs.h"
#include "Measure/PairedTimer.h"
#include "Ogl/GlContext.h"

namespace Kaltor::Cli {

/// What one effect, transition or service costs in one size.
struct BenchRow {
    std::string name;
    Kind kind;
    Size size;
    std::vector<Assignment> values;  ///< other than the defaults
    Measure::PairedTimer::Timing processing;
    Measure::PairedTimer::Timing endToEnd;
};

struct BenchReport {
    Ogl::GlInfo gl;
    unsigned cores;
    double seconds;     ///< that each figure was measured for
    std::string depth;  ///< "8" or "16f"
    std::vector<BenchRow> rows;
};

/// The GL as `doctor` and `bench` report it.
nlohmann::ordered_json ToJson(Ogl::GlInfo const& info);

nlohmann::ordered_json ToJson(BenchReport const& report);

/// Device and settings, then a table for each size.
std::string ShowReport(BenchReport const& report);

/// The ratios that are more than a tenth above or below those of an older report, in words. `name` is what the old one
/// is called. What is so small that it is noise does not count. Throws `std::runtime_error` for what is no report.
std::string CompareReports(nlohmann::ordered_json const& old, std::string const& name, BenchReport const& report);

/// The rows with a ratio that is more than this many percent above that of an older report, by their number, in words.
/// Less than a tenth of a copy is noise and does not count. On software GL the ratio of processor time has to be above
/// its old one, too, where the older report has it. Throws `std::runtime_error` for what is no report.
std::map<std::size_t, std::string> FindSlower(nlohmann::ordered_json const& old, std::string const& name,
                                              BenchReport const& report, double percent);

}  // namespace Kaltor::Cli

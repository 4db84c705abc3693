#include "Apps/Kaltor/BenchReport.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "Apps/Kaltor/Console.h"
#include "Core/ParseNumber.h"

namespace Kaltor::Cli {
namespace {

using nlohmann::ordered_json;
using Timing = Measure::PairedTimer::Timing;

constexpr char const* kProcessing = "processing";
constexpr char const* kEndToEnd = "endToEnd";

std::string ShowSize(Size const& size) {
    return fmt::format("{}x{}", size.width, size.height);
}

/// Three digits, or more before the point.
std::string ShowNumber(double value) {
    int const decimals = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    return fmt::format("{:.{}f}", value, decimals);
}

/// Rounded to four digits: more is noise.
double Rounded(double value) {
    return *Core::ParseNumber<double>(fmt::format("{:.4g}", value));
}

ordered_json TimingToJson(Timing const& timing) {
    return {{"ms", Rounded(timing.milliseconds)},
            {"copies", Rounded(timing.copies)},
            {"processorCopies", Rounded(timing.processorCopies)},
            {"copyMs", Rounded(timing.copyMilliseconds)}};
}

std::string ShowTable(std::vector<BenchRow const*> const& rows) {
    constexpr std::size_t kBar = 24;
    std::size_t nameWidth = 0;
    double largest = 0.0;
    double copy = 0.0;
    for (BenchRow const* const row : rows) {
        nameWidth = std::max(nameWidth, MakePrintable(row->name).size());
        largest = std::max(largest, row->processing.copies);
        copy += row->processing.copyMilliseconds / static_cast<double>(rows.size());
    }
    std::string text =
        fmt::format("\n{}, one copy takes {} ms\n", Bold(ShowSize(rows.front()->size)), ShowNumber(copy));
    text += fmt::format("{:{}}  {:>16}  {:>16}\n", "", nameWidth, "processing", "end to end");
    text += fmt::format("{:{}}  {:>8}{:>8}  {:>8}{:>8}\n", "", nameWidth, "ms", "copies", "ms", "copies");
    std::string notes;
    for (BenchRow const* const row : rows) {
        auto const bar = static_cast<std::size_t>(
            std::lround(largest > 0.0 ? row->processing.copies / largest * static_cast<double>(kBar) : 0.0));
        text += fmt::format("{:{}}  {:>8}{:>8}  {:>8}{:>8}  {}", MakePrintable(row->name), nameWidth,
                            ShowNumber(row->processing.milliseconds), ShowNumber(row->processing.copies),
                            ShowNumber(row->endToEnd.milliseconds), ShowNumber(row->endToEnd.copies),
                            std::string(bar, '#'));
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
        std::string values;
        for (auto const& [field, value] : row->values) {
            values += fmt::format("{}{}={}", values.empty() ? "" : " ", field, value);
        }
        notes += values.empty() ? "" : fmt::format("({} with {})\n", row->name, values);
    }
    return text + notes;
}

/// Whether two ratios of one figure differ by more than noise.
bool HasChanged(double before, double now) {
    constexpr double kTenth = 0.1;
    constexpr double kNoise = 0.02;  // copies
    double const change = std::abs(now - before);
    return change > kTenth * before && change > kNoise;
}

/// A figure of the report beside that of an older one.
struct RatioPair {
    std::size_t row;
    double before, now;                     ///< copies
    std::optional<double> processorBefore;  ///< older reports lack it
    double processorNow;
    std::string text;
};

/// All figures that both have. Throws `std::runtime_error` for what is no report.
void ForEachRatio(ordered_json const& old, std::string const& name, BenchReport const& report,
                  std::function<void(RatioPair const&)> const& use) {
    try {
        ordered_json const& all = old.at("rows");
        for (std::size_t i = 0; i < report.rows.size(); ++i) {
            BenchRow const& row = report.rows[i];
            auto const before = std::find_if(all.begin(), all.end(), [&row](ordered_json const& other) {
                return other.at("name") == row.name && other.at("width") == row.size.width &&
                       other.at("height") == row.size.height;
            });
            if (before == all.end()) {
                continue;
            }
            for (auto const& [key, what, timing] : {std::tuple(kProcessing, "processing", &row.processing),
                                                    std::tuple(kEndToEnd, "end to end", &row.endToEnd)}) {
                ordered_json const& figures = before->at(key);
                auto const was = figures.at("copies").get<double>();
                double const now = timing->copies;
                std::optional<double> processorWas;
                if (figures.contains("processorCopies")) {
                    processorWas = figures["processorCopies"].get<double>();
                }
                use({i, was, now, processorWas, timing->processorCopies,
                     fmt::format("{} {} {}: {} -> {} copies ({:+.0f} %)", row.name, ShowSize(row.size), what,
                                 ShowNumber(was), ShowNumber(now), (now / was - 1.0) * 100.0)});
            }
        }
    } catch (ordered_json::exception const&) {
        throw std::runtime_error(fmt::format("{}: is no report of \"kaltor bench --json\"", name));
    }
}

}  // namespace

ordered_json ToJson(Ogl::GlInfo const& info) {
    return {{"platform", info.platform},
            {"vendor", info.vendor},
            {"renderer", info.renderer},
            {"version", info.version},
            {"glsl", info.glslVersion},
            {"software", info.isSoftware},
            {"limits", {{"maxTextureSize", info.maxTextureSize}, {"maxTextureUnits", info.maxTextureUnits}}}};
}

ordered_json ToJson(BenchReport const& report) {
    ordered_json rows = ordered_json::array();
    for (BenchRow const& row : report.rows) {
        ordered_json values = ordered_json::object();
        for (auto const& [field, value] : row.values) {
            values[field] = value;
        }
        rows.push_back({{"name", row.name},
                        {"kind", GetName(row.kind)},
                        {"width", row.size.width},
                        {"height", row.size.height},
                        {"values", values},
                        {kProcessing, TimingToJson(row.processing)},
                        {kEndToEnd, TimingToJson(row.endToEnd)}});
    }
    return {{"version", KALTOR_VERSION}, {"gl", ToJson(report.gl)}, {"cores", report.cores},
            {"seconds", report.seconds}, {"depth", report.depth},   {"rows", rows}};
}

std::string ShowReport(BenchReport const& report) {
    std::string text = fmt::format(
        "{} on {} ({}), OpenGL {}, EGL {}, {} processor cores\n"
        "Default settings; time and progress at 1/8, 3/8, 5/8 and 7/8 of a second in turn; medians over {:.3g} s.\n"
        "Processing: opaque {}frames on the GPU in and out. End to end: 4:2:0 frames {}from and to main memory, one by "
        "one.\n",
        Bold("kaltor " KALTOR_VERSION), report.gl.renderer, report.gl.isSoftware ? "software" : "hardware",
        report.gl.version, report.gl.platform, report.cores, report.seconds, report.depth == "8" ? "" : "16-bit float ",
        report.depth == "8" ? "" : "of 10 bits ");
    std::vector<BenchRow const*> rows;
    for (std::size_t i = 0; i < report.rows.size(); ++i) {
        rows.push_back(&report.rows[i]);
        Size const size = report.rows[i].size;
        bool const isLast = i + 1 == report.rows.size() || report.rows[i + 1].size.width != size.width ||
                            report.rows[i + 1].size.height != size.height;
        if (isLast) {
            text += ShowTable(rows);
            rows.clear();
        }
    }
    return text;
}

std::string CompareReports(ordered_json const& old, std::string const& name, BenchReport const& report) {
    std::string changes;
    std::set<std::size_t> compared;
    ForEachRatio(old, name, report, [&](RatioPair const& pair) {
        compared.insert(pair.row);
        if (HasChanged(pair.before, pair.now)) {
            changes += fmt::format("  {}\n", pair.text);
        }
    });
    std::string text;
    try {
        if (old.at("gl").at("renderer") != report.gl.renderer || old.at("cores") != report.cores) {
            text = fmt::format("\n{} was measured on another device: {}\n", name,
                               MakePrintable(old.at("gl").at("renderer").get<std::string>()));
        }
    } catch (ordered_json::exception const&) {
        throw std::runtime_error(fmt::format("{}: is no report of \"kaltor bench --json\"", name));
    }
    if (compared.empty()) {
        return text + fmt::format("\n{} has none of these effects in these sizes.\n", name);
    }
    if (changes.empty()) {
        return text +
               fmt::format("\nNo ratio changed by more than a tenth since {} ({} compared).\n", name, compared.size());
    }
    return text + fmt::format("\nRatios that changed by more than a tenth since {}:\n{}", name, changes);
}

std::map<std::size_t, std::string> FindSlower(ordered_json const& old, std::string const& name,
                                              BenchReport const& report, double percent) {
    std::map<std::size_t, std::string> slower;
    // Copies. What costs a small part of one costs twice as much where threads are interrupted often.
    constexpr double kLeastRise = 0.1;
    auto const isAbove = [percent](double before, double now) {
        return now > before * (1.0 + percent / 100.0) && now > before + kLeastRise && HasChanged(before, now);
    };
    ForEachRatio(old, name, report, [&](RatioPair const& pair) {
        // Where the processor draws, other programs make threads wait, and what has more of them waits more.
        bool const hasMoreWork =
            !report.gl.isSoftware || !pair.processorBefore || isAbove(*pair.processorBefore, pair.processorNow);
        if (isAbove(pair.before, pair.now) && hasMoreWork) {
            std::string& text = slower[pair.row];
            text += text.empty() ? pair.text : "; " + pair.text;
        }
    });
    return slower;
}

}  // namespace Kaltor::Cli

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <thread>

#include <fmt/format.h>

#include "Apps/Kaltor/BenchReport.h"
#include "Apps/Kaltor/Catalog.h"
#include "Apps/Kaltor/Console.h"
#include "Apps/Kaltor/NumberOption.h"
#include "Apps/Kaltor/Verbs.h"
#include "Core/Interfaces/Exception.h"
#include "Edit/DocumentReader.h"
#include "Edit/Json.h"
#include "Measure/EffectRun.h"
#include "Media/PartialFile.h"
#include "Ogl/OglManager.h"
#include "Proc/Settings/SettingsServices.h"
#include "Render/PlanRun.h"

namespace Kaltor::Cli {
namespace {

using nlohmann::ordered_json;

struct BenchOptions {
    std::vector<std::string> names;
    std::vector<std::string> sizes{"1920x1080", "3840x2160"};
    std::string json;
    std::string compare;
    std::string depth = "8";
    double limit = 0.0;  ///< percent; 0: nothing fails
    double seconds = 0.5;

    bool IsDeep() const { return depth == "16f"; }
};

std::vector<Size> ParseSizes(std::vector<std::string> const& texts) {
    auto const limit = static_cast<std::uint32_t>(Ogl::OglManager::GetInstance().GetInfo().maxTextureSize);
    std::vector<Size> sizes;
    for (std::string const& text : texts) {
        Size const size = ParseSize(text);
        if (std::max(size.width, size.height) > limit) {
            throw UsageError(
                fmt::format("{} is too large: this OpenGL takes pictures to {} pixels a side", text, limit));
        }
        sizes.push_back(size);
    }
    return sizes;
}

/// Where the defaults ask for nothing: a resizer halves.
std::vector<Assignment> ValuesFor(std::string const& name, Size const& size) {
    if (name != Proc::SettingsResizer::CLASS_ID) {
        return {};
    }
    return {{"width", std::to_string((size.width + 1) / 2)}, {"height", std::to_string((size.height + 1) / 2)}};
}

BenchRow MeasureRow(Catalog const& catalog, CatalogEntry const& entry, Size const& size, double seconds,
                    Measure::NoiseFrames const& frames, Measure::ReferenceCopy& copy) {
    constexpr double kBatches = 10.0;
    BenchRow row{entry.name, entry.kind, size, ValuesFor(entry.name, size), {}, {}};
    try {
        Measure::EffectRun run(catalog.GetFactory(), *MakeSettings(entry, row.values), entry.isTwoInput, frames);
        int const step = Measure::EffectRun::kPositions;
        row.processing = Measure::PairedTimer(
                             copy, [&run](int count) { run.Draw(count); }, step, seconds / kBatches)
                             .Run(seconds);
        row.endToEnd = Measure::PairedTimer(
                           copy, [&run](int count) { run.DrawEndToEnd(count); }, step, seconds / kBatches)
                           .Run(seconds);
    } catch (std::exception const& error) {
        throw std::runtime_error(
            fmt::format("{} in {}x{}: {}", entry.name, size.width, size.height, Core::Describe(error)));
    }
    return row;
}

/// What edits add to a plain frame.
struct EditCase {
    char const* name;
    char const* parts;  ///< of a document whose frames are these, beside its output
};
constexpr std::array kEditCases{
    EditCase{"edit-logo",
             R"("clips": [{"color": "#406080", "duration": 60}], "overlays": [{"color": "#FFA000", "width": 0.2,
        "anchor": "top-right", "x": -0.02, "y": 0.04, "opacity": 0.9}])"},
    EditCase{"edit-title",
             R"("clips": [{"color": "#406080", "duration": 60}], "overlays": [{"title": {"text": "A title"}}])"},
    EditCase{"edit-keyed-blur", R"("clips": [{"color": "#406080", "duration": 60, "joint": {"transition": "dissolve",
        "duration": 60}}, {"color": "#A04020", "duration": 60}], "effects": [{"effect": "blur", "scale": {"from": 0.002, "to": 0.02}}])"},
};

Edit::Plan MakeEditPlan(EditCase const& edit, Size const& size, Catalog const& catalog, bool isDeep) {
    std::string const text = fmt::format(R"({{"version": 1, "output": {{"size": "{}x{}", "seed": 1}}, {}}})",
                                         size.width / 2 * 2, size.height / 2 * 2, edit.parts);
    Edit::Plan plan = Edit::MakePlan(Edit::ReadDocument(Edit::ParseJson(text, edit.name), catalog), {});
    if (isDeep) {
        plan.target.pixFmt = PixFmt::RgbF16;
    }
    return plan;
}

BenchRow MeasureEdit(Catalog const& catalog, EditCase const& edit, Size const& size, BenchOptions const& options,
                     Measure::ReferenceCopy& copy) {
    constexpr double kBatches = 10.0;
    constexpr int kStep = 4;
    BenchRow row{edit.name, Kind::Service, size, {}, {}, {}};
    double const seconds = options.seconds;
    Render::PlanRun run(MakeEditPlan(edit, size, catalog, options.IsDeep()), catalog.GetFactory());
    row.processing = Measure::PairedTimer(
                         copy, [&run](int count) { run.Draw(count); }, kStep, seconds / kBatches)
                         .Run(seconds);
    row.endToEnd = Measure::PairedTimer(
                       copy, [&run](int count) { run.DrawEndToEnd(count); }, kStep, seconds / kBatches)
                       .Run(seconds);
    return row;
}

/// What is to be measured, on one catalogue.
class Bench {
public:
    Bench(Catalog const& loaded, BenchOptions const& benchOptions) : catalog(loaded), options(benchOptions) {}

    void Add(std::string const& name) {
        auto const edit = std::find_if(kEditCases.begin(), kEditCases.end(),
                                       [&name](EditCase const& one) { return one.name == name; });
        if (edit != kEditCases.end()) {
            edits.push_back(*edit);
        } else {
            entries.push_back(catalog.Find(name));
        }
    }
    void AddAll() {
        entries = catalog.GetEntries();
        std::erase_if(entries, [](CatalogEntry const& entry) { return !Host::HasAllDefaults(entry); });
        edits.assign(kEditCases.begin(), kEditCases.end());
    }

    std::vector<BenchRow> Measure(std::vector<Size> const& sizes) const {
        std::vector<BenchRow> rows;
        ProgressBar bar(true, "measured");
        auto const total = static_cast<std::int64_t>(sizes.size() * (entries.size() + edits.size()));
        for (Size const& size : sizes) {
            Conf::FrameInfo const info{size.width, size.height, 1, 1};
            Measure::NoiseFrames const frames(
                catalog.GetFactory(), info,
                options.IsDeep() ? Measure::NoiseFrames::Depth::Float : Measure::NoiseFrames::Depth::Eight);
            Measure::ReferenceCopy copy(info);
            for (CatalogEntry const& entry : entries) {
                bar.Show(static_cast<std::int64_t>(rows.size()), total);
                rows.push_back(MeasureRow(catalog, entry, size, options.seconds, frames, copy));
            }
            for (EditCase const& edit : edits) {
                bar.Show(static_cast<std::int64_t>(rows.size()), total);
                rows.push_back(MeasureEdit(catalog, edit, size, options, copy));
            }
        }
        bar.Clear();
        return rows;
    }

private:
    Catalog const& catalog;
    BenchOptions const& options;
    std::vector<CatalogEntry> entries;
    std::vector<EditCase> edits;
};

/// The rows that are above the limit, in words. A row that is above it is measured some times more: the least of its
/// ratios counts, since nothing but noise makes them smaller.
std::string FindFailures(BenchReport& report, ordered_json const& old, Catalog const& catalog,
                         BenchOptions const& options) {
    constexpr int kMostTries = 5;
    std::string const name = MakePrintable(options.compare);
    std::map<std::size_t, std::string> slower = FindSlower(old, name, report, options.limit);
    for (int i = 0; i < kMostTries && !slower.empty(); ++i) {
        for (auto const& [number, text] : slower) {
            BenchRow& row = report.rows[number];
            Bench again(catalog, options);
            again.Add(row.name);
            BenchRow const next = again.Measure({row.size}).front();
            auto const keepLeast = [](Measure::PairedTimer::Timing& least, Measure::PairedTimer::Timing const& other) {
                double const processorCopies = std::min(least.processorCopies, other.processorCopies);
                least = other.copies < least.copies ? other : least;
                least.processorCopies = processorCopies;
            };
            keepLeast(row.processing, next.processing);
            keepLeast(row.endToEnd, next.endToEnd);
        }
        slower = FindSlower(old, name, report, options.limit);
    }
    std::string text;
    for (auto const& [number, figures] : slower) {
        text += text.empty() ? figures : "; " + figures;
    }
    return text;
}

int RunBench(BenchOptions const& options) {
    if (options.depth != "8" && !options.IsDeep()) {
        throw UsageError(fmt::format("--depth: it takes 8 or 16f, not \"{}\"", options.depth));
    }
    if (options.limit > 0.0 && options.compare.empty()) {
        throw UsageError("--limit needs --compare");
    }
    Catalog const catalog = LoadCatalog();
    Bench bench(catalog, options);
    for (std::string const& name : options.names) {
        bench.Add(name);
    }
    if (options.names.empty()) {
        bench.AddAll();
    }
    std::vector<Size> const sizes = ParseSizes(options.sizes);
    ordered_json const old = options.compare.empty() ? ordered_json() : Edit::ReadJson(options.compare);
    if (!options.json.empty() && options.json != "-") {
        Media::PartialFile const canBeWritten(options.json, true);  // before minutes are spent
    }

    BenchReport report{Ogl::OglManager::GetInstance().GetInfo(), std::thread::hardware_concurrency(), options.seconds,
                       options.depth, bench.Measure(sizes)};
    std::string const failures = options.limit > 0.0 ? FindFailures(report, old, catalog, options) : "";

    std::string const comparison =
        options.compare.empty() ? "" : CompareReports(old, MakePrintable(options.compare), report);
    if (!options.json.empty()) {
        WriteFile(options.json, Edit::ShowJson(ToJson(report), 2) + "\n");
    }
    if (options.json == "-") {
        WriteMessage(comparison);
    } else {
        WriteOut(ShowReport(report) + comparison);
    }
    if (!failures.empty()) {
        throw std::runtime_error(
            fmt::format("more than {:.3g} % above {}: {}", options.limit, MakePrintable(options.compare), failures));
    }
    return 0;
}

}  // namespace

void AddBench(CommandLine& commandLine) {
    constexpr NumberRange<double> kSeconds{0.01, 600.0};
    Verb verb = commandLine.AddVerb("bench", "Measure what effects, transitions and services cost");
    auto const options = std::make_shared<BenchOptions>();
    verb.AddTexts("NAME", options->names,
                  "what to measure; \"kaltor list\" shows what there is, and edit-logo, edit-title and edit-keyed-blur "
                  "measure what edits do (default: all)");
    verb.AddTexts("--size", options->sizes, "may be repeated (default 1920x1080 and 3840x2160)")
        .ShowValueAs("WxH")
        .TakeOneAtATime();
    AddNumber<double>(
        verb, "--seconds", options->seconds,
        fmt::format("how long each figure is measured, {} to {} (default 0.5)", kSeconds.least, kSeconds.most),
        kSeconds)
        .ShowValueAs("S");
    verb.AddText("--depth", options->depth, "of the frames: 8 (bits) or 16f (16-bit float; default 8)")
        .ShowValueAs("DEPTH");
    verb.AddText("--json", options->json, "a report for machines; - writes it to standard output instead of the table")
        .ShowValueAs("FILE");
    verb.AddText("--compare", options->compare, "an older report: show the ratios that changed by more than a tenth")
        .ShowValueAs("OLD.json");
    AddNumber<double>(
        verb, "--limit", options->limit,
        "with --compare: fail where a ratio stays more than this many percent, and a tenth of a copy, above the old "
        "one when it is measured again, on software GL both on the clock and of the processor's time",
        NumberRange<double>{1.0, 1000.0})
        .ShowValueAs("PERCENT");
    verb.SetFooter(
        "The ratio \"copies\" compares with one plain copy of a frame, measured in turn with the effect: machines are\n"
        "noisy, ratios are less so.\n\n"
        "Examples:\n"
        "  kaltor bench\n"
        "  kaltor bench BlurGaussian Crossfade --size 1280x720 --json today.json\n"
        "  kaltor bench --size 1920x1080 --compare yesterday.json");
    verb.SetAction([options] { return RunBench(*options); });
}

}  // namespace Kaltor::Cli

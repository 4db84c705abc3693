#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Edit/Document.h"
#include "Edit/Plan.h"
#include "Farm/Batch.h"
#include "Farm/Job.h"
#include "Farm/JobFolder.h"
#include "Farm/Work.h"
#include "Host/Catalog.h"

namespace Kaltor::Farm {

/// The program's version, which a job's parts share.
std::string GetVersion();

/// What is asked for.
struct PlanningOptions {
    std::string output;
    bool overwrite = false;
    bool allowPlaylists = false;
    bool keepsParts = false;
    double partSeconds = 20.0;
    /// For messages; empty where there is no document.
    std::string editName;
    Media::WarningFn warn;
    std::atomic<bool> const* cancel = nullptr;
};

/// A job with what its folder holds besides.
struct PlannedJob {
    Job job;
    JobTexts texts;
    double soundWork = 0.0;
    std::uint64_t bytes = 0;  ///< of all parts, roughly
};

/// Plans one video. A document without a seed gets one: `seed`. Throws as `Edit::MakePlan`, and `std::invalid_argument`
/// for an output whose parts cannot be joined.
PlannedJob PlanVideo(Edit::Document document, std::uint32_t seed, PlanningOptions const& options);

/// A template, and the rows that fill it in.
struct BatchSource {
    Edit::Json form;
    Table table;
    std::string folder;  ///< to which the template's paths are relative
    bool isTrusted = false;
};

/// Plans a batch. Throws as above, with the row.
PlannedJob PlanBatch(BatchSource const& source, std::uint32_t seed, Host::Catalog const& catalog,
                     PlanningOptions const& options);

/// One row's video.
struct RowEdit {
    Edit::Document document;
    std::string name;  ///< for messages
    std::string output;
};
RowEdit MakeRow(Job const& job, Edit::Json const& form, Table const& table, std::size_t row,
                Host::Catalog const& catalog);

/// The files that a run of a plan's frames needs, without its sound; and those of its sound.
std::set<std::string> ListFiles(Edit::Plan const& plan, std::int64_t first, std::int64_t end);
std::set<std::string> ListSoundFiles(Edit::Plan const& plan);

}  // namespace Kaltor::Farm

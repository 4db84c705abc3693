// The rows of a batch: comma-separated values, and what is filled in from them.
#include <cstdlib>

#include <fmt/format.h>

#include "Farm/Batch.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(Fuzz::AsText(data, size));
    Fuzz::MayRefuse([&] {
        Farm::Table const table = Farm::ParseTable(text, "rows.csv");
        Fuzz::MayRefuse([&] {
            if (Farm::TableFromJson(Farm::ToJson(table)) != table) {
                fmt::print(stderr, "the rows read back as something else\n");
                std::abort();
            }
        });
        std::string const& column = table.columns.front();
        Fuzz::MayRefuse([&] { Farm::Fill(text, table, 0); });
        Fuzz::MayRefuse([&] {
            Farm::Fill(Edit::Json{{"text", "{" + column + "}"}, {"scale", "{" + column + ":number}"}}, table, 0);
        });
        Fuzz::MayRefuse([&] {
            std::string const name = Farm::FillName("{" + column + "}.mp4", table, 0);
            if (name.find('/') != std::string::npos || name.starts_with('.')) {
                fmt::print(stderr, "\"{}\" leads to another place\n", name);
                std::abort();
            }
        });
    });
    return 0;
}

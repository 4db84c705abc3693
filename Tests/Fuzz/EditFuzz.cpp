// A document as a stranger sends it: read, written, read again, planned. It names no file that is there.
#include <cstdlib>

#include <fmt/format.h>

#include "Edit/DocumentReader.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Json.h"
#include "Edit/Plan.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Fuzz::MayRefuse([&] {
        Edit::Json const json = Edit::ParseJson(std::string(Fuzz::AsText(data, size)), "edit.json", true);
        Edit::Document document = Edit::ReadDocument(json, Fuzz::GetCatalog());
        Edit::Json const written = Edit::WriteDocument(document);
        Edit::Json again;
        try {
            again = Edit::WriteDocument(Edit::ReadDocument(written, Fuzz::GetCatalog()));
        } catch (std::exception const& error) {
            fmt::print(stderr, "what was written is refused: {}\n", error.what());
            std::abort();
        }
        if (again != written) {
            fmt::print(stderr, "what was written reads as something else\n");
            std::abort();
        }
        Edit::ResolvePaths(document, "/nonexistent", Edit::Trust::OwnFolder);
        Edit::MakePlan(document, {});
    });
    return 0;
}

// Timelines of other programs: OpenTimelineIO, editly, JSON5.
#include "Edit/Convert/Editly.h"
#include "Edit/Convert/Json5.h"
#include "Edit/Convert/Otio.h"
#include "Edit/DocumentWriter.h"
#include "Edit/Json.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Edit::FileFacts const facts{10.0, false, true, true, 0, 16.0 / 9.0};
    Edit::Conversion const conversion{
        Fuzz::GetCatalog(), {}, [&facts](std::string const&) { return facts; }, [](std::string const&) {}};
    std::string const text(Fuzz::AsText(data, size));
    Fuzz::MayRefuse([&] {
        Edit::Json const json = Edit::ParseJson(text, "a.otio");
        Edit::WriteDocument(Edit::ReadOtio(json, conversion));
    });
    Fuzz::MayRefuse([&] {
        Edit::Json const json = Edit::ParseJson5(text, "a.json5");
        Edit::WriteDocument(Edit::ReadEditly(json, conversion));
    });
    return 0;
}

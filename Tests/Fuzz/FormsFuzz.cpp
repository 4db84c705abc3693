// The short forms of the command line and of documents: clips, joints, times, sizes, rates, colours, easings.
#include "Apps/Kaltor/Specs.h"
#include "Edit/DocumentReader.h"
#include "Edit/Easing.h"
#include "Edit/Time.h"
#include "Tests/Fuzz/Fuzz.h"

using namespace Kaltor;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::string_view const text = Fuzz::AsText(data + 1, size - 1);
    constexpr int kForms = 8;
    Fuzz::MayRefuse([&] {
        switch (*data % kForms) {
            case 0:
                Cli::ParseClip(text);
                break;
            case 1:
                if (text.find('@') == std::string_view::npos) {
                    Cli::ParseIndexedSpec(text);
                }
                break;
            case 2:
                Cli::ParseSize(text);
                break;
            case 3:
                Edit::ParseFrameRate(text);
                break;
            case 4:
                Edit::ParseTime(Edit::Format(Edit::ParseTime(text)));
                break;
            case 5:
                Edit::ParseLength(Edit::Format(Edit::ParseLength(text)));
                break;
            case 6:
                Edit::ParseColor(text);
                break;
            default: {
                Edit::Easing const easing = Edit::Easing::Parse(text);
                for (double const x : {-1.0, 0.0, 0.3, 1.0, 2.0}) {
                    easing(x);
                }
                Edit::Easing::Parse(easing.GetName());
            }
        }
    });
    return 0;
}

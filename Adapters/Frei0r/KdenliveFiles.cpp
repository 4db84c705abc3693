// Writes what Kdenlive shows of our effects: one XML file for each, made from the declarations. Run as:
// KaltorKdenliveFiles FOLDER, which gets the folders "effects" and "transitions".

#include <filesystem>
#include <fstream>
#include <iostream>

#include <fmt/format.h>

#include "Adapters/Frei0r/DoorName.h"
#include "Adapters/Frei0r/Parameters.h"

namespace {

namespace fs = std::filesystem;

using namespace Kaltor;
using Frei0r::HostColor;
using Frei0r::HostValue;
using Frei0r::Parameter;
using Frei0r::Role;

std::string Escape(std::string_view text) {
    std::string result;
    for (char const c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

/// "Blur gaussian" for "kaltor_blur_gaussian".
std::string MakeTitle(std::string const& classId) {
    std::string title = Frei0r::MakeDoorName(classId).substr(std::string_view("kaltor_").size());
    title.erase(0, title.starts_with("t_") ? 2 : 0);
    for (char& c : title) {
        c = c == '_' ? ' ' : c;
    }
    title.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(title.front())));
    return title;
}

/// A slider with keyframes. What is shown is the value times `factor`.
std::string Slider(std::string const& initial, double factor, int decimals, std::string_view suffix = "") {
    std::string const unit = suffix.empty() ? "" : fmt::format(" suffix=\"{}\"", suffix);
    return fmt::format(R"(type="animated" default="{}" min="0" max="{}" factor="{}" decimals="{}"{})", initial, factor,
                       factor, decimals, unit);
}

/// In the field's own units where they begin at 0 and go up in proportion, else in percent of the way.
std::string NumberSlider(Proc::Field const& field, double initial) {
    constexpr double kPercent = 100.0;
    constexpr int kFineDecimals = 4;
    std::string const text = fmt::format("{}", initial);
    if (field.minimum != 0.0) {
        return Slider(text, kPercent, 2, "%");
    }
    bool const isWhole = field.type == Proc::FieldType::Int || field.type == Proc::FieldType::Uint;
    return Slider(text, field.maximum, isWhole ? 0 : field.maximum > 1.0 ? 2 : kFineDecimals);
}

std::string List(Proc::Field const& field, double initial) {
    std::string values;
    std::string chosen;
    double const steps = static_cast<double>(field.labels.size() - 1);
    for (std::size_t i = 0; i < field.labels.size(); ++i) {
        std::string const value = fmt::format("{:.6g}", static_cast<double>(i) / steps);
        values += (i == 0 ? "" : ";") + value;
        chosen = static_cast<double>(i) <= initial * steps + 0.5 ? value : chosen;
    }
    return fmt::format(R"(type="list" default="{}" paramlist="{}")", chosen, values);
}

std::string Attributes(Parameter const& parameter) {
    constexpr double kByte = 255.0;
    double const* const number = std::get_if<double>(&parameter.initial);
    switch (parameter.role) {
        case Role::Progress:
            return Slider("0=0;%out=1", 100.0, 2, "%");
        case Role::Flag:
            return fmt::format(R"(type="bool" default="{}" min="0" max="1")", *number);
        case Role::Color: {
            auto const& color = std::get<HostColor>(parameter.initial);
            auto const byte = [](float channel) { return static_cast<int>(channel * kByte + 0.5); };
            return fmt::format(R"(type="color" default="0x{:02x}{:02x}{:02x}ff")", byte(color.red), byte(color.green),
                               byte(color.blue));
        }
        case Role::Alpha:
            return Slider(fmt::format("{}", *number), kByte, 0);
        case Role::Choice:
            return List(*parameter.field, *number);
        case Role::Seed:
            return fmt::format(R"(type="constant" default="{}" min="0" max="{}" factor="{}" decimals="0")", *number,
                               Frei0r::kLargestSeed, Frei0r::kLargestSeed);
        default:
            return NumberSlider(*parameter.field, *number);
    }
}

std::string Describe(Proc::Settings const& settings, bool isTransition) {
    std::string const& classId = settings.GetClassId();
    char const* const element = isTransition ? "transition" : "effect";
    std::string const service = "frei0r." + Frei0r::MakeDoorName(classId);
    std::string text = fmt::format(
        "<?xml version=\"1.0\"?>\n<!DOCTYPE kpartgui>\n<{} tag=\"{}\" id=\"{}\"{}>\n    <name>{} (Kaltor)</name>\n"
        "    <description>{}</description>\n    <author>Kaltor</author>\n",
        element, service, service, isTransition ? " type=\"videotransition\"" : "", MakeTitle(classId),
        Escape(settings.GetSummary()));
    Frei0r::Parameters const parameters(classId);
    for (Parameter const& parameter : parameters.Get()) {
        if (parameter.role == Role::Label) {
            continue;  // the list shows the labels
        }
        std::string labels;
        if (parameter.role == Role::Choice) {
            for (Proc::FieldLabel const& label : parameter.field->labels) {
                labels.append(labels.empty() ? "" : ",").append(label.label);
            }
            labels = fmt::format("        <paramlistdisplay>{}</paramlistdisplay>\n", Escape(labels));
        }
        text += fmt::format(
            "    <parameter {} name=\"{}\">\n        <name>{}</name>\n        <comment>{}</comment>\n{}"
            "    </parameter>\n",
            Attributes(parameter), parameter.name, Escape(parameter.name), Escape(parameter.help), labels);
    }
    return text + fmt::format("</{}>\n", element);
}

void WriteFiles(fs::path const& folder) {
    for (std::unique_ptr<Proc::Settings> const& settings : Proc::MakeAllSettings()) {
        std::string const& classId = settings->GetClassId();
        Proc::RowKind const kind = Proc::FindRowKind(classId).value();
        if (kind == Proc::RowKind::Service) {
            continue;
        }
        bool const isTransition = kind == Proc::RowKind::Transition;
        fs::path const place = folder / (isTransition ? "transitions" : "effects");
        fs::create_directories(place);
        std::ofstream file(place / (Frei0r::MakeDoorName(classId) + ".xml"));
        file << Describe(*settings, isTransition);
        if (!file.flush()) {
            throw std::runtime_error(fmt::format("{} cannot be written", place.string()));
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: KaltorKdenliveFiles FOLDER\n";
        return 2;
    }
    try {
        WriteFiles(arguments[1]);
    } catch (std::exception const& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}

#include <boost/algorithm/string/split.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "Tests/Adapters/Door.h"

namespace Kaltor::Tests {
namespace {

using boost::property_tree::ptree;

std::vector<std::string> Split(std::string const& text, char separator) {
    std::vector<std::string> parts;
    boost::split(parts, text, [separator](char c) { return c == separator; });
    return parts;
}

std::vector<std::string> ListChildren(ptree const& element) {
    std::vector<std::string> names;
    for (auto const& [name, child] : element) {
        if (name != "<xmlattr>") {
            names.push_back(name);
        }
    }
    return names;
}

/// One parameter by the rules of Kdenlive's effect descriptions, and against the plug-in that it is for.
void CheckParameter(ptree const& element, Door const& door, DoorInstance const& untouched) {
    ptree const& attributes = element.get_child("<xmlattr>");
    auto const attribute = [&](char const* name) { return attributes.get<std::string>(name, ""); };
    SCOPED_TRACE(attribute("name"));
    f0r_param_info const info = door.GetParameter(door.FindParameter(attribute("name")));
    EXPECT_EQ(element.get<std::string>("comment"), info.explanation);
    std::string const type = attribute("type");
    std::string const initial = attribute("default");
    bool const isList = type == "list";
    EXPECT_EQ(ListChildren(element), isList ? (std::vector<std::string>{"name", "comment", "paramlistdisplay"})
                                            : (std::vector<std::string>{"name", "comment"}));
    if (type == "color") {
        EXPECT_EQ(info.type, kFrei0rColor);
        EXPECT_THAT(initial, testing::MatchesRegex("0x[0-9a-f]{8}"));
        return;
    }
    EXPECT_EQ(info.type, type == "bool" ? kFrei0rBool : kFrei0rDouble);
    double const value = untouched.GetNumber(attribute("name"));
    if (isList) {
        // What a label sets is what its place in the list sets.
        std::vector<std::string> const values = Split(attribute("paramlist"), ';');
        std::vector<std::string> const labels = Split(element.get<std::string>("paramlistdisplay"), ',');
        ASSERT_EQ(values.size(), labels.size());
        EXPECT_THAT(values, testing::Contains(initial));
        EXPECT_NEAR(std::stod(initial), value, 1e-6);
        EXPECT_THAT(std::string(info.explanation), testing::HasSubstr(" " + labels.back()));
        return;
    }
    if (type == "bool") {
        EXPECT_EQ(std::stod(initial), value);
        return;
    }
    EXPECT_THAT(type, testing::AnyOf("animated", "constant"));
    double const factor = std::stod(attribute("factor"));
    EXPECT_EQ(std::stod(attribute("min")), 0.0);
    EXPECT_EQ(std::stod(attribute("max")), factor) << "the plug-in takes 0 to 1";
    EXPECT_THAT(attribute("decimals"), testing::MatchesRegex("[0-9]"));
    if (attribute("name") == "progress") {
        EXPECT_EQ(initial, "0=0;%out=1");
    } else {
        EXPECT_EQ(std::stod(initial), value);
        EXPECT_GE(value, 0.0);
        EXPECT_LE(value, 1.0);
    }
}

TEST(Kdenlive, DescriptionsFollowItsFormatAndThePlugIns) {
    std::set<std::string> described;
    for (auto const& [folder, element] : {std::pair{"effects", "effect"}, {"transitions", "transition"}}) {
        for (fs::directory_entry const& entry : fs::directory_iterator(fs::path(KALTOR_KDENLIVE_FOLDER) / folder)) {
            std::string const stem = entry.path().stem();
            SCOPED_TRACE(stem);
            described.insert(stem);
            ptree file;
            boost::property_tree::read_xml(
                entry.path(), file,
                boost::property_tree::xml_parser::trim_whitespace | boost::property_tree::xml_parser::no_comments);
            ptree const& root = file.get_child(element);
            EXPECT_EQ(root.get<std::string>("<xmlattr>.tag"), "frei0r." + stem);
            EXPECT_EQ(root.get<std::string>("<xmlattr>.id"), "frei0r." + stem);
            std::vector<std::string> const children = ListChildren(root);
            ASSERT_GE(children.size(), 3U);
            EXPECT_THAT(std::vector(children.begin(), children.begin() + 3),
                        testing::ElementsAre("name", "description", "author"));
            Door const door(stem);
            EXPECT_EQ(door.GetInfo().plugin_type == kFrei0rMixer2, std::string(element) == "transition");
            EXPECT_EQ(root.get<std::string>("description"), door.GetInfo().explanation);
            DoorInstance const untouched(door, 8, 8);
            int parameters = 0;
            for (auto const& [name, child] : root) {
                if (name == "parameter") {
                    CheckParameter(child, door, untouched);
                    ++parameters;
                }
            }
            int texts = 0;
            for (int i = 0; i < door.GetInfo().num_params; ++i) {
                texts += door.GetParameter(i).type == kFrei0rString ? 1 : 0;
            }
            EXPECT_EQ(parameters + texts, door.GetInfo().num_params);
        }
    }
    EXPECT_EQ(described.size(), 77U);
}

}  // namespace
}  // namespace Kaltor::Tests

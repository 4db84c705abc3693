// Runs the commands that the documents and the help texts show, and reads the edits in them.
#include <regex>

#include <boost/algorithm/string/trim.hpp>

#include "CommandTest.h"
#include "Edit/DocumentReader.h"

namespace Kaltor {
namespace {

constexpr char const* kVerbs[]{"list",  "describe", "apply",   "strip", "render",
                               "check", "convert",  "studio",  "gallery", "bench", "doctor", "farm submit"};

// Commands that would take minutes, with the words that make them short.
std::map<std::string, std::string> const kShortened{
    {"kaltor gallery gallery", "--size 32x18 --only Invert"},
    {"kaltor gallery gallery --input a.mp4 --input b.mp4 --only Crossfade Pageturn BlurGaussian", "--size 32x18"},
    {"kaltor bench", "Invert --size 32x18 --seconds 0.01"},
    {"kaltor bench --depth 16f", "Invert --size 32x18 --seconds 0.01"},
    {"kaltor bench BlurGaussian --seconds 2", "--size 32x18"},
    {"kaltor bench tint.glsl --size 1280x720", "--seconds 0.01"},
    {"kaltor bench BlurGaussian Crossfade --size 1280x720 --json today.json", "--seconds 0.01"},
    {"kaltor bench --size 1920x1080 --compare yesterday.json", "Invert --seconds 0.01"},
    {"kaltor bench --size 1920x1080 --json new.json --compare old.json", "Invert --seconds 0.01"},
};

// Commands that are not run, with the reason.
std::map<std::string, std::string> const kNotRun{
    {"kaltor list --json | jq -r '.[] | select(.inputs == 2) | .name'", "jq need not be installed"},
    {"kaltor farm submit edit.json -o out.mp4 --partition video --job-option time=30 --job-option cpus-per-task=4",
     "it needs a cluster; scripts/test-farm has one"},
    {"kaltor farm status out.mp4.farm", "as above"},
    {"kaltor farm wait out.mp4.farm", "as above"},
    {"kaltor farm join \"$dir\"", "as above"},
};

/// Lines that begin with "kaltor ", without their comments; in Markdown only those of fenced blocks. A line that ends
/// in a backslash continues in the next one.
std::vector<std::string> FindCommands(std::istream& text, bool isMarkdown) {
    std::vector<std::string> commands;
    bool isWanted = !isMarkdown;
    bool isContinued = false;
    for (std::string line; std::getline(text, line);) {
        boost::trim(line);
        if (isMarkdown && line.starts_with("```")) {
            isWanted = !isWanted;
        }
        bool const isCommand = isWanted && line.starts_with("kaltor ") && std::isdigit(line[7]) == 0;  // no version
        if (isContinued) {
            commands.back() += " " + line;
        } else if (isCommand) {
            commands.push_back(line.substr(0, line.find(" #")));
        }
        isContinued = (isContinued || isCommand) && line.ends_with('\\');
        if (isContinued) {
            commands.back().pop_back();
        }
        if (isContinued || isCommand) {
            boost::trim(commands.back());
        }
    }
    return commands;
}

/// What stands in fenced blocks of a language.
std::vector<std::string> FindBlocks(fs::path const& document, std::string const& language) {
    std::vector<std::string> blocks;
    std::ifstream text(document);
    bool isInside = false;
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("```")) {
            isInside = line == "```" + language;
            if (isInside) {
                blocks.emplace_back();
            }
        } else if (isInside) {
            blocks.back() += line + "\n";
        }
    }
    return blocks;
}

std::vector<std::string> FindJson(fs::path const& document) {
    return FindBlocks(document, "json");
}

class DocumentationTest : public Tests::CommandTest {
protected:
    DocumentationTest() {
        fs::copy(In("a.png"), In("in.png"));
        fs::copy(In("b.png"), In("photo.jpg"));  // a picture's format is known by its content
        for (auto const& [clip, seconds] : {std::pair{"a.mp4", 13}, {"b.mp4", 3}, {"c.mp4", 3}, {"b.mov", 92}}) {
            Succeed(fmt::format("render a.png@-{} -o {} --fps 2 --size 64x36", seconds, clip));
        }
        Tests::WriteTone(In("song.mp3"));
        std::ofstream(In("people.csv")) << "name,clip\nAnn,a\n\"Bo, Jr.\",b\n";
        std::ofstream(In("form.json")) << FindJson(fs::path(KALTOR_SOURCE_DIR) / "docs" / "farm.md").at(0);
        std::ofstream(In("edit.json")) << FindJson(fs::path(KALTOR_SOURCE_DIR) / "docs" / "edits.md").at(0);
        fs::path const shaders = fs::path(KALTOR_SOURCE_DIR) / "docs" / "shader-files.md";
        std::vector<std::string> const blocks = FindBlocks(shaders, "glsl");
        std::ofstream(In("curtain.glsl")) << blocks.at(0);
        std::ofstream(In("tint.glsl")) << blocks.at(1);
        std::ofstream(In("halo.glsl")) << blocks.at(2);
        std::ofstream(In("opening.json")) << FindJson(shaders).at(0);
        Succeed("render a.mp4 b.mp4 --save-edit joined.json");
        Succeed("convert joined.json timeline.otio");
        std::ofstream(In("holidays.json5"))
            << "{clips: [{transition: {name: 'fade'}, layers: [{type: 'video', path: 'b.mp4'}]},"
               " {layers: [{type: 'image', path: 'photo.jpg'}]}]}";
        for (char const* const report : {"yesterday.json", "old.json"}) {
            Run(fmt::format("bench Invert --size 32x18 --seconds 0.01 --json {}", report));
        }
    }

    /// Runs a whole line of a shell in a fresh copy of the folder.
    void RunLine(std::string const& line) {
        fs::path const scratch = folder / "scratch";
        fs::copy(folder / "work", scratch);
        std::string const script = fmt::format("cd '{}' && PATH='{}':\"$PATH\" && {{ {}\n}} > ../log/out 2> ../log/err",
                                               scratch.string(), fs::path(KALTOR_COMMAND).parent_path().string(), line);
        int const status = std::system(script.c_str());
        EXPECT_EQ(status, 0);
        // What another form has no word for is a warning.
        bool const mayWarn = line.find("kaltor convert ") != std::string::npos;
        std::string const said = ReadAll(folder / "log" / "err");
        EXPECT_TRUE(said.empty() || (mayWarn && said.starts_with("kaltor: warning: "))) << said;
        std::smatch output;
        bool const isMade =
            status == 0 && line.find("--dry-run") == std::string::npos && line.find("--each") == std::string::npos;
        if (isMade && std::regex_search(line, output, std::regex(" -o ([^ %]*[^ %-])( |$)"))) {
            EXPECT_GT(fs::file_size(scratch / output[1].str()), 0U);
        }
        fs::remove_all(scratch);
    }

    /// A text that stands for many commands: at least its options exist.
    void CheckSynopsis(std::string const& line) const {
        std::string const verb = line.substr(7, line.find(' ', 7) - 7);
        std::string const help = Succeed(verb + " --help");
        std::regex const option("--[a-z-]+");
        for (std::sregex_iterator found(line.begin(), line.end(), option); found != std::sregex_iterator(); ++found) {
            EXPECT_THAT(help, testing::ContainsRegex(found->str() + "[^a-z-]"));
        }
    }
};

TEST(EditDocumentation, EveryEditIsRight) {
    Host::Catalog const catalog = Host::Catalog::Load();
    int count = 0;
    for (std::string const& block : FindJson(fs::path(KALTOR_SOURCE_DIR) / "docs" / "edits.md")) {
        // Some show only a part.
        bool const isWhole = block.find("\"version\"") != std::string::npos;
        std::string const text = isWhole ? block : R"({"version": 1, "clips": [{"color": "#000000"}], )" + block + "}";
        EXPECT_NO_THROW(Edit::ReadDocument(Edit::ParseJson(text, "docs/edits.md", true), catalog)) << block;
        ++count;
    }
    EXPECT_GE(count, 8);
}

/// Names of environment variables in a text, as `form` finds them in its first group.
std::set<std::string> FindVariables(std::string const& text, std::regex const& form) {
    std::set<std::string> names;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        names.insert((*match)[1].str());
    }
    return names;
}

TEST(EnvironmentTest, AllVariablesAreInTheTableAndNoOthers) {
    std::set<std::string> read;
    for (char const* const layer : {"Adapters", "Apps", "Conf", "Core", "Edit", "Farm", "Host", "Measure", "Media",
                                    "Ogl", "Proc", "Render", "Studio"}) {
        for (fs::directory_entry const& entry : fs::recursive_directory_iterator(fs::path(KALTOR_SOURCE_DIR) / layer)) {
            std::string const name = entry.path().filename().string();
            if (!name.ends_with(".cpp") && !name.ends_with(".h")) {
                continue;
            }
            std::string const text = Tests::ReadAll(entry.path());
            EXPECT_EQ(text.find("getenv(") != std::string::npos, name == "Environment.h") << entry.path();
            read.merge(FindVariables(text, std::regex(R"re((?:GetVariable|SplitPath)\("(\w+)"\))re")));
            read.merge(FindVariables(text, std::regex(R"re(k\w+Variable(?:\[\])? = "(\w+)")re")));
        }
    }
    std::string const document = Tests::ReadAll(fs::path(KALTOR_SOURCE_DIR) / "docs" / "command-line.md");
    std::size_t const begin = document.find("\n### Environment variables\n");
    ASSERT_NE(begin, std::string::npos);
    std::string listed;
    std::istringstream lines(document.substr(begin, document.find("\n## ", begin) - begin));
    for (std::string line; std::getline(lines, line);) {
        listed += line.starts_with("| `") ? line.substr(0, line.find('|', 1)) : "";
    }
    EXPECT_EQ(read, FindVariables(listed, std::regex("`(\\w+)`")));
}

TEST_F(DocumentationTest, EveryCommandWorks) {
    std::vector<std::pair<std::string, std::string>> commands;
    auto const add = [&commands](std::string const& place, std::istream& text, bool isMarkdown) {
        for (std::string const& command : FindCommands(text, isMarkdown)) {
            commands.emplace_back(place, command);
        }
    };
    std::vector<fs::path> documents{fs::path(KALTOR_SOURCE_DIR) / "README.md"};
    for (fs::directory_entry const& entry : fs::directory_iterator(fs::path(KALTOR_SOURCE_DIR) / "docs")) {
        documents.push_back(entry.path());
    }
    for (fs::path const& document : documents) {
        if (document.extension() == ".md") {
            std::ifstream text(document);
            add(document.filename().string(), text, true);
        }
    }
    std::size_t const inDocuments = commands.size();
    EXPECT_GE(inDocuments, 20U);
    for (char const* const verb : kVerbs) {
        std::string const help = Succeed(std::string(verb) + " --help");
        std::istringstream examples(help.substr(std::min(help.find("Example"), help.size())));
        add(std::string(verb) + " --help", examples, false);
    }
    EXPECT_GE(commands.size(), inDocuments + 10U);

    std::set<std::string> seen;
    for (auto const& [place, command] : commands) {
        SCOPED_TRACE(place + ": " + command);
        if (!seen.insert(command).second || kNotRun.contains(command)) {
            continue;
        }
        auto const shortened = kShortened.find(command);
        bool const isSynopsis = command.find('[') != std::string::npos || command.find("...") != std::string::npos;
        bool const isServer = command.starts_with("kaltor studio ");  // it runs until it is stopped
        if (isSynopsis || isServer) {
            CheckSynopsis(command);
        } else {
            RunLine(shortened == kShortened.end() ? command : command + " " + shortened->second);
        }
    }
    for (auto const* const table : {&kShortened, &kNotRun}) {
        for (auto const& [command, detail] : *table) {
            EXPECT_TRUE(seen.contains(command)) << "no text shows " << command << " (" << detail << ")";
        }
    }
}

}  // namespace
}  // namespace Kaltor

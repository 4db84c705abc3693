#include "Farm/Batch.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <fmt/format.h>

#include "Core/Interfaces/Exception.h"
#include "Core/ParseNumber.h"
#include "Proc/Settings/Settings.h"

namespace Kaltor::Farm {
namespace {

using Edit::Json;

[[noreturn]] void Refuse(std::string const& text) {
    Core::Throw(std::invalid_argument(text));
}

/// Reads one record after the other.
class TableReader {
public:
    TableReader(std::string const& wholeText, std::string const& nameOfFile) : text(wholeText), name(nameOfFile) {
        constexpr std::string_view kMark = "\xEF\xBB\xBF";  // many programs put it before UTF-8
        position = text.starts_with(kMark) ? kMark.size() : 0;
    }

    Table Read() {
        Table table;
        while (position < text.size()) {
            std::size_t const begin = line;
            std::vector<std::string> record = ReadRecord();
            bool const isEmpty = record.size() == 1 && record.front().empty();
            if (isEmpty) {
                continue;
            }
            if (table.columns.empty()) {
                CheckColumns(record);
                table.columns = std::move(record);
            } else if (record.size() != table.columns.size()) {
                Fail(begin, fmt::format("has {} fields; there are {} columns", record.size(), table.columns.size()));
            } else {
                table.rows.push_back(std::move(record));
            }
        }
        if (table.rows.empty()) {
            Core::Throw(std::runtime_error(fmt::format("{}: has no rows under its line of column names", name)));
        }
        return table;
    }

private:
    [[noreturn]] void Fail(std::size_t atLine, std::string const& why) const {
        Core::Throw(std::runtime_error(fmt::format("{}: line {} {}", name, atLine, why)));
    }

    void CheckColumns(std::vector<std::string> const& columns) const {
        constexpr std::size_t kMost = 1000;
        if (columns.size() > kMost) {
            Fail(1, fmt::format("names more than {} columns", kMost));
        }
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (columns[i].empty() || columns[i].find_first_of("{}:") != std::string::npos) {
                Fail(1, fmt::format("names a column \"{}\"; a name is a text without braces and colons", columns[i]));
            }
            if (std::count(columns.begin(), columns.end(), columns[i]) > 1) {
                Fail(1, fmt::format("has two columns {}", columns[i]));
            }
        }
    }

    std::vector<std::string> ReadRecord() {
        std::vector<std::string> record(1);
        for (;;) {
            if (position == text.size()) {
                return record;
            }
            char const c = text[position++];
            if (c == '"' && record.back().empty()) {
                ReadQuoted(record.back());
            } else if (c == ',') {
                record.emplace_back();
            } else if (c == '\n' || c == '\r') {
                position += c == '\r' && position < text.size() && text[position] == '\n' ? 1 : 0;
                ++line;
                return record;
            } else {
                record.back() += c;
            }
        }
    }

    void ReadQuoted(std::string& field) {
        std::size_t const begin = line;
        for (;;) {
            if (position == text.size()) {
                Fail(begin, "opens a quote that never ends");
            }
            char const c = text[position++];
            if (c != '"') {
                line += c == '\n' ? 1 : 0;
                field += c;
                continue;
            }
            if (position == text.size() || text[position] != '"') {
                break;
            }
            field += text[position++];
        }
        if (position < text.size() && text[position] != ',' && text[position] != '\n' && text[position] != '\r') {
            Fail(line, "goes on after a closing quote");
        }
    }

    std::string const& text;
    std::string name;
    std::size_t position = 0;
    std::size_t line = 1;
};

std::size_t FindColumn(Table const& table, std::string const& column) {
    auto const found = std::find(table.columns.begin(), table.columns.end(), column);
    if (found == table.columns.end()) {
        std::string const nearest = Proc::FindNearest(column, table.columns);
        Refuse(fmt::format("there is no column {}{}", column,
                           nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest)));
    }
    return static_cast<std::size_t>(std::distance(table.columns.begin(), found));
}

using Check = std::function<void(std::string const& column, std::string const& value, bool isFirst)>;

std::string FillChecked(std::string const& text, Table const& table, std::size_t row, Check const& check) {
    std::string filled;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char const c = text[at];
        bool const isDoubled = at + 1 < text.size() && text[at + 1] == c;
        if ((c == '{' || c == '}') && isDoubled) {
            filled += c;
            ++at;
        } else if (c == '{') {
            std::size_t const end = text.find('}', at);
            if (end == std::string::npos) {
                Refuse(fmt::format("\"{}\" opens a brace that never closes; {{{{ is a brace itself", text));
            }
            std::string const column = text.substr(at + 1, end - at - 1);
            std::string const& value = table.rows[row][FindColumn(table, column)];
            if (check) {
                check(column, value, filled.empty() || filled.back() == '/');
            }
            filled += value;
            at = end;
        } else {
            filled += c;
        }
    }
    return filled;
}

/// A text that is one field of another type, or null.
Json FillTyped(std::string const& text, Table const& table, std::size_t row) {
    for (char const* const type : {":number}", ":flag}"}) {
        if (!text.starts_with('{') || !text.ends_with(type)) {
            continue;
        }
        std::string const column = text.substr(1, text.size() - 1 - std::string_view(type).size());
        std::string const& value = table.rows[row][FindColumn(table, column)];
        Json const json = Json::parse(value, nullptr, false);
        bool const isRight = type[1] == 'n' ? json.is_number() : json.is_boolean();
        if (!isRight) {
            Refuse(fmt::format("column {}: \"{}\" is not {}", column, value,
                               type[1] == 'n' ? "a number" : "true or false"));
        }
        return json;
    }
    return nullptr;
}

Json FillAt(Json const& json, Table const& table, std::size_t row, std::string const& place) {
    if (json.is_string()) {
        auto const& text = json.get_ref<std::string const&>();
        try {
            Json typed = FillTyped(text, table, row);
            return typed.is_null() ? Json(Fill(text, table, row)) : typed;
        } catch (std::invalid_argument const& error) {
            Refuse(fmt::format("{}: {}", place, error.what()));
        }
    }
    std::string const before = place.empty() ? "" : place + "/";
    Json filled = json;
    if (json.is_array()) {
        for (std::size_t i = 0; i < filled.size(); ++i) {
            filled[i] = FillAt(filled[i], table, row, before + std::to_string(i));
        }
    } else if (json.is_object()) {
        for (auto const& [key, member] : filled.items()) {
            member = FillAt(member, table, row, before + key);
        }
    }
    return filled;
}

}  // namespace

Table ParseTable(std::string const& text, std::string const& name) {
    return TableReader(text, name).Read();
}

Json ToJson(Table const& table) {
    return {{"columns", table.columns}, {"rows", table.rows}};
}

Table TableFromJson(Json const& json) {
    return {json.at("columns"), json.at("rows")};
}

std::string Fill(std::string const& text, Table const& table, std::size_t row) {
    return FillChecked(text, table, row, {});
}

Json Fill(Json const& json, Table const& table, std::size_t row) {
    return FillAt(json, table, row, "");
}

std::string FillName(std::string const& pattern, Table const& table, std::size_t row) {
    return FillChecked(pattern, table, row, [](std::string const& column, std::string const& value, bool isFirst) {
        if (value.empty() || value.find('/') != std::string::npos || value.find('\0') != std::string::npos ||
            (isFirst && value.front() == '.')) {
            Refuse(fmt::format("column {}: \"{}\" cannot be in the name of a file", column, value));
        }
    });
}

}  // namespace Kaltor::Farm

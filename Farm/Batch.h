#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Edit/Json.h"

namespace Kaltor::Farm {

/// Rows of text under named columns.
struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;

    bool operator==(Table const&) const = default;
};

/// Reads comma-separated values after RFC 4180: the first line names the columns, fields may stand in double quotes, and
/// quoted ones may hold commas, line ends and doubled quotes. Throws `std::runtime_error` with one line that begins with
/// `name` and says which line is wrong.
Table ParseTable(std::string const& text, std::string const& name);

Edit::Json ToJson(Table const& table);
Table TableFromJson(Edit::Json const& json);

/// The text with each `{column}` replaced by the row's field; `{{` and `}}` are braces. Throws `std::invalid_argument`
/// for a column that is not there, with the nearest one.
std::string Fill(std::string const& text, Table const& table, std::size_t row);

/// A template's JSON with the fields of all its texts filled in. A text that is nothing but `{column:number}` becomes a
/// number, and `{column:flag}` true or false. Throws `std::invalid_argument` with the place in the template.
Edit::Json Fill(Edit::Json const& json, Table const& table, std::size_t row);

/// The name of a row's video. Fields cannot lead to another folder: throws `std::invalid_argument` where one holds a
/// slash or is hidden in the name's beginning.
std::string FillName(std::string const& pattern, Table const& table, std::size_t row);

}  // namespace Kaltor::Farm

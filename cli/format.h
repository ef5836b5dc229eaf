// Rows as an aligned table for people, as CSV by RFC 4180 with lines that end with a newline alone, as JSON,
// and as bare values. Free functions; each writes to a stream and leaves its failures there.
//
// JSON replaces bytes that are not UTF-8 by U+FFFD, the table shows control characters and invalid bytes as
// \xNN, NULL as NULL and the text NULL in double quotes. CSV and bare values give all bytes as they are,
// except to a terminal, which would obey some: for that they are shown as in the table. NULL is an empty
// field in CSV and an empty text a quoted one; as bare values both are empty.
#pragma once

#include "client/rows.h"

#include <optional>
#include <ostream>
#include <string>

namespace systema::cli {

/// Who reads the output.
enum class EReader
{
    Program,
    Terminal
};

/// Columns two blanks apart, numbers to the right, no blanks at the end of a line.
void writeTable(std::ostream& a_oStream, const client::Rows& a_oRows, bool a_bHeader = true);

/// A header line, unless it is not wanted, and a line per row.
void writeCsv(std::ostream& a_oStream, const client::Rows& a_oRows, EReader a_eReader, bool a_bHeader = true);

/// The value of each cell on a line of its own, row by row. Writes nothing and gives the column and row
/// when there are several values and one holds a newline, which a program could not tell from the next value.
std::optional<std::string> writeValues(std::ostream& a_oStream, const client::Rows& a_oRows,
                                       EReader a_eReader);

/// An array with an object per row, each on a line of its own.
void writeJson(std::ostream& a_oStream, const client::Rows& a_oRows);

/// A cell for a line of text: numbers as they are, texts in double quotes, NULL as NULL.
std::string literal(const wire::Cell& a_oCell);

} // namespace systema::cli

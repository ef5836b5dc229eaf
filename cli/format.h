// Rows as an aligned table for people, as CSV by RFC 4180 and as JSON. Free functions; each writes to a
// stream and leaves its failures there.
//
// Only JSON and the table change bytes: JSON replaces those that are not UTF-8 by U+FFFD, the table shows
// control characters and invalid bytes as \xNN and NULL as NULL. CSV gives all bytes as they are; NULL is an
// empty field there and an empty text a quoted one.
#pragma once

#include "client/rows.h"

#include <ostream>
#include <string>

namespace systema::cli {

/// Columns two blanks apart, numbers to the right, no blanks at the end of a line.
void writeTable(std::ostream& a_oStream, const client::Rows& a_oRows, bool a_bHeader = true);

/// A header line, unless it is not wanted, and a line per row.
void writeCsv(std::ostream& a_oStream, const client::Rows& a_oRows, bool a_bHeader = true);

/// An array with an object per row, each on a line of its own.
void writeJson(std::ostream& a_oStream, const client::Rows& a_oRows);

/// A cell for a line of text: numbers as they are, texts in double quotes, NULL as NULL.
std::string literal(const wire::Cell& a_oCell);

} // namespace systema::cli

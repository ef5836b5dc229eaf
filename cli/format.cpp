#include "cli/format.h"

#include "cli/cell.h"
#include "cli/json.h"
#include "cli/utf8.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace systema::cli {

namespace {

constexpr std::size_t c_iColumnGap = 2;

std::string shown(const wire::Cell& a_oCell)
{
    if (isNull(a_oCell)) {
        return "NULL";
    }
    return isNumber(a_oCell)           ? cellText(a_oCell)
           : a_oCell.m_sText == "NULL" ? "\"NULL\"" // or it would look like a real one
                                       : printable(a_oCell.m_sText);
}

struct TableColumn
{
    std::size_t m_iWidth;
    bool m_bNumbers; // nothing but numbers and NULL
};

std::vector<TableColumn> measure(const client::Rows& a_oRows, bool a_bHeader)
{
    std::vector<TableColumn> lColumns;
    for (const auto& sName : a_oRows.columns()) {
        lColumns.push_back({a_bHeader ? displayWidth(printable(sName)) : 0, !a_oRows.empty()});
    }
    for (std::size_t iRow = 0; iRow < a_oRows.size(); ++iRow) {
        const client::RowView oRow = a_oRows[iRow];
        for (std::size_t i = 0; i < lColumns.size(); ++i) {
            const wire::Cell& oCell = oRow.m_lCells[i];
            lColumns[i].m_iWidth = std::max(lColumns[i].m_iWidth, displayWidth(shown(oCell)));
            lColumns[i].m_bNumbers = lColumns[i].m_bNumbers && (isNumber(oCell) || isNull(oCell));
        }
    }
    return lColumns;
}

/// Writes one line; the texts come from a function of the column's number.
template<typename Text>
void writeTableLine(std::ostream& a_oStream, const std::vector<TableColumn>& a_lColumns, Text a_oText)
{
    std::size_t iBlanks = 0;
    for (std::size_t i = 0; i < a_lColumns.size(); ++i) {
        const std::string sText = a_oText(i);
        const std::size_t iPadding = a_lColumns[i].m_iWidth - displayWidth(sText);
        iBlanks += a_lColumns[i].m_bNumbers ? iPadding : 0;
        if (!sText.empty()) {
            a_oStream << std::string(iBlanks, ' ') << sText;
            iBlanks = 0;
        }
        iBlanks += (a_lColumns[i].m_bNumbers ? 0 : iPadding) + c_iColumnGap;
    }
    a_oStream << '\n';
}

/// The bytes of a text as that reader can take them.
std::string plain(std::string_view a_sText, EReader a_eReader)
{
    return a_eReader == EReader::Terminal ? printable(a_sText) : std::string(a_sText);
}

std::string csvField(const std::string& a_sText)
{
    if (!a_sText.empty() && a_sText.find_first_of("\",\r\n") == std::string_view::npos) {
        return a_sText;
    }
    std::string sQuoted = "\"";
    for (const char cByte : a_sText) {
        sQuoted.append(cByte == '"' ? 2 : 1, cByte);
    }
    return sQuoted + '"';
}

template<typename Fields, typename Text>
void writeCsvLine(std::ostream& a_oStream, const Fields& a_lFields, Text a_oText)
{
    std::string_view sSeparator;
    for (const auto& oField : a_lFields) {
        a_oStream << sSeparator << a_oText(oField);
        sSeparator = ",";
    }
    a_oStream << '\n';
}

} // namespace

void writeTable(std::ostream& a_oStream, const client::Rows& a_oRows, bool a_bHeader)
{
    const auto lColumns = measure(a_oRows, a_bHeader);
    if (a_bHeader) {
        writeTableLine(a_oStream, lColumns,
                       [&](std::size_t a_iColumn) { return printable(a_oRows.columns()[a_iColumn]); });
    }
    for (std::size_t iRow = 0; iRow < a_oRows.size(); ++iRow) {
        const client::RowView oRow = a_oRows[iRow];
        writeTableLine(a_oStream, lColumns,
                       [&](std::size_t a_iColumn) { return shown(oRow.m_lCells[a_iColumn]); });
    }
}

void writeCsv(std::ostream& a_oStream, const client::Rows& a_oRows, EReader a_eReader, bool a_bHeader)
{
    if (a_bHeader) {
        writeCsvLine(a_oStream, a_oRows.columns(),
                     [&](const std::string& a_sName) { return csvField(plain(a_sName, a_eReader)); });
    }
    for (std::size_t i = 0; i < a_oRows.size(); ++i) {
        writeCsvLine(a_oStream, a_oRows[i].m_lCells, [&](const wire::Cell& a_oCell) {
            return isNull(a_oCell) ? std::string() : csvField(plain(cellText(a_oCell), a_eReader));
        });
    }
}

std::optional<std::string> writeValues(std::ostream& a_oStream, const client::Rows& a_oRows,
                                       EReader a_eReader)
{
    const bool bSeveral = a_oRows.size() * a_oRows.columns().size() > 1;
    std::string sLines;
    for (std::size_t iRow = 0; iRow < a_oRows.size(); ++iRow) {
        const client::RowView oRow = a_oRows[iRow];
        for (std::size_t i = 0; i < oRow.m_lCells.size(); ++i) {
            const std::string sValue = plain(cellText(oRow.m_lCells[i]), a_eReader);
            if (bSeveral && sValue.find('\n') != std::string::npos) {
                return oRow.m_lColumns[i] + " in row " + std::to_string(iRow);
            }
            sLines += sValue + '\n';
        }
    }
    a_oStream << sLines;
    return {};
}

void writeJson(std::ostream& a_oStream, const client::Rows& a_oRows)
{
    a_oStream << '[';
    for (std::size_t iRow = 0; iRow < a_oRows.size(); ++iRow) {
        a_oStream << (iRow > 0 ? ",\n " : "\n ") << jsonRow(a_oRows[iRow]);
    }
    a_oStream << (a_oRows.empty() ? "]\n" : "\n]\n");
}

std::string literal(const wire::Cell& a_oCell)
{
    if (isNull(a_oCell) || isNumber(a_oCell)) {
        return shown(a_oCell);
    }
    std::string sQuoted = "\"";
    for (const char cByte : printable(a_oCell.m_sText)) {
        sQuoted.append(cByte == '"' ? "\\" : "").push_back(cByte);
    }
    return sQuoted + '"';
}

} // namespace systema::cli

#include "cli/keycheck.h"

#include "cli/cell.h"
#include "cli/nearest.h"

#include <algorithm>

namespace systema::cli {

namespace request = client::request;
using client::Status;

namespace {

std::string folded(const std::string& a_sText)
{
    return lowerCase(a_sText.substr(0, a_sText.find_last_not_of(' ') + 1));
}

} // namespace

bool KeyCheck::concerns(const Arguments& a_oArguments)
{
    return isQuoted(a_oArguments) ||
           (a_oArguments.m_oKey && !a_oArguments.m_bAllMatching && isStored(a_oArguments.m_sTable));
}

bool KeyCheck::isQuoted(const Arguments& a_oArguments)
{
    return a_oArguments.m_oKey && a_oArguments.m_oKey->m_oText->find('\'') != std::string::npos &&
           isStored(a_oArguments.m_sTable);
}

bool KeyCheck::isStored(const std::string& a_sTable)
{
    if (!m_oStored) {
        m_oStored = std::move(*m_oConnection.call(request::GetTables{wire::ETableFilter::Stored}));
    }
    return m_oStored->hasName(a_sTable);
}

Status KeyCheck::replaceQuoted(Arguments& a_oArguments)
{
    auto& [sColumn, oText] = *a_oArguments.m_oKey;
    const auto oRows = m_oConnection.call(request::SelectRows{a_oArguments.m_sTable, {"Id", sColumn}});
    if (!oRows.ok()) {
        return oRows;
    }
    std::vector<std::string> lIds;
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        const auto lCells = (*oRows)[i].m_lCells;
        if (showsText(lCells[1], *oText)) {
            lIds.push_back(cellText(lCells[0]));
        }
    }
    if (lIds.empty()) {
        return Status::refused(EResultCode::NoRow);
    }
    if (lIds.size() > 1) {
        std::string sIds = lIds.front();
        std::for_each(lIds.begin() + 1, lIds.end(), [&](const auto& a_sId) { sIds += ", " + a_sId; });
        return Status::refused(EResultCode::Failure, std::to_string(lIds.size()) + " rows have " + sColumn +
                                                         "=" + *oText +
                                                         ", which has a quote; use each one's Id: " + sIds);
    }
    a_oArguments.m_oKey = Assignment{"Id", lIds.front()};
    return {};
}

Status KeyCheck::check(Arguments& a_oArguments)
{
    if (isQuoted(a_oArguments)) {
        if (Status oFound = replaceQuoted(a_oArguments); !oFound.ok()) {
            return oFound;
        }
    }
    const auto& [sColumn, oText] = *a_oArguments.m_oKey;
    Column& oColumn = m_mColumns[{a_oArguments.m_sTable, sColumn}];
    if (isSurelyAlone(oColumn, *oText)) {
        return {};
    }
    // The row tells how the value is stored: "01" in a column of integers is 1.
    auto oFirst = readFirst(a_oArguments, *oText);
    if (!oFirst.ok()) {
        return oFirst;
    }
    if (!*oFirst) {
        return Status::refused(EResultCode::Failure, "how many rows have " + sColumn + "=" + *oText +
                                                         " cannot be told; use --all-matching");
    }
    auto oRead = readColumn(a_oArguments.m_sTable, sColumn);
    if (!oRead.ok()) {
        return oRead;
    }
    oColumn = std::move(*oRead);
    std::size_t iRows = 0;
    for (const auto& [sText, iCount] : oColumn[folded(**oFirst)]) {
        // Texts that the column's collation takes for the same have the same first row.
        const bool bSame = sText == **oFirst || *readFirst(a_oArguments, sText) == *oFirst;
        iRows += bSame ? iCount : 0;
    }
    if (iRows > 1) {
        return Status::refused(EResultCode::Failure, std::to_string(iRows) + " rows have " + sColumn + "=" +
                                                         *oText + "; use --all-matching");
    }
    return **oFirst == *oText
               ? Status()
               : Status::refused(EResultCode::NoRow, "no row shows " + sColumn + "=" + *oText +
                                                         ", but one shows " + sColumn + "=" + **oFirst);
}

void KeyCheck::forget(const Arguments& a_oArguments)
{
    // A row that goes makes no value more frequent, but a new one may, and one that gets another value.
    std::erase_if(m_mColumns, [&](const auto& a_oEntry) {
        const auto& [sTable, sColumn] = a_oEntry.first;
        return sTable == a_oArguments.m_sTable &&
               (a_oArguments.m_eWrite == EWrite::Add ||
                std::ranges::any_of(a_oArguments.m_lAssignments, [&](const Assignment& a_oAssignment) {
                    return sameIgnoringCase(a_oAssignment.m_sColumn, sColumn);
                }));
    });
}

bool KeyCheck::isSurelyAlone(const Column& a_oColumn, const std::string& a_sText)
{
    const auto it = a_oColumn.find(folded(a_sText));
    return it != a_oColumn.end() && it->second == Texts{{a_sText, 1}};
}

client::Result<KeyCheck::Column> KeyCheck::readColumn(const std::string& a_sTable,
                                                      const std::string& a_sColumn)
{
    const auto oRows = m_oConnection.call(request::SelectRows{a_sTable, {a_sColumn}});
    client::Result<Column> oColumn{Status(oRows)};
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        const wire::Cell& oCell = (*oRows)[i].m_lCells.front();
        if (!isNull(oCell)) {
            const std::string sText = cellText(oCell);
            ++(*oColumn)[folded(sText)][sText];
        }
    }
    return oColumn;
}

/// The key's column of the first row with the value, nothing where it cannot be read.
client::Result<std::optional<std::string>> KeyCheck::readFirst(const Arguments& a_oArguments,
                                                               const std::string& a_sText)
{
    const std::string& sColumn = a_oArguments.m_oKey->m_sColumn;
    const auto oRow =
        m_oConnection.call(request::SelectKey{a_oArguments.m_sTable, sColumn, a_sText, {sColumn}});
    if (!oRow.ok() || oRow->empty() || oRow->begin()->second.getType() == EDataType::Null) {
        return {Status(oRow)};
    }
    return {Status(), oRow->begin()->second.toText()};
}

} // namespace systema::cli

#include "cli/keycheck.h"

#include "cli/cell.h"
#include "cli/references.h"
#include "options/nearest.h"
#include "systema/storedkey.h"

#include <algorithm>
#include <iterator>

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
    return needsRows(a_oArguments) ||
           (a_oArguments.m_oKey && isStored(a_oArguments.m_sTable) &&
            (!a_oArguments.m_bAllMatching || a_oArguments.m_oKey->m_oText->find('\'') != std::string::npos));
}

bool KeyCheck::needsRows(const Arguments& a_oArguments)
{
    return a_oArguments.m_oKey && !a_oArguments.m_oKey->m_oText;
}

std::string KeyCheck::sentValue(const std::string& a_sTable, const std::string& a_sText)
{
    return a_sText.find('\'') != std::string::npos && isStored(a_sTable) ? storedKey(a_sText) : a_sText;
}

bool KeyCheck::isStored(const std::string& a_sTable)
{
    if (!m_oStored) {
        m_oStored = std::move(*m_oConnection.call(request::GetTables{wire::ETableFilter::Stored}));
    }
    return m_oStored->hasName(a_sTable);
}

/// Whether NULL in a row says that the column is NULL: of a column without a type the daemon returns nothing
/// else.
bool KeyCheck::canShowNull(const std::string& a_sTable, const std::string& a_sColumn)
{
    const auto oSchema = m_oConnection.call(request::GetSchema{a_sTable});
    return std::ranges::none_of(*oSchema, [&](const auto& a_oColumn) {
        return a_oColumn.second == EDataType::Null && sameIgnoringCase(a_oColumn.first, a_sColumn);
    });
}

/// The Ids of the rows that show the key.
client::Result<std::vector<Assignment>> KeyCheck::findIds(const Arguments& a_oArguments)
{
    const std::string& sTable = a_oArguments.m_sTable;
    const auto& [sColumn, oText] = *a_oArguments.m_oKey;
    const std::string sKey = textOf(*a_oArguments.m_oKey);
    if (!oText && !canShowNull(sTable, sColumn)) {
        return Status::refused(EResultCode::Failure,
                               "which rows have " + sKey + " cannot be told: the column has no type");
    }
    const auto oRows = m_oConnection.call(request::SelectRows{sTable, {"Id", sColumn}});
    if (!oRows.ok()) {
        return Status(oRows);
    }
    std::vector<Assignment> lIds;
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        const auto lCells = (*oRows)[i].m_lCells;
        if (showsKey(lCells.back(), oText)) {
            if (isNull(lCells.front())) {
                return Status::refused(EResultCode::Failure,
                                       "a row with " + sKey + " has no Id to write it by");
            }
            lIds.push_back({"Id", cellText(lCells.front())});
        }
    }
    if (lIds.empty()) {
        return Status::refused(EResultCode::NoRow, "no row of " + sTable + " has " + sKey);
    }
    if (lIds.size() > 1 && !a_oArguments.m_bAllMatching) {
        return Status::refused(EResultCode::Failure,
                               std::to_string(lIds.size()) + " rows have " + sKey + "; use --all-matching");
    }
    return {Status(), std::move(lIds)};
}

client::Result<std::vector<Assignment>> KeyCheck::find(const Arguments& a_oArguments)
{
    const bool bRead = needsRows(a_oArguments);
    auto oKeys = bRead ? findIds(a_oArguments)
                       : client::Result<std::vector<Assignment>>(Status(), {*a_oArguments.m_oKey});
    if (!isStored(a_oArguments.m_sTable)) {
        return oKeys;
    }
    const char* pAdvice = bRead ? ", which does not tell them apart" : "; use --all-matching";
    for (Assignment& oKey : *oKeys) {
        const bool bChecked = bRead || !a_oArguments.m_bAllMatching;
        if (Status oAlone = bChecked ? checkAlone(a_oArguments.m_sTable, oKey, pAdvice) : Status();
            !oAlone.ok()) {
            return oAlone;
        }
        oKey.m_oText = sentValue(a_oArguments.m_sTable, *oKey.m_oText);
    }
    return oKeys;
}

/// Refuses a key that several rows have, with the advice.
Status KeyCheck::checkAlone(const std::string& a_sTable, const Assignment& a_oKey, const char* a_pAdvice)
{
    const auto& [sColumn, oText] = a_oKey;
    Column& oColumn = m_mColumns[{a_sTable, sColumn}];
    if (isSurelyAlone(oColumn, *oText)) {
        return {};
    }
    // The row tells how the value is stored: "01" in a column of integers is 1.
    auto oFirst = readFirst(a_sTable, sColumn, *oText);
    if (!oFirst.ok()) {
        return oFirst;
    }
    if (!*oFirst) {
        return Status::refused(EResultCode::Failure, "how many rows have " + sColumn + "=" + *oText +
                                                         " cannot be told; use --all-matching");
    }
    if (!oColumn.m_bDistinct) {
        auto oRead = readColumn(a_sTable, sColumn);
        if (!oRead.ok()) {
            return oRead;
        }
        oColumn = std::move(*oRead);
    }
    std::size_t iRows = 0;
    for (const auto& [sText, iCount] : oColumn.m_mTexts[folded(**oFirst)]) {
        // Texts that the column's collation takes for the same have the same first row.
        const bool bSame = sText == **oFirst || *readFirst(a_sTable, sColumn, sText) == *oFirst;
        iRows += bSame ? iCount : 0;
    }
    if (iRows > 1) {
        return Status::refused(EResultCode::Failure,
                               std::to_string(iRows) + " rows have " + sColumn + "=" + *oText + a_pAdvice);
    }
    return **oFirst == *oText
               ? Status()
               : Status::refused(EResultCode::NoRow, "no row shows " + sColumn + "=" + *oText +
                                                         ", but one shows " + sColumn + "=" + **oFirst);
}

void KeyCheck::forget(const Arguments& a_oArguments)
{
    // A row that goes makes no value more frequent, but a new one may, and one that gets another value.
    const auto changes = [&](const std::string& a_sColumn, Column& a_oColumn) {
        if (a_oArguments.m_eWrite == EWrite::Add) {
            a_oColumn.m_bDistinct = a_oColumn.m_bDistinct || isDistinct(a_oArguments.m_sTable, a_sColumn);
            return !a_oColumn.m_bDistinct;
        }
        return std::ranges::any_of(a_oArguments.m_lAssignments, [&](const Assignment& a_oAssignment) {
            return sameIgnoringCase(a_oAssignment.m_sColumn, a_sColumn);
        });
    };
    for (auto it = m_mColumns.begin(); it != m_mColumns.end();) {
        const auto& [sTable, sColumn] = it->first;
        const bool bChanges = sTable == a_oArguments.m_sTable && changes(sColumn, it->second);
        it = bChanges ? m_mColumns.erase(it) : std::next(it);
    }
}

bool KeyCheck::isDistinct(const std::string& a_sTable, const std::string& a_sColumn)
{
    return sameIgnoringCase(a_sColumn, "Id") &&
           isNumbered(a_sColumn, *m_oConnection.call(request::Describe{a_sTable}));
}

bool KeyCheck::isSurelyAlone(const Column& a_oColumn, const std::string& a_sText)
{
    const auto it = a_oColumn.m_mTexts.find(folded(a_sText));
    return it != a_oColumn.m_mTexts.end() && it->second == Texts{{a_sText, 1}};
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
            ++oColumn->m_mTexts[folded(sText)][sText];
        }
    }
    return oColumn;
}

/// The key's column of the first row with the value, nothing where it cannot be read.
client::Result<std::optional<std::string>>
KeyCheck::readFirst(const std::string& a_sTable, const std::string& a_sColumn, const std::string& a_sText)
{
    const auto oRow = m_oConnection.call(
        request::SelectKey{a_sTable, a_sColumn, sentValue(a_sTable, a_sText), {a_sColumn}});
    if (!oRow.ok() || oRow->empty() || oRow->begin()->second.getType() == EDataType::Null) {
        return {Status(oRow)};
    }
    return {Status(), oRow->begin()->second.toText()};
}

} // namespace systema::cli

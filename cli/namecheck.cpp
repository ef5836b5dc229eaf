#include "cli/namecheck.h"

#include "cli/cell.h"
#include "cli/constraintcheck.h"
#include "options/nearest.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace systema::cli {

namespace request = client::request;
using client::Status;

namespace {

std::vector<std::string> columnNames(const ColumnList& a_lSchema)
{
    std::vector<std::string> lNames;
    for (const auto& [sName, eType] : a_lSchema) {
        lNames.push_back(sName);
    }
    return lNames;
}

/// Whether there is no more to the failure than its code.
bool isUnexplained(const Status& a_oStatus)
{
    return !a_oStatus.ok() && !a_oStatus.isConnectionError() &&
           a_oStatus.text() == a_oStatus.code().strerror();
}

/// Whether a wrong name or key is a reason for the failure. The general ones are what some virtual tables
/// answer to a write that lacks the column which they want, or to a key that no row has.
bool mayBeAName(const Status& a_oStatus, const Names& a_oNames)
{
    const EResultCode eCode = a_oStatus.code();
    const bool bOfNames =
        eCode == EResultCode::NoTable || eCode == EResultCode::NoKey || eCode == EResultCode::NoRow;
    const bool bOfWrites = eCode == EResultCode::Failure || eCode == EResultCode::Constraint;
    return isUnexplained(a_oStatus) && (bOfNames || (a_oNames.m_bWrite && bOfWrites) ||
                                        (a_oNames.m_oKeyValue && eCode == EResultCode::Failure));
}

/// How to write what looks like something else than the name of a column.
std::string describeForm(const std::string& a_sColumn)
{
    if (a_sColumn.find('=') != std::string::npos) {
        return "; rows with a value are found by --key " + a_sColumn;
    }
    if (sameIgnoringCase(a_sColumn, "rowid")) {
        return "; --key Id=N finds the row with an Id, --row N the one at a position";
    }
    return a_sColumn.find(',') != std::string::npos ? "; columns are separated by blanks" : "";
}

} // namespace

Names namesOf(const Arguments& a_oArguments)
{
    Names oNames{a_oArguments.m_sTable};
    oNames.m_bWrite = a_oArguments.m_eWrite != EWrite::None;
    oNames.m_bAdd = a_oArguments.m_eWrite == EWrite::Add;
    oNames.m_oRow = a_oArguments.m_oRow;
    oNames.m_lValues = a_oArguments.m_lAssignments;
    if (a_oArguments.m_oKey) {
        oNames.m_oKeyValue = a_oArguments.m_oKey->m_oText;
        oNames.m_lColumns.push_back(a_oArguments.m_oKey->m_sColumn);
    }
    for (const Assignment& oAssignment : a_oArguments.m_lAssignments) {
        oNames.m_lColumns.push_back(oAssignment.m_sColumn);
    }
    std::ranges::copy(a_oArguments.m_lNames, std::back_inserter(oNames.m_lColumns));
    return oNames;
}

Status NameCheck::explain(Status a_oStatus, const NameList& a_lTables)
{
    if (!isUnexplained(a_oStatus) || a_oStatus.code() != EResultCode::NoTable) {
        return a_oStatus;
    }
    const auto oServed = m_oConnection.call(request::GetTables{});
    const auto it = std::ranges::find_if(
        a_lTables, [&](const std::string& a_sTable) { return !oServed->hasName(a_sTable); });
    if (!oServed.ok() || it == a_lTables.end()) {
        return a_oStatus;
    }
    return Status::refused(a_oStatus.code(),
                           unknownName("table", *it, {}, std::vector(oServed->begin(), oServed->end())));
}

Status NameCheck::explain(Status a_oStatus, const Names& a_oNames)
{
    if (isUnexplained(a_oStatus) && a_oNames.m_bWrite && a_oStatus.code() == EResultCode::ReadOnly) {
        return Status::refused(a_oStatus.code(), describeReadOnly(a_oNames));
    }
    if (a_oStatus.code() == EResultCode::Constraint && a_oNames.m_bWrite && !isUnexplained(a_oStatus)) {
        const std::string sText(a_oStatus.text());
        return Status::refused(a_oStatus.code(),
                               sText + ConstraintCheck(m_oConnection, a_oNames).describe(sText));
    }
    if (!mayBeAName(a_oStatus, a_oNames)) {
        return a_oStatus;
    }
    if (Status oTable = explain(a_oStatus, NameList{a_oNames.m_sTable}); oTable.text() != a_oStatus.text()) {
        return oTable;
    }
    const auto oSchema = m_oConnection.call(request::GetSchema{a_oNames.m_sTable});
    if (!oSchema.ok()) {
        return a_oStatus;
    }
    std::string sText = describeUnknown(a_oNames, columnNames(*oSchema));
    if (sText.empty() && a_oNames.m_oKeyValue) {
        sText = describeKey(a_oStatus, a_oNames);
    } else if (sText.empty() && a_oStatus.code() == EResultCode::NoRow && a_oNames.m_oRow) {
        sText =
            "no such row: " + a_oNames.m_sTable + " has none at position " + std::to_string(*a_oNames.m_oRow);
    } else if (sText.empty() && a_oStatus.code() == EResultCode::NoKey && !a_oNames.m_bWrite) {
        sText = "view " + a_oNames.m_sTable + " has a column that its table lacks";
    }
    return sText.empty() ? std::move(a_oStatus) : Status::refused(a_oStatus.code(), std::move(sText));
}

Status NameCheck::checkColumns(const std::string& a_sTable, const NameList& a_lWanted,
                               const NameList& a_lGiven)
{
    Names oMissing{a_sTable};
    std::ranges::copy_if(a_lWanted, std::back_inserter(oMissing.m_lColumns),
                         [&](const std::string& a_sName) { return !a_lGiven.hasName(a_sName); });
    if (oMissing.m_lColumns.empty()) {
        return {};
    }
    const auto oSchema = m_oConnection.call(request::GetSchema{a_sTable});
    std::string sText = oSchema.ok() ? describeUnknown(oMissing, columnNames(*oSchema)) : std::string();
    return sText.empty() ? Status(oSchema) : Status::refused(EResultCode::NoKey, std::move(sText));
}

std::string NameCheck::describeUnknown(const Names& a_oNames, const std::vector<std::string>& a_lSchema)
{
    // The columns of stored tables, and of no other, are found in any letter case.
    const bool bStored = isStored(a_oNames.m_sTable);
    for (const std::string& sColumn : a_oNames.m_lColumns) {
        const bool bThere = std::ranges::any_of(a_lSchema, [&](const std::string& a_sName) {
            return bStored ? sameIgnoringCase(a_sName, sColumn) : a_sName == sColumn;
        });
        if (!bThere && (bStored || !isShown(a_oNames.m_sTable, sColumn))) {
            const std::string sForm = describeForm(sColumn);
            return unknownName("column", sColumn, a_oNames.m_sTable,
                               sForm.empty() ? a_lSchema : std::vector<std::string>()) +
                   sForm;
        }
    }
    return {};
}

/// Some live tables show a column that is not in their schema.
bool NameCheck::isShown(const std::string& a_sTable, const std::string& a_sColumn)
{
    const auto oRow = m_oConnection.call(request::SelectRow{a_sTable, 0, {a_sColumn}});
    return oRow.ok() && oRow->hasValue(a_sColumn);
}

std::string NameCheck::describeKey(const Status& a_oStatus, const Names& a_oNames)
{
    const std::string& sTable = a_oNames.m_sTable;
    const std::string& sKey = a_oNames.m_lColumns.front();
    const bool bOfKeys = a_oStatus.code() == EResultCode::NoKey || a_oStatus.code() == EResultCode::NoRow;
    if (isStored(sTable)) {
        return a_oStatus.code() == EResultCode::NoRow
                   ? "no row of " + sTable + " has " + sKey + "=" + *a_oNames.m_oKeyValue
                   : std::string();
    }
    if (a_oNames.m_bWrite && !bOfKeys) {
        return {};
    }
    if (a_oNames.m_bWrite &&
        m_oConnection.call(request::SelectKey{sTable, sKey, *a_oNames.m_oKeyValue, {sKey}}).ok()) {
        return "a column given cannot be set in " + sTable;
    }
    // The tables use their codes differently for what is no key and for what no row has: the rows tell.
    const auto oRows = m_oConnection.call(request::SelectRows{sTable, {sKey}});
    if (!oRows.ok()) {
        return bOfKeys ? "no row of " + sTable + " is found by that " + sKey : std::string();
    }
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        const auto lCells = (*oRows)[i].m_lCells;
        if (!lCells.empty() && showsText(lCells.front(), *a_oNames.m_oKeyValue)) {
            return !bOfKeys ? std::string()
                            : sKey + " is no key of " + sTable +
                                  (a_oNames.m_bWrite ? "" : "; --all-matching finds rows by any column");
        }
    }
    return "no row of " + sTable + " has that " + sKey;
}

std::string NameCheck::describeReadOnly(const Names& a_oNames)
{
    const std::string& sTable = a_oNames.m_sTable;
    const auto oDescription = m_oConnection.call(request::Describe{sTable});
    return oDescription.ok() && !oDescription->m_bWritable
               ? sTable + " is read-only"
               : EResultCode(EResultCode::ReadOnly).strerror() + (": " + sTable);
}

bool NameCheck::isStored(const std::string& a_sTable)
{
    return m_oConnection.call(request::GetTables{wire::ETableFilter::Stored})->hasName(a_sTable);
}

Outcome explained(Session& a_oSession, const Status& a_oStatus, const Arguments& a_oArguments,
                  std::string_view a_sContext, NameList a_lUndone)
{
    Names oNames = namesOf(a_oArguments);
    oNames.m_lUndone = std::move(a_lUndone);
    return Outcome(NameCheck(a_oSession.m_oConnection).explain(a_oStatus, oNames), a_sContext);
}

} // namespace systema::cli

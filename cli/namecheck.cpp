#include "cli/namecheck.h"

#include "cli/nearest.h"

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

/// Whether a wrong name is a reason for the failure. The general ones are what some virtual tables answer to
/// a write that lacks the column which they want.
bool mayBeAName(const Status& a_oStatus, bool a_bWrite)
{
    const EResultCode eCode = a_oStatus.code();
    const bool bOfNames =
        eCode == EResultCode::NoTable || eCode == EResultCode::NoKey || eCode == EResultCode::NoRow;
    const bool bOfWrites = eCode == EResultCode::Failure || eCode == EResultCode::Constraint;
    return !a_oStatus.ok() && !a_oStatus.isConnectionError() && a_oStatus.text() == eCode.strerror() &&
           (bOfNames || (a_bWrite && bOfWrites));
}

/// Why a request that names nothing unknown fails for a key column; empty where that cannot be said.
std::string describeNoKey(const Names& a_oNames)
{
    const std::string& sTable = a_oNames.m_sTable;
    if (a_oNames.m_bKey && (!a_oNames.m_bWrite || a_oNames.m_lColumns.size() == 1)) {
        // Some tables give this code for a value that no row has.
        const std::string& sKey = a_oNames.m_lColumns.front();
        return "no row of " + sTable + " has that " + sKey + ", or " + sKey + " is no key of it";
    }
    if (a_oNames.m_bKey) {
        const std::string& sKey = a_oNames.m_lColumns.front();
        return "no row of " + sTable + " has that " + sKey + ", or " + sKey +
               " is no key of it, or a column given cannot be set";
    }
    return a_oNames.m_bWrite ? std::string() : "view " + sTable + " has a column that its table lacks";
}

/// How to write what looks like something else than the name of a column.
std::string describeForm(const std::string& a_sColumn)
{
    if (a_sColumn.find('=') != std::string::npos) {
        return "; rows with a value are found by --key " + a_sColumn;
    }
    return a_sColumn.find(',') != std::string::npos ? "; columns are separated by blanks" : "";
}

} // namespace

Names namesOf(const Arguments& a_oArguments)
{
    Names oNames{
        a_oArguments.m_sTable, {}, a_oArguments.m_oKey.has_value(), a_oArguments.m_eWrite != EWrite::None};
    if (a_oArguments.m_oKey) {
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
    if (!mayBeAName(a_oStatus, false) || a_oStatus.code() != EResultCode::NoTable) {
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
    if (!mayBeAName(a_oStatus, a_oNames.m_bWrite)) {
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
    if (sText.empty() && a_oStatus.code() == EResultCode::NoKey) {
        sText = describeNoKey(a_oNames);
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
    const auto oStored = m_oConnection.call(request::GetTables{wire::ETableFilter::Stored});
    const bool bStored = oStored->hasName(a_oNames.m_sTable);
    for (const std::string& sColumn : a_oNames.m_lColumns) {
        const bool bThere = std::ranges::any_of(a_lSchema, [&](const std::string& a_sName) {
            return bStored ? sameIgnoringCase(a_sName, sColumn) : a_sName == sColumn;
        });
        if (oStored.ok() && !bThere) {
            return unknownName("column", sColumn, a_oNames.m_sTable, a_lSchema) + describeForm(sColumn);
        }
    }
    return {};
}

} // namespace systema::cli

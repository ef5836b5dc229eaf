#include "cli/commands.h"

#include "cli/cell.h"
#include "cli/keycheck.h"
#include "cli/namecheck.h"
#include "cli/readerwatch.h"
#include "cli/schemaform.h"
#include "cli/utf8.h"
#include "cli/write.h"
#include "options/nearest.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace systema::cli {

namespace request = client::request;

namespace {

/// The rows that reading the table gives: some tables give their size as 0 whatever they hold.
client::Result<std::uint32_t> countRows(client::Connection& a_oConnection, const std::string& a_sTable)
{
    const auto oRows = a_oConnection.call(request::SelectRows{a_sTable, {}});
    return {client::Status(oRows), oRows.ok() ? static_cast<std::uint32_t>(oRows->size()) : 0};
}

} // namespace

Outcome runTables(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    const auto oTables = oConnection.call(request::GetTables{});
    if (oTables.ok() && a_oArguments.m_bLong) {
        client::Rows oRows(NameList{"table", "kind", "access"});
        for (const std::string& sTable : *oTables) {
            const auto oDescription = oConnection.call(request::Describe{sTable});
            if (!oDescription.ok()) {
                return oDescription;
            }
            oRows.add({Value(EDataType::Text, sTable), Value(EDataType::Text, kindName(*oDescription)),
                       Value(EDataType::Text, accessName(*oDescription))});
        }
        a_oSession.m_oPrinter.printRows(oRows);
    } else if (oTables.ok()) {
        a_oSession.m_oPrinter.printNames("table", *oTables);
    }
    return oTables;
}

Outcome runSchema(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    auto oColumns = oConnection.call(request::GetSchema{a_oArguments.m_sTable});
    if (!oColumns.ok()) {
        return explained(a_oSession, oColumns, a_oArguments);
    }
    TableSchema oSchema{std::move(*oColumns)};
    auto oDescription = oConnection.call(request::Describe{a_oArguments.m_sTable});
    if (!oDescription.ok() && oDescription.code() != EResultCode::Protocol) {
        return oDescription;
    }
    if (oDescription.ok()) {
        if (oDescription->m_eKind == ETableKind::Stored) {
            oSchema.m_lReferrers = referrersTo(a_oArguments.m_sTable, readReferences(oConnection));
        }
        oSchema.m_oDescription = std::move(*oDescription);
    }
    a_oSession.m_oPrinter.printSchema(oSchema);
    return {};
}

Outcome runCount(Session& a_oSession, const Arguments& a_oArguments)
{
    auto oCount = a_oSession.m_oConnection.call(request::GetSize{a_oArguments.m_sTable});
    if (oCount.ok() && *oCount == 0) {
        oCount = countRows(a_oSession.m_oConnection, a_oArguments.m_sTable);
    }
    if (oCount.ok()) {
        a_oSession.m_oPrinter.printCount(*oCount);
    }
    const Outcome oOutcome = explained(a_oSession, oCount, a_oArguments);
    return oOutcome.ok() || oOutcome.m_sText != oCount.text()
               ? oOutcome
               : Outcome(oCount, "table \"" + a_oArguments.m_sTable + "\": ");
}

namespace {

constexpr std::size_t c_iAllRows = std::numeric_limits<std::size_t>::max();

/// The rows that show the value of the key, with the wanted columns; found here, not by the daemon.
client::Result<client::Rows> readMatchingRows(client::Connection& a_oConnection,
                                              const Arguments& a_oArguments, std::size_t a_iMost = c_iAllRows)
{
    const std::string& sTable = a_oArguments.m_sTable;
    const auto& [sKey, oText] = *a_oArguments.m_oKey;
    NameList lRead(a_oArguments.m_lNames);
    if (!lRead.empty()) {
        lRead.add(sKey);
    }
    const auto oRows = a_oConnection.call(request::SelectRows{sTable, lRead});
    if (!oRows.ok()) {
        return client::Status(oRows);
    }
    const NameList& lColumns = oRows->columns();
    const auto itKey =
        std::ranges::find_if(lColumns, [&](const auto& a_sName) { return sameIgnoringCase(a_sName, sKey); });
    if (itKey == lColumns.end()) { // the daemon says with which code the table refuses it
        const client::Status oRefused = a_oConnection.call(request::SelectRows{sTable, {sKey}});
        return oRefused.ok() ? client::Status::refused(EResultCode::NoKey) : oRefused;
    }
    const auto iKey = static_cast<std::size_t>(itKey - lColumns.begin());
    const std::size_t iWanted = lRead.empty() ? lColumns.size() : lColumns.size() - 1;
    client::Rows oFound(NameList(std::vector(lColumns.begin(), lColumns.begin() + std::ptrdiff_t(iWanted))));
    for (std::size_t i = 0; i < oRows->size() && oFound.size() < a_iMost; ++i) {
        const auto lCells = (*oRows)[i].m_lCells;
        if (showsKey(lCells[iKey], oText)) {
            std::vector<Value> lValues;
            std::ranges::transform(lCells.first(iWanted), std::back_inserter(lValues), &wire::Cell::toValue);
            oFound.add(lValues);
        }
    }
    if (oFound.empty()) {
        return client::Status::refused(EResultCode::NoRow, oText ? std::string()
                                                                 : "no row of " + sTable + " has " +
                                                                       textOf(*a_oArguments.m_oKey));
    }
    return {client::Status(), std::move(oFound)};
}

client::Result<client::Rows> readWantedRows(client::Connection& a_oConnection, const Arguments& a_oArguments)
{
    const std::string& sTable = a_oArguments.m_sTable;
    const NameList lColumns(a_oArguments.m_lNames);
    if (a_oArguments.m_bAllMatching || KeyCheck(a_oConnection).needsRows(a_oArguments)) {
        return readMatchingRows(a_oConnection, a_oArguments, a_oArguments.m_bAllMatching ? c_iAllRows : 1);
    }
    if (!a_oArguments.m_oRow && !a_oArguments.m_oKey) {
        return a_oConnection.call(request::SelectRows{sTable, lColumns});
    }
    const auto oRow =
        a_oArguments.m_oRow
            ? a_oConnection.call(request::SelectRow{sTable, *a_oArguments.m_oRow, lColumns})
            : a_oConnection.call(request::SelectKey{
                  sTable, a_oArguments.m_oKey->m_sColumn,
                  KeyCheck(a_oConnection).sentValue(sTable, *a_oArguments.m_oKey->m_oText), lColumns});
    return {client::Status(oRow), oRow.ok() ? client::Rows(*oRow) : client::Rows()};
}

/// Says that a read by key has left rows out. An Id is taken for that of one row.
void warnOfOthers(Session& a_oSession, const Arguments& a_oArguments)
{
    if (!a_oArguments.m_oKey || a_oArguments.m_bAllMatching ||
        sameIgnoringCase(a_oArguments.m_oKey->m_sColumn, "Id")) {
        return;
    }
    Arguments oAll = a_oArguments;
    oAll.m_lNames = {oAll.m_oKey->m_sColumn};
    const std::size_t iRows = readMatchingRows(a_oSession.m_oConnection, oAll)->size();
    if (iRows > 1) {
        a_oSession.m_oErrors << "ledgerctl: the first of " << iRows << " rows with "
                             << printable(textOf(*oAll.m_oKey)) << "; --all-matching shows them all"
                             << std::endl;
    }
}

Outcome printRows(Printer& a_oPrinter, const Arguments& a_oArguments, const client::Rows& a_oRows)
{
    if (a_oArguments.m_bValues) {
        return a_oPrinter.printValues(a_oRows);
    }
    a_oPrinter.printRows(a_oRows);
    return {};
}

} // namespace

Outcome runGet(Session& a_oSession, const Arguments& a_oArguments)
{
    const ReaderWatch oReader(a_oSession.m_iOutput);
    auto& oConnection = a_oSession.m_oConnection;
    const auto oRows = readWantedRows(oConnection, a_oArguments);
    if (!oRows.ok()) {
        return explained(a_oSession, oRows, a_oArguments);
    }
    const auto oColumns =
        NameCheck(oConnection)
            .checkColumns(a_oArguments.m_sTable, NameList(a_oArguments.m_lNames), oRows->columns());
    if (!oColumns.ok()) {
        return oColumns;
    }
    warnOfOthers(a_oSession, a_oArguments);
    return printRows(a_oSession.m_oPrinter, a_oArguments, *oRows);
}

Outcome runInfo(Session& a_oSession, const Arguments&)
{
    const auto oInfo = a_oSession.m_oConnection.call(request::Info{});
    if (oInfo.ok()) {
        a_oSession.m_oPrinter.printRecord(*oInfo);
    }
    return oInfo;
}

} // namespace systema::cli

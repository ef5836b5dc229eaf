#include "cli/cell.h"
#include "cli/commands.h"
#include "cli/format.h"
#include "cli/json.h"
#include "cli/namecheck.h"
#include "cli/newfile.h"
#include "cli/progressbar.h"
#include "cli/readerwatch.h"
#include "cli/wholetable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

namespace systema::cli {

namespace request = client::request;

namespace {

/// A table that is not there is named by the text itself.
Outcome tableFailure(client::Connection& a_oConnection, const client::Status& a_oStatus,
                     const std::string& a_sTable)
{
    const auto oExplained = NameCheck(a_oConnection).explain(a_oStatus, NameList{a_sTable});
    return oExplained.text() == a_oStatus.text() ? Outcome(a_oStatus, tableContext(a_sTable))
                                                 : Outcome(oExplained);
}

/// True when one of the rows has the Id 0, as it may be in tables that are computed.
bool showsZeroRow(const client::Rows& a_oRows)
{
    for (std::size_t i = 0; i < a_oRows.size(); ++i) {
        const wire::Cell* pId = a_oRows[i].find("Id");
        if (pId != nullptr && cellText(*pId) == "0") {
            return true;
        }
    }
    return false;
}

void writeRow(std::ostream& a_oStream, const client::RowView& a_oRow, bool& a_bFirst)
{
    a_oStream << (a_bFirst ? "\n" : ",\n") << "   " << jsonRow(a_oRow, EInvalidBytes::Hex);
    a_bFirst = false;
}

void writeTable(std::ostream& a_oStream, const std::string& a_sTable, const WholeTable& a_oTable)
{
    JsonPtr oColumns(json_object_new_array());
    for (const auto& [sName, eType] : a_oTable.m_lSchema) {
        JsonPtr oColumn(json_object_new_object());
        addMember(oColumn, "name", jsonText(sName));
        addMember(oColumn, "type", jsonText(typeName(eType)));
        addElement(oColumns, std::move(oColumn));
    }
    a_oStream << ' ' << jsonText(a_sTable) << ": {\n  \"columns\": " << oColumns << ",\n  \"rows\": [";
    bool bFirst = true;
    if (a_oTable.m_oZeroRow && !showsZeroRow(a_oTable.m_oRows)) {
        writeRow(a_oStream, client::Rows(*a_oTable.m_oZeroRow)[0], bFirst);
    }
    for (std::size_t i = 0; i < a_oTable.m_oRows.size(); ++i) {
        writeRow(a_oStream, a_oTable.m_oRows[i], bFirst);
    }
    a_oStream << "\n  ]\n }";
}

Outcome writeFile(const std::string& a_sFile, std::string_view a_sText)
{
    NewFile oFile(a_sFile);
    if (oFile.ok() && oFile.write(a_sText) && oFile.finish()) {
        return {};
    }
    return client::Status::refused(EResultCode::Failure,
                                   "cannot write " + a_sFile + ": " + std::strerror(errno));
}

/// All rows of a table, the one with Id 0 first.
client::Rows allRows(WholeTable a_oTable)
{
    if (!a_oTable.m_oZeroRow || showsZeroRow(a_oTable.m_oRows)) {
        return std::move(a_oTable.m_oRows);
    }
    client::Rows oAll(a_oTable.m_oRows.columns());
    std::vector<Value> lValues;
    for (const std::string& sColumn : oAll.columns()) {
        const Value* pValue = a_oTable.m_oZeroRow->find(sColumn);
        lValues.push_back(pValue != nullptr ? *pValue : Value(EDataType::Null));
    }
    oAll.add(lValues);
    for (std::size_t i = 0; i < a_oTable.m_oRows.size(); ++i) {
        lValues.clear();
        std::ranges::transform(a_oTable.m_oRows[i].m_lCells, std::back_inserter(lValues),
                               &wire::Cell::toValue);
        oAll.add(lValues);
    }
    return oAll;
}

/// The one table that CSV can hold.
Outcome exportCsv(Session& a_oSession, const Arguments& a_oArguments, const std::string& a_sFile)
{
    if (a_oArguments.m_lNames.size() != 1) {
        return Outcome::usage("export --csv writes one table, which must be named; JSON holds several");
    }
    const std::string& sTable = a_oArguments.m_lNames.front();
    WholeTable oTable;
    if (const auto oStatus = readTable(a_oSession.m_oConnection, sTable, oTable); !oStatus.ok()) {
        return tableFailure(a_oSession.m_oConnection, oStatus, sTable);
    }
    const client::Rows oRows = allRows(std::move(oTable));
    if (!a_sFile.empty()) {
        std::ostringstream oCsv;
        writeCsv(oCsv, oRows, EReader::Program);
        return writeFile(a_sFile, oCsv.view());
    }
    protectRedirection(a_oSession.m_iOutput);
    a_oSession.m_oPrinter.printRows(oRows);
    return {};
}

} // namespace

Outcome runExport(Session& a_oSession, const Arguments& a_oArguments)
{
    const std::string sFile = a_oArguments.m_sOutput == "-" ? "" : a_oArguments.m_sOutput;
    if (!NewFile::isReplaceable(sFile)) {
        return Outcome::usage(sFile + " is not a regular file");
    }
    const ReaderWatch oReader(sFile.empty() ? a_oSession.m_iOutput : -1);
    if (a_oArguments.m_eFormat == EFormat::Csv) {
        return exportCsv(a_oSession, a_oArguments, sFile);
    }
    auto& oConnection = a_oSession.m_oConnection;
    NameList lTables;
    for (const std::string& sTable : a_oArguments.m_lNames) {
        if (!lTables.hasName(sTable)) { // a JSON object has a member once
            lTables.add(sTable);
        }
    }
    if (lTables.empty()) {
        auto oStored = oConnection.call(request::GetTables{wire::ETableFilter::Stored});
        if (!oStored.ok()) {
            return oStored;
        }
        lTables = std::move(*oStored);
    }
    // Written at the end, so that a failure half-way leaves no half of a file that looks like one.
    Outcome oFailures;
    std::ostringstream oJson;
    {
        ProgressBar oProgress(a_oSession.m_oErrors, a_oSession.m_bProgress, lTables.size());
        const char* pSeparator = "{\n";
        for (const auto& sTable : lTables) {
            WholeTable oTable;
            if (const auto oStatus = readTable(oConnection, sTable, oTable); !oStatus.ok()) {
                Outcome oFailure = tableFailure(oConnection, oStatus, sTable);
                if (oStatus.isConnectionError() || oStatus.code() == EResultCode::NoTable) {
                    return oFailure;
                }
                oFailures.m_iExit = oFailures.ok() ? oFailure.m_iExit : oFailures.m_iExit;
                oFailures.m_sText += (oFailures.m_sText.empty() ? "" : "; ") + oFailure.m_sText;
                oProgress.advance();
                continue;
            }
            oJson << std::exchange(pSeparator, ",\n");
            writeTable(oJson, sTable, oTable);
            oProgress.advance();
        }
        oJson << (oJson.view().empty() ? "{" : "") << "\n}\n";
    }
    if (!sFile.empty()) {
        if (!oFailures.ok()) {
            oFailures.m_sText += "; " + sFile + " is not written";
        }
        return oFailures.ok() ? writeFile(sFile, oJson.view()) : oFailures;
    }
    protectRedirection(a_oSession.m_iOutput);
    a_oSession.m_oPrinter.stream() << oJson.view();
    return oFailures;
}

} // namespace systema::cli

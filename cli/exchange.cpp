#include "cli/cell.h"
#include "cli/commands.h"
#include "cli/importplan.h"
#include "cli/input.h"
#include "cli/progressbar.h"
#include "cli/utf8.h"
#include "cli/writebatch.h"

#include <algorithm>
#include <sstream>

namespace systema::cli {

namespace request = client::request;

namespace {

std::string tableContext(const std::string& a_sTable)
{
    return "table \"" + a_sTable + "\": ";
}

/// The row with Id 0, which no position and no bulk read shows; nothing when there is none.
client::Result<std::optional<ValueList>> readZeroRow(client::Connection& a_oConnection,
                                                     const std::string& a_sTable)
{
    auto oRow = a_oConnection.call(request::SelectKey{a_sTable, "Id", "0"});
    if (oRow.ok()) {
        return {client::Status(), std::move(*oRow)};
    }
    const bool bNone = oRow.code() == EResultCode::NoRow || oRow.code() == EResultCode::NoKey;
    return bNone ? client::Status() : client::Status(oRow);
}

struct Table
{
    ColumnList m_lSchema;
    client::Rows m_oRows;
    std::optional<ValueList> m_oZeroRow;
};

client::Status readTable(client::Connection& a_oConnection, const std::string& a_sTable, Table& a_oTable)
{
    auto oSchema = a_oConnection.call(request::GetSchema{a_sTable});
    if (!oSchema.ok()) {
        return oSchema;
    }
    a_oTable.m_lSchema = std::move(*oSchema);
    auto oRows = a_oConnection.call(request::SelectRows{a_sTable});
    if (!oRows.ok()) {
        return oRows;
    }
    a_oTable.m_oRows = std::move(*oRows);
    if (a_oTable.m_lSchema.getColumn("Id") == nullptr) {
        return {};
    }
    auto oZeroRow = readZeroRow(a_oConnection, a_sTable);
    a_oTable.m_oZeroRow = std::move(*oZeroRow);
    return oZeroRow;
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

void writeTable(std::ostream& a_oStream, const std::string& a_sTable, const Table& a_oTable)
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

} // namespace

Outcome runExport(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    NameList lTables;
    for (const auto& sTable : a_oArguments.m_lNames) {
        lTables.add(sTable);
    }
    if (lTables.empty()) {
        auto oStored = oConnection.call(request::GetTables{wire::ETableFilter::Stored});
        if (!oStored.ok()) {
            return oStored;
        }
        lTables = std::move(*oStored);
    }
    // Written at the end, so that a failure half-way leaves no half of a file that looks like one.
    std::ostringstream oJson;
    {
        ProgressBar oProgress(a_oSession.m_oErrors, a_oSession.m_bProgress, lTables.size());
        const char* pSeparator = "{\n";
        for (const auto& sTable : lTables) {
            Table oTable;
            if (const auto oStatus = readTable(oConnection, sTable, oTable); !oStatus.ok()) {
                return Outcome(oStatus, tableContext(sTable));
            }
            oJson << std::exchange(pSeparator, ",\n");
            writeTable(oJson, sTable, oTable);
            oProgress.advance();
        }
        oJson << (lTables.empty() ? "{" : "") << "\n}\n";
    }
    a_oSession.m_oPrinter.stream() << oJson.view();
    return {};
}

// ---------------------------------------------------------------------------------------------------------
// import

namespace {

struct TableImport
{
    std::string m_sTable;
    ImportPlan m_oPlan;
};

Outcome planTable(client::Connection& a_oConnection, const std::string& a_sTable, json_object* a_pTable,
                  ImportPlan& a_oPlan)
{
    json_object* pRows = nullptr;
    if (!json_object_is_type(a_pTable, json_type_object) ||
        !json_object_object_get_ex(a_pTable, "rows", &pRows)) {
        return Outcome::usage("it has no \"rows\"");
    }
    Table oTable;
    if (const auto oStatus = readTable(a_oConnection, a_sTable, oTable); !oStatus.ok()) {
        return oStatus;
    }
    std::vector<ValueList> lRows;
    Outcome oOutcome = readRows(pRows, oTable.m_lSchema, lRows);
    if (oOutcome.ok()) {
        a_oPlan = planImport(oTable.m_oRows, oTable.m_oZeroRow, lRows);
    }
    return oOutcome;
}

/// Reads every table of the file against the one of the daemon.
Outcome planTables(Session& a_oSession, json_object* a_pFile, std::vector<TableImport>& a_lImports)
{
    json_object_object_foreach(a_pFile, pTable, pContent)
    {
        auto& [sTable, oPlan] = a_lImports.emplace_back(TableImport{pTable, {}});
        Outcome oOutcome = planTable(a_oSession.m_oConnection, sTable, pContent, oPlan);
        if (!oOutcome.ok()) {
            oOutcome.m_sText.insert(0, tableContext(sTable));
            return oOutcome;
        }
        if (oPlan.m_bZeroRowDiffers) {
            a_oSession.m_oErrors << "ledgerctl: " << printable(tableContext(sTable))
                                 << "its row with Id 0 is another one, which cannot be written\n";
        }
    }
    return {};
}

/// Deletes first, so that values that must be unique are free for the rows that take them over.
template<typename Done>
void addWrites(WriteBatch& a_oBatch, const TableImport& a_oImport, Done a_oDone)
{
    const std::string& sTable = a_oImport.m_sTable;
    const ImportPlan& oPlan = a_oImport.m_oPlan;
    const auto sContext = [&](const std::string& a_sId) {
        return tableContext(sTable) + "Id " + a_sId + ": ";
    };
    for (const auto& sId : oPlan.m_lDeletes) {
        a_oBatch.add(request::DeleteKey{sTable, "Id", sId}, sContext(sId), a_oDone);
    }
    for (const auto& [sId, lValues] : oPlan.m_lUpdates) {
        a_oBatch.add(request::UpdateKey{sTable, "Id", sId, lValues}, sContext(sId), a_oDone);
    }
    for (const auto& lRow : oPlan.m_lInserts) {
        a_oBatch.add(request::InsertRow{sTable, lRow}, sContext(lRow.getValue("Id").toText()), a_oDone);
    }
}

} // namespace

Outcome runImport(Session& a_oSession, const Arguments& a_oArguments)
{
    InputFile oInput(a_oSession.m_oInput, a_oArguments.m_sFile);
    const std::string sText = oInput.readAll();
    if (!oInput.ok()) {
        return Outcome::usage(oInput.error());
    }
    std::string sError;
    const JsonPtr oFile = parseJson(sText, sError);
    if (!sError.empty() || !json_object_is_type(oFile.get(), json_type_object)) {
        return Outcome::usage("the file is not an export: " + (sError.empty() ? "not an object" : sError));
    }

    WriteBatch oBatch(a_oSession.m_oConnection);
    if (const auto oBegun = oBatch.begin(a_oArguments.m_oTimeout); !oBegun.ok()) {
        return oBegun;
    }
    std::vector<TableImport> lImports;
    if (Outcome oPlanned = planTables(a_oSession, oFile.get(), lImports); !oPlanned.ok()) {
        return oPlanned;
    }
    std::size_t iWrites = 0;
    std::ranges::for_each(lImports,
                          [&](const TableImport& a_oImport) { iWrites += a_oImport.m_oPlan.size(); });
    ProgressBar oProgress(a_oSession.m_oErrors, a_oSession.m_bProgress, iWrites);
    for (const TableImport& oImport : lImports) {
        addWrites(oBatch, oImport, [&](const client::Status&) { oProgress.advance(); });
    }
    return oBatch.finish();
}

} // namespace systema::cli

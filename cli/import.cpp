#include "cli/commands.h"
#include "cli/importplan.h"
#include "cli/input.h"
#include "cli/namecheck.h"
#include "cli/progressbar.h"
#include "cli/readerwatch.h"
#include "cli/wholetable.h"
#include "cli/writebatch.h"

#include <algorithm>
#include <limits>
#include <ranges>
#include <set>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace systema::cli {

namespace request = client::request;

namespace {

struct TableImport
{
    std::string m_sTable;
    ImportPlan m_oPlan{};
    bool m_bImmediate = false;         // its writes hold at once, and no rollback undoes them
    std::set<std::string> m_lUnique{}; // columns whose values are
};

/// The columns of the schema, and those that only the rows have.
ColumnList columnsOf(const WholeTable& a_oTable)
{
    ColumnList lColumns = a_oTable.m_lSchema;
    for (const std::string& sName : a_oTable.m_oRows.columns()) {
        if (lColumns.getColumn(sName) == nullptr) {
            lColumns.add(sName, EDataType::Null);
        }
    }
    return lColumns;
}

Outcome planTable(client::Connection& a_oConnection, json_object* a_pTable, TableImport& a_oImport)
{
    json_object* pRows = nullptr;
    if (!json_object_is_type(a_pTable, json_type_object) ||
        !json_object_object_get_ex(a_pTable, "rows", &pRows)) {
        return Outcome::usage("it has no \"rows\"");
    }
    WholeTable oTable;
    if (const auto oStatus = readTable(a_oConnection, a_oImport.m_sTable, oTable); !oStatus.ok()) {
        return oStatus;
    }
    if (oTable.m_lSchema.getColumn("Id") == nullptr) {
        return Outcome::usage("it has no Id, by which rows are told apart");
    }
    const auto oDescription = a_oConnection.call(request::Describe{a_oImport.m_sTable});
    if (oDescription.ok()) {
        a_oImport.m_bImmediate = isImmediate(*oDescription);
        for (const ColumnFact& oFact : oDescription->m_lFacts) {
            if (oFact.m_eKind == ColumnFact::EKind::Unique ||
                oFact.m_eKind == ColumnFact::EKind::PrimaryKey) {
                a_oImport.m_lUnique.insert(oFact.m_lColumns.begin(), oFact.m_lColumns.end());
            }
        }
    }
    std::vector<ImportRow> lRows;
    const Outcome oRead = readRows(pRows, columnsOf(oTable), lRows);
    return oRead.ok() ? planImport(oTable.m_oRows, oTable.m_oZeroRow, std::move(lRows), a_oImport.m_oPlan)
                      : oRead;
}

/// Reads every table of the file against the one of the daemon.
Outcome planTables(Session& a_oSession, json_object* a_pFile, std::vector<TableImport>& a_lImports)
{
    json_object_object_foreach(a_pFile, pTable, pContent)
    {
        Outcome oOutcome =
            planTable(a_oSession.m_oConnection, pContent, a_lImports.emplace_back(TableImport{pTable}));
        if (oOutcome.m_iExit ==
            EResultCode::NoTable) { // a table that is not there is named by the text itself
            const auto oRefused = client::Status::refused(EResultCode::NoTable);
            const auto oExplained = NameCheck(a_oSession.m_oConnection).explain(oRefused, NameList{pTable});
            if (oExplained.text() != oRefused.text()) {
                return oExplained;
            }
        }
        if (!oOutcome.ok()) {
            oOutcome.m_sText.insert(0, tableContext(pTable));
            return oOutcome;
        }
    }
    return {};
}

struct Write
{
    std::string m_sWhere; // table and row
    std::variant<request::DeleteKey, request::UpdateKey, request::InsertRow> m_oRequest;
    client::Status m_oRefusal{}; // by a constraint, when it was sent last
};

/// The writes of those tables that take them at once, or of the others. They refer to the plans.
std::vector<Write> changesOf(const std::vector<TableImport>& a_lImports, bool a_bImmediate)
{
    std::vector<Write> lChanges;
    for (const auto& [sTable, oPlan, bImmediate, lUnique] : a_lImports) {
        if (bImmediate != a_bImmediate) {
            continue;
        }
        for (const auto& [sWhere, sId, lValues] : oPlan.m_lUpdates) {
            lChanges.push_back(
                {tableContext(sTable) + sWhere, request::UpdateKey{sTable, "Id", sId, lValues}});
        }
        for (const auto& [sWhere, sId, lValues] : oPlan.m_lInserts) {
            lChanges.push_back({tableContext(sTable) + sWhere, request::InsertRow{sTable, lValues}});
        }
    }
    return lChanges;
}

std::vector<Write> deletesOf(const std::vector<TableImport>& a_lImports, bool a_bImmediate)
{
    std::vector<Write> lDeletes;
    for (const auto& [sTable, oPlan, bImmediate, lUnique] : a_lImports | std::views::reverse) {
        if (bImmediate != a_bImmediate) {
            continue;
        }
        for (const auto& sId : oPlan.m_lDeletes) {
            lDeletes.push_back({tableContext(sTable) + "Id " + sId + ", which is not in the file",
                                request::DeleteKey{sTable, "Id", sId}});
        }
    }
    return lDeletes;
}

/// Sends the writes, and those that a constraint refuses again as long as that gets any of them through.
/// Those still refused are left. Notes which are done if that is wanted. False when another failure has ended
/// the batch.
bool settle(WriteBatch& a_oBatch, std::vector<Write>& a_lWrites, ProgressBar& a_oProgress,
            std::vector<std::string>* a_pDone)
{
    for (std::size_t iBefore = a_lWrites.size() + 1; !a_lWrites.empty() && a_lWrites.size() < iBefore;) {
        iBefore = a_lWrites.size();
        std::vector<Write> lRefused;
        for (const Write& oWrite : a_lWrites) {
            const auto oTake = [&](const client::Status& a_oResult) {
                if (a_oResult.code() == EResultCode::Constraint) {
                    lRefused.push_back({oWrite.m_sWhere, oWrite.m_oRequest, a_oResult});
                    return true;
                }
                if (a_oResult.ok() && a_pDone != nullptr) {
                    a_pDone->push_back(oWrite.m_sWhere);
                }
                a_oProgress.advance();
                const bool bGoneBefore = a_oResult.code() == EResultCode::NoRow &&
                                         std::holds_alternative<request::DeleteKey>(oWrite.m_oRequest);
                return a_oResult.ok() || bGoneBefore; // with a row that it referred to
            };
            std::visit(
                [&](const auto& a_oRequest) { a_oBatch.add(a_oRequest, oWrite.m_sWhere + ": ", oTake); },
                oWrite.m_oRequest);
            if (a_pDone != nullptr && !a_oBatch.wait()) { // nothing more is written after a failure
                return false;
            }
        }
        if (!a_oBatch.wait()) {
            return false;
        }
        a_lWrites = std::move(lRefused);
    }
    return true;
}

/// A value that hardly any row has, of the type of the one wanted.
Value parkedValue(const Value& a_oWanted, std::size_t a_iRow)
{
    if (a_oWanted.getType() == EDataType::Text) {
        return {EDataType::Text, "import " + std::to_string(a_iRow) + " of " + std::to_string(::getpid())};
    }
    return {EDataType::Integer, std::numeric_limits<int>::max() - static_cast<int>(a_iRow)};
}

/// Rows that exchange values which must be unique wait for each other. Gives one of them another value for
/// the while, so that the next gets through; what refers to it follows as the schema says. False when no row
/// takes one.
bool parkValue(client::Connection& a_oConnection, const std::vector<TableImport>& a_lImports,
               const std::vector<Write>& a_lRefused, std::set<std::string>& a_lParked)
{
    for (const Write& oWrite : a_lRefused) {
        const auto* pUpdate = std::get_if<request::UpdateKey>(&oWrite.m_oRequest);
        if (pUpdate == nullptr || !a_lParked.insert(oWrite.m_sWhere).second) {
            continue;
        }
        const auto it = std::ranges::find(a_lImports, pUpdate->m_sTable, &TableImport::m_sTable);
        for (const auto& [sColumn, oValue] : pUpdate->m_lValues) {
            if (!it->m_lUnique.contains(sColumn)) {
                continue;
            }
            request::UpdateKey oParking{pUpdate->m_sTable, pUpdate->m_sKeyColumn, pUpdate->m_sKeyValue};
            oParking.m_lValues.add(sColumn, parkedValue(oValue, a_lParked.size()));
            if (a_oConnection.call(oParking).ok()) {
                return true;
            }
        }
    }
    return false;
}

/// Sends all writes. What rows refer to may come after them, and a value that must be unique may be taken
/// until another row is gone, hence the repeating. Rows are changed before any is deleted, or those that
/// referred to a deleted one would be deleted with it.
/// What a constraint still refuses is left. False when another failure has ended the batch.
bool settleAll(WriteBatch& a_oBatch, std::vector<Write>& a_lChanges, std::vector<Write>& a_lDeletes,
               ProgressBar& a_oProgress, std::vector<std::string>* a_pDone = nullptr)
{
    const auto iLeft = [&] { return a_lChanges.size() + a_lDeletes.size(); };
    for (std::size_t iBefore = iLeft() + 1; iLeft() > 0 && iLeft() < iBefore;) {
        iBefore = iLeft();
        if (!settle(a_oBatch, a_lChanges, a_oProgress, a_pDone) ||
            !settle(a_oBatch, a_lDeletes, a_oProgress, a_pDone)) {
            return false;
        }
    }
    return a_oBatch.wait();
}

/// Fails the batch when a constraint refuses a write. False when it has failed.
bool failRefused(WriteBatch& a_oBatch, const std::vector<Write>& a_lChanges,
                 const std::vector<Write>& a_lDeletes)
{
    if (!a_lChanges.empty() || !a_lDeletes.empty()) {
        const Write& oWrite = a_lChanges.empty() ? a_lDeletes.front() : a_lChanges.front();
        a_oBatch.fail(Outcome(oWrite.m_oRefusal, oWrite.m_sWhere + ": "));
    }
    return a_oBatch.failure().ok();
}

/// Writes the tables that a rollback would undo.
void writeUndoable(Session& a_oSession, json_object* a_pFile, const std::vector<TableImport>& a_lImports,
                   WriteBatch& a_oBatch, ProgressBar& a_oProgress)
{
    auto lChanges = changesOf(a_lImports, false);
    auto lDeletes = deletesOf(a_lImports, false);
    std::set<std::string> lParked;
    while (settleAll(a_oBatch, lChanges, lDeletes, a_oProgress) && !lChanges.empty() &&
           parkValue(a_oSession.m_oConnection, a_lImports, lChanges, lParked)) {
    }
    if (!failRefused(a_oBatch, lChanges, lDeletes) || lParked.empty()) {
        return;
    }
    // What refers to a value that was changed for the while has followed it, and is made what it should be.
    std::vector<TableImport> lAgain;
    if (Outcome oPlanned = planTables(a_oSession, a_pFile, lAgain); !oPlanned.ok()) {
        return a_oBatch.fail(std::move(oPlanned));
    }
    lChanges = changesOf(lAgain, false);
    lDeletes = deletesOf(lAgain, false);
    settleAll(a_oBatch, lChanges, lDeletes, a_oProgress);
    failRefused(a_oBatch, lChanges, lDeletes);
}

/// Writes the tables, those last whose writes no rollback undoes; a failure says which of these stay.
Outcome writeAll(Session& a_oSession, json_object* a_pFile, const std::vector<TableImport>& a_lImports,
                 WriteBatch& a_oBatch, ProgressBar& a_oProgress)
{
    std::vector<std::string> lDone;
    writeUndoable(a_oSession, a_pFile, a_lImports, a_oBatch, a_oProgress);
    auto lChanges = changesOf(a_lImports, true);
    auto lDeletes = deletesOf(a_lImports, true);
    if (a_oBatch.failure().ok() && settleAll(a_oBatch, lChanges, lDeletes, a_oProgress, &lDone)) {
        failRefused(a_oBatch, lChanges, lDeletes);
    }
    Outcome oOutcome = a_oBatch.finish();
    if (!oOutcome.ok() && !lDone.empty()) {
        oOutcome.m_sText += "; written for good, in tables that no rollback undoes:";
        for (const std::string& sWhere : lDone) {
            oOutcome.m_sText += (&sWhere == &lDone.front() ? " " : "; ") + sWhere;
        }
        oOutcome.m_sText += "; nothing else is";
    }
    return oOutcome;
}

} // namespace

Outcome runImport(Session& a_oSession, const Arguments& a_oArguments)
{
    if (a_oArguments.m_eFormat == EFormat::Csv) {
        return Outcome::usage("import reads JSON, no CSV");
    }
    InputFile oInput(a_oSession.m_oInput, a_oArguments.m_sFile);
    const std::string sText = oInput.readAll();
    if (!oInput.ok()) {
        return Outcome::usage(oInput.error());
    }
    std::string sError;
    const JsonPtr oFile = parseJson(sText, sError);
    if (!sError.empty() || !json_object_is_type(oFile.get(), json_type_object)) {
        return Outcome::usage(oInput.shownName() + " is not an export: " +
                              (sError.empty() ? "it is not an object with a member for each table" : sError));
    }

    WriteBatch oBatch(a_oSession.m_oConnection);
    if (const auto oBegun = beginForReader(oBatch, a_oArguments.m_oWait, a_oSession.m_iOutput);
        !oBegun.ok()) {
        return explainBusy(oBegun, a_oArguments.m_oWait, "--wait");
    }
    std::vector<TableImport> lImports;
    if (Outcome oPlanned = planTables(a_oSession, oFile.get(), lImports); !oPlanned.ok()) {
        return oPlanned;
    }
    std::size_t iWrites = 0;
    std::ranges::for_each(lImports,
                          [&](const TableImport& a_oImport) { iWrites += a_oImport.m_oPlan.size(); });
    ProgressBar oProgress(a_oSession.m_oErrors, a_oSession.m_bProgress, iWrites);
    return writeAll(a_oSession, oFile.get(), lImports, oBatch, oProgress);
}

} // namespace systema::cli

#include "restore/merge.h"

#include "restore/schema.h"
#include "storage/sqlitetype.h"
#include "zel/log.h"

#include <algorithm>
#include <map>

using systema::SqliteError;
using systema::SqliteFile;

namespace zel::cfg {

namespace {

struct Column
{
    std::string m_sName;
    std::string m_sType;
    bool m_bNeedsValue; // without a default
    bool m_bComputed;
};

std::vector<Column> readColumns(const SqliteFile& a_oDatabase, const std::string& a_sTable)
{
    std::vector<Column> lColumns;
    for (const auto& lRow :
         a_oDatabase.select("SELECT name, type, \"notnull\" AND dflt_value IS NULL AND pk = 0, hidden <> 0"
                            " FROM pragma_table_xinfo(" +
                            quotedText(a_sTable) + ")")) {
        lColumns.push_back({lRow[0], lRow[1], lRow[2] == "1", lRow[3] == "1"});
    }
    return lColumns;
}

bool hasColumn(const std::vector<Column>& a_lColumns, const std::string& a_sName)
{
    return std::ranges::any_of(
        a_lColumns, [&](const Column& a_oColumn) { return isSameName(a_oColumn.m_sName, a_sName); });
}

void append(std::string& a_sList, const std::string& a_sPart)
{
    a_sList += (a_sList.empty() ? "" : ", ") + a_sPart;
}

class Merge
{
public:
    Merge(SqliteFile& a_oTarget, const SqliteFile& a_oSaved, const std::string& a_sDatabase, int a_iModule)
        : m_oTarget(a_oTarget),
          m_oSaved(a_oSaved),
          m_sDatabase(a_sDatabase),
          m_iModule(a_iModule)
    {
    }

    void copyTable(const std::string& a_sTable);
    void copySequence(const std::string& a_sTable);
    void removeOrphans();
    void logDropped(const std::string& a_sWhat, const std::string& a_sTable);

private:
    std::vector<SqliteFile::Row> findOrphans() const;

    SqliteFile& m_oTarget;
    const SqliteFile& m_oSaved;
    const std::string& m_sDatabase;
    const int m_iModule;
};

void Merge::logDropped(const std::string& a_sWhat, const std::string& a_sTable)
{
    ZEL_Sysloglevel_warning(m_iModule, zel::here(), "%s: %s is no longer known and dropped (%s rows)",
                            m_sDatabase.c_str(), a_sWhat.c_str(), countRows(m_oSaved, a_sTable).c_str());
}

void Merge::copyTable(const std::string& a_sTable)
{
    const auto lTarget = readColumns(m_oTarget, a_sTable);
    const auto lSaved = readColumns(m_oSaved, a_sTable);
    for (const Column& oColumn : lSaved) {
        if (!oColumn.m_bComputed && !hasColumn(lTarget, oColumn.m_sName)) {
            logDropped(a_sTable + "." + oColumn.m_sName, a_sTable);
        }
    }

    std::string sShared;
    std::string sColumns;
    std::string sValues;
    std::string sNeeded;
    for (const Column& oColumn : lTarget) {
        const std::string sName = quotedName(oColumn.m_sName);
        if (oColumn.m_bComputed) {
            continue;
        }
        if (hasColumn(lSaved, oColumn.m_sName)) {
            append(sShared, sName);
            append(sColumns, sName);
            append(sValues, "?");
        } else if (oColumn.m_bNeedsValue) {
            const auto eType = systema::SqliteType::getDataType(oColumn.m_sType.c_str());
            append(sColumns, sName);
            const std::string sInvented = eType == systema::EDataType::Text ? "''" : "0";
            append(sValues, sInvented);
            append(sNeeded, oColumn.m_sName + " " + sInvented);
        }
    }
    if (sShared.empty()) {
        return;
    }

    const std::string sTable = quotedName(a_sTable);
    m_oTarget.run("DELETE FROM " + sTable);
    // Without an index the rows come in their own order. The schema may have other ideas than ABORT.
    const auto oCopied =
        m_oTarget.copyRows(m_oSaved, "SELECT " + sShared + " FROM " + sTable + " NOT INDEXED",
                           "INSERT OR ABORT INTO " + sTable + "(" + sColumns + ") VALUES(" + sValues + ")");
    if (oCopied.m_iRefused > 0) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(), "%s: %zu rows of %s are left out: %s",
                                m_sDatabase.c_str(), oCopied.m_iRefused, a_sTable.c_str(),
                                oCopied.m_sReason.c_str());
    }
    if (const std::string sRows = countRows(m_oSaved, a_sTable); !sNeeded.empty() && sRows != "0") {
        ZEL_Sysloglevel_warning(
            m_iModule, zel::here(),
            "%s: %s rows of %s get a value in what is new, NOT NULL and has no default: %s",
            m_sDatabase.c_str(), sRows.c_str(), a_sTable.c_str(), sNeeded.c_str());
    }
    copySequence(a_sTable);
}

/// An id that was used once is not to be used again.
void Merge::copySequence(const std::string& a_sTable)
{
    const auto hasSequences = [](const SqliteFile& a_oDatabase) {
        return !a_oDatabase.select("SELECT 1 FROM sqlite_master WHERE name = 'sqlite_sequence'").empty();
    };
    if (!hasSequences(m_oSaved) || !hasSequences(m_oTarget)) {
        return;
    }
    const std::string sThis = "name = " + quotedText(a_sTable);
    m_oTarget.run("DELETE FROM sqlite_sequence WHERE " + sThis);
    m_oTarget.copyRows(m_oSaved, "SELECT name, seq FROM sqlite_sequence WHERE " + sThis,
                       "INSERT INTO sqlite_sequence VALUES(?, ?)");
}

/// Removes the rows whose references lead nowhere, and then those that referred to them.
void Merge::removeOrphans()
{
    std::map<std::string, int> mRemoved;
    try {
        std::vector<SqliteFile::Row> lBefore; // what cannot be removed is not tried for ever
        for (auto lOrphans = findOrphans(); !lOrphans.empty() && lOrphans != lBefore;
             lOrphans = findOrphans()) {
            for (const auto& lRow : lOrphans) {
                m_oTarget.run("DELETE FROM " + quotedName(lRow[0]) + " WHERE rowid = " + lRow[1]);
                ++mRemoved[lRow[0]];
            }
            lBefore = std::move(lOrphans);
        }
    } catch (const SqliteError& oError) { // a reference that the schema itself gets wrong
        if (oError.isOfMachine()) {
            throw;
        }
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: references are not checked: %s",
                              m_sDatabase.c_str(), oError.what());
    }
    for (const auto& [sTable, iCount] : mRemoved) {
        ZEL_Sysloglevel_warning(m_iModule, zel::here(),
                                "%s: %d rows of %s are left out: they refer to nothing", m_sDatabase.c_str(),
                                iCount, sTable.c_str());
    }
}

std::vector<SqliteFile::Row> Merge::findOrphans() const
{
    return m_oTarget.select(
        "SELECT DISTINCT \"table\", rowid FROM pragma_foreign_key_check WHERE rowid IS NOT NULL");
}

} // namespace

void mergeRows(SqliteFile& a_oTarget, const SqliteFile& a_oSaved, const std::string& a_sDatabase,
               const std::string& a_sWithout, int a_iLogModule)
{
    Merge oMerge(a_oTarget, a_oSaved, a_sDatabase, a_iLogModule);
    SqliteFile::Transaction oTransaction(a_oTarget);
    const auto lKnown = findTables(a_oTarget);
    for (const auto& sTable : findTables(a_oSaved)) {
        if (std::ranges::any_of(lKnown,
                                [&](const std::string& a_sName) { return isSameName(a_sName, sTable); })) {
            oMerge.copyTable(sTable);
        } else if (sTable != a_sWithout) {
            oMerge.logDropped(sTable, sTable);
        }
    }
    oMerge.removeOrphans();
    oTransaction.commit();
}

} // namespace zel::cfg

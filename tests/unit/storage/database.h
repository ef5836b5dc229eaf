// What the storage tests share: a database file of their own, filled over a plain connection, and the log.
#pragma once

#include "storage/sqlitewrapper.h"
#include "tests/logof.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <sstream>
#include <string>
#include <vector>

namespace tests {

using Lines = std::vector<std::string>;

/// The messages that the action logs, without what stands in front of them.
inline Lines logged(const std::function<void()>& a_oAction)
{
    Lines lLines = logLinesOf(a_oAction);
    for (std::string& sLine : lLines) {
        EXPECT_NE(sLine.find(" SQLiteWrap "), std::string::npos) << sLine;
        sLine.erase(0, sLine.find(": ") + 2);
    }
    return lLines;
}

/// The line of an operation that failed.
inline std::string failure(const std::string& a_sOperation, systema::EResultCode a_eCode)
{
    std::ostringstream oLine;
    oLine << a_sOperation << " failed with error: ";
    a_eCode.put(oLine);
    return oLine.str();
}

/// Runs statements over a connection of its own and returns the cells of the rows, "|" after each cell.
inline std::string runSql(const std::string& a_sFile, const std::string& a_sSql)
{
    sqlite3* pDatabase = nullptr;
    std::string sCells;
    char* pError = nullptr;
    sqlite3_open(a_sFile.c_str(), &pDatabase);
    const auto addRow = [](void* a_pCells, int a_iCount, char** a_pCells2, char**) {
        for (int i = 0; i < a_iCount; ++i) {
            static_cast<std::string*>(a_pCells)->append(a_pCells2[i] ? a_pCells2[i] : "NULL").append("|");
        }
        return 0;
    };
    const int iCode = sqlite3_exec(pDatabase, a_sSql.c_str(), addRow, &sCells, &pError);
    if (iCode != SQLITE_OK) {
        sCells += std::string("error: ") + pError;
        sqlite3_free(pError);
    }
    sqlite3_close(pDatabase);
    return sCells;
}

class DatabaseTest : public testing::Test
{
protected:
    static constexpr const char* c_pName = "test.db";

    std::string file() const { return m_oDir.file(c_pName); }
    std::string sql(const std::string& a_sSql) const { return runSql(file(), a_sSql); }
    systema::SqliteWrapper open(bool a_bExclusive = true) const
    {
        return systema::SqliteWrapper(c_pName, m_oDir.path(), a_bExclusive);
    }

    TempDir m_oDir;
};

} // namespace tests

// The operations of SqliteWrapper written down as plainly as they can be: every statement as one literal
// text, run step by step, nothing kept and nothing checked beforehand. What the real one is compared with.
#pragma once

#include "storage/sqlitestring.h"
#include "storage/sqlitetype.h"
#include "systema/lists.h"
#include "tests/unit/storage/database.h"

#include <sqlite3.h>

#include <sstream>
#include <string>
#include <utility>

namespace tests {

class LiteralDatabase
{
public:
    using Code = systema::EResultCode;
    using Row = systema::ValueList;
    using Text = std::string;

    explicit LiteralDatabase(const Text& a_sFile)
    {
        sqlite3_open(a_sFile.c_str(), &m_pDatabase);
        exec("PRAGMA synchronous = OFF; PRAGMA foreign_keys = ON;");
    }
    ~LiteralDatabase() { sqlite3_close(m_pDatabase); }
    LiteralDatabase(const LiteralDatabase&) = delete;
    LiteralDatabase& operator=(const LiteralDatabase&) = delete;

    /// The lines logged since the last call.
    Lines takeLines() { return std::exchange(m_lLines, {}); }

    Code exec(const Text& a_sSql)
    {
        return result(sqlite3_exec(m_pDatabase, a_sSql.c_str(), nullptr, nullptr, nullptr), "exec");
    }

    bool hasTable(const Text& a_sTable)
    {
        char aText[512];
        std::snprintf(aText, sizeof aText, "SELECT rootpage FROM sqlite_master WHERE name = '%s'",
                      a_sTable.c_str());
        sqlite3_stmt* pStatement = nullptr;
        const int iCode = sqlite3_prepare_v2(m_pDatabase, aText, -1, &pStatement, nullptr);
        const bool bFound =
            iCode == SQLITE_OK ? sqlite3_step(pStatement) == SQLITE_ROW : result(iCode, "hasTable") != 0;
        sqlite3_finalize(pStatement);
        return bFound;
    }

    bool hasZeroIdRow(const Text& a_sTable)
    {
        Row lRow;
        return selectKey(lRow, a_sTable, "Id", "0", {"Id"}) == 0;
    }

    Code getSchema(systema::ColumnList& a_lColumns, const Text& a_sTable)
    {
        if (!hasTable(a_sTable)) {
            return log("getSchema", 8);
        }
        const Text sText = "SELECT * FROM " + a_sTable + " LIMIT 0,1";
        if (sText.size() > 512) {
            return tooLong(512);
        }
        sqlite3_stmt* pStatement = nullptr;
        int iCode = sqlite3_prepare_v2(m_pDatabase, sText.c_str(), -1, &pStatement, nullptr);
        if (iCode == SQLITE_OK) {
            iCode = sqlite3_step(pStatement);
            for (int i = 0; i < sqlite3_column_count(pStatement); ++i) {
                a_lColumns.add(sqlite3_column_name(pStatement, i),
                               systema::SqliteType::getDataType(sqlite3_column_decltype(pStatement, i)));
            }
        }
        sqlite3_finalize(pStatement);
        return result(iCode, "getSchema");
    }

    Code getSize(unsigned& a_iSize, const Text& a_sTable)
    {
        if (!hasTable(a_sTable)) {
            return log("getSize", 8);
        }
        const Text sText = "SELECT COUNT(*) FROM " + a_sTable;
        if (sText.size() > 512) {
            return tooLong(512);
        }
        sqlite3_stmt* pStatement = nullptr;
        const int iCode = sqlite3_prepare_v2(m_pDatabase, sText.c_str(), -1, &pStatement, nullptr);
        if (iCode == SQLITE_OK) {
            sqlite3_step(pStatement);
            a_iSize = static_cast<unsigned>(sqlite3_column_int(pStatement, 0));
            if (a_iSize != 0 && hasZeroIdRow(a_sTable)) {
                --a_iSize;
            }
        }
        sqlite3_finalize(pStatement);
        return result(iCode, "getSize");
    }

    Code selectRow(Row& a_lRow, const Text& a_sTable, unsigned a_iPosition,
                   const systema::NameList& a_lColumns)
    {
        if (!hasTable(a_sTable)) {
            return log("selectRow", 8);
        }
        const auto iOffset = std::uint64_t{a_iPosition} + (hasZeroIdRow(a_sTable) ? 1 : 0);
        const Text sStart = "SELECT " + columns(a_lColumns) + " FROM " + a_sTable;
        const Text sEnd = " LIMIT " + std::to_string(iOffset) + ",1";
        return sStart.size() + sEnd.size() > 4096 ? tooLong(4096)
                                                  : select(a_lRow, sStart + " NOT INDEXED" + sEnd);
    }

    Code selectKey(Row& a_lRow, const Text& a_sTable, const Text& a_sColumn, const Text& a_sKey,
                   const systema::NameList& a_lColumns)
    {
        if (!hasTable(a_sTable)) {
            return log("selectKey", 8);
        }
        const bool bZeroId = a_sColumn == "Id" && a_sKey == "0";
        const Text sText = "SELECT " + columns(a_lColumns) + " FROM " + a_sTable + " WHERE " + a_sColumn +
                           " = '" + a_sKey + (bZeroId ? "'" : "' AND Id != 0");
        return sText.size() > 4096 ? tooLong(4096) : select(a_lRow, sText);
    }

    Code insertRow(const Text& a_sTable, const Row& a_lValues)
    {
        if (!hasTable(a_sTable)) {
            return log("insertRow", 8);
        }
        for (const auto& [sName, oValue] : a_lValues) {
            for (const char* pAlias : {"id", "rowid", "oid", "_rowid_"}) {
                if (sqlite3_stricmp(pAlias, sName.c_str()) == 0 && oValue.getInteger() == 0) {
                    return log("insertRow", 6);
                }
            }
        }
        if (a_lValues.empty()) {
            return log("insertRow", 1);
        }
        Text sNames;
        Text sValues;
        for (const auto& [sName, oValue] : a_lValues) {
            sNames += (sNames.empty() ? "" : ", ") + sName;
            sValues += (sValues.empty() ? "" : ", ") + rendered(oValue);
        }
        return run("INSERT INTO " + a_sTable + " ( " + sNames + " ) VALUES ( " + sValues + " )", 4096);
    }

    Code insertKey(int& a_iId, const Text& a_sTable, const Row& a_lValues)
    {
        const Code eCode = insertRow(a_sTable, a_lValues);
        if (eCode == 0) {
            a_iId = static_cast<int>(sqlite3_last_insert_rowid(m_pDatabase));
        }
        return eCode;
    }

    Code updateRow(const Text& a_sTable, unsigned a_iPosition, const Row& a_lValues)
    {
        if (!hasTable(a_sTable)) {
            return log("updateRow", 8);
        }
        Row lRow;
        const Code eCode = selectRow(lRow, a_sTable, a_iPosition, {});
        return eCode != 0
                   ? eCode
                   : run("UPDATE " + a_sTable + " SET " + pairs(a_lValues) + " WHERE " + conditions(lRow),
                         8192);
    }

    Code updateKey(const Text& a_sTable, const Text& a_sColumn, const Text& a_sKey, const Row& a_lValues)
    {
        return change("updateKey", a_sTable, a_sColumn, a_sKey,
                      "UPDATE " + a_sTable + " SET " + pairs(a_lValues), 8192);
    }

    Code deleteRow(const Text& a_sTable, unsigned a_iPosition)
    {
        if (!hasTable(a_sTable)) {
            return log("deleteRow", 8);
        }
        Row lRow;
        const Code eCode = selectRow(lRow, a_sTable, a_iPosition, {});
        return eCode != 0 ? eCode : run("DELETE FROM " + a_sTable + " WHERE " + conditions(lRow), 4096);
    }

    Code deleteKey(const Text& a_sTable, const Text& a_sColumn, const Text& a_sKey)
    {
        return change("deleteKey", a_sTable, a_sColumn, a_sKey, "DELETE FROM " + a_sTable, 4096);
    }

    Code deleteAll(const Text& a_sTable)
    {
        return hasTable(a_sTable) ? run("DELETE FROM " + a_sTable + " WHERE Id != 0", 512)
                                  : log("deleteAll", 8);
    }

private:
    static Text columns(const systema::NameList& a_lColumns)
    {
        std::ostringstream oText;
        a_lColumns.put(oText);
        return a_lColumns.empty() ? "*" : oText.str();
    }

    static Text rendered(const systema::Value& a_oValue)
    {
        switch (a_oValue.getType()) {
        case systema::EDataType::Text:
            return Text("'") + systema::SqliteString::replace(a_oValue.getText(), "'", "''") + "'";
        case systema::EDataType::Integer:
        case systema::EDataType::Unsigned:
            return a_oValue.toText();
        default:
            return "NULL";
        }
    }

    static Text pairs(const Row& a_lValues)
    {
        Text sText;
        for (const auto& [sName, oValue] : a_lValues) {
            sText += (sText.empty() ? "" : ", ") + sName + " = " + rendered(oValue);
        }
        return sText;
    }

    static Text conditions(const Row& a_lRow)
    {
        Text sText;
        for (const auto& [sName, oValue] : a_lRow) {
            const bool bNull = oValue.getType() == systema::EDataType::Null;
            sText += (sText.empty() ? "" : " AND ") + sName + (bNull ? " IS NULL" : " = " + rendered(oValue));
        }
        return sText;
    }

    Code change(const char* a_pOperation, const Text& a_sTable, const Text& a_sColumn, const Text& a_sKey,
                const Text& a_sChange, std::size_t a_iLimit)
    {
        if (!hasTable(a_sTable)) {
            return log(a_pOperation, 8);
        }
        if (a_sColumn == "Id" && a_sKey == "0") {
            return log(a_pOperation, 4);
        }
        Row lRow;
        const Code eCode = selectKey(lRow, a_sTable, a_sColumn, a_sKey, {});
        return eCode != 0
                   ? eCode
                   : run(a_sChange + " WHERE " + a_sColumn + " = '" + a_sKey + "' AND Id != 0", a_iLimit);
    }

    Code select(Row& a_lRow, const Text& a_sText)
    {
        sqlite3_stmt* pStatement = nullptr;
        const int iCode = sqlite3_prepare_v2(m_pDatabase, a_sText.c_str(), -1, &pStatement, nullptr);
        Code eCode;
        if (iCode != SQLITE_OK) {
            eCode = result(iCode, "selectSql");
        } else if (sqlite3_step(pStatement) != SQLITE_ROW) {
            eCode = 10;
        } else {
            for (int i = 0; i < sqlite3_column_count(pStatement); ++i) {
                const char* pType = sqlite3_column_decltype(pStatement, i);
                const bool bValue = pType && sqlite3_column_type(pStatement, i) != SQLITE_NULL;
                const auto* pText = bValue ? sqlite3_column_text(pStatement, i) : nullptr;
                a_lRow.add(sqlite3_column_name(pStatement, i),
                           systema::SqliteType::setValueType(
                               bValue ? reinterpret_cast<const char*>(pText) : "",
                               systema::SqliteType::getDataType(bValue ? pType : "NULL")));
            }
        }
        sqlite3_finalize(pStatement);
        return eCode;
    }

    Code run(const Text& a_sText, std::size_t a_iLimit)
    {
        return a_sText.size() > a_iLimit ? tooLong(a_iLimit) : exec(a_sText);
    }

    Code tooLong(std::size_t a_iLimit)
    {
        return log(Text("SQL string exceeds limit of ") + std::to_string(a_iLimit) + " chars,", 1);
    }

    Code result(int a_iCode, const char* a_pMessage)
    {
        if (a_iCode == 0 || a_iCode >= 100) {
            return 0;
        }
        m_lLines.push_back(Text("Error ") + std::to_string(a_iCode) + " (" + sqlite3_errmsg(m_pDatabase) +
                           ")");
        switch (a_iCode) {
        case 1:
            return log(a_pMessage, 8);
        case 5:
            return log(a_pMessage, 2);
        case 6:
            return log(a_pMessage, 3);
        case 8:
            return log(a_pMessage, 4);
        case 15:
            return log(a_pMessage, 5);
        case 19:
            return log(a_pMessage, 6);
        case 20:
            return log(a_pMessage, 7);
        default:
            return log(a_pMessage, 1);
        }
    }

    Code log(const Text& a_sMessage, Code a_eCode)
    {
        m_lLines.push_back(failure(a_sMessage, a_eCode));
        return a_eCode;
    }

    sqlite3* m_pDatabase = nullptr;
    Lines m_lLines;
};

} // namespace tests

#include "storage/sqlitewrapper.h"

#include "storage/sqliterowcursor.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace systema {

namespace {

// Characters a statement may have.
constexpr std::size_t c_iTableLimit = 512;      // on a table as a whole
constexpr std::size_t c_iStatementLimit = 4096; // inserts, selects and deletes
constexpr std::size_t c_iUpdateLimit = 8192;

constexpr std::string_view c_sNotZeroId = " AND Id != 0";

/// Nobody may create a row with Id 0, by whichever of the names that SQLite knows the column under.
bool isRowId(const std::string& a_sColumn)
{
    constexpr std::array c_aNames = {"Id", "rowid", "oid", "_rowid_"};
    return std::ranges::any_of(
        c_aNames, [&](const char* a_pName) { return sqlite3_stricmp(a_pName, a_sColumn.c_str()) == 0; });
}

bool isZeroId(const std::string& a_keyColumn, const std::string& a_keyValue)
{
    return a_keyColumn == "Id" && a_keyValue == "0";
}

} // namespace

void SqliteWrapper::getTables(NameList& a_names)
{
    sqlite3_stmt* pPrepared = nullptr;
    int iCode = query("SELECT name FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' AND type='table' "
                      "OR type='view' ORDER BY name",
                      &pPrepared);
    SqliteStatement oStatement(pPrepared);
    NameList lFound;
    if (iCode == SQLITE_OK) {
        while ((iCode = oStatement.step()) == SQLITE_ROW) {
            lFound.add(oStatement.readText());
        }
    }
    if (getResultCode(iCode, "getTables") == EResultCode::Success) {
        a_names.splice(lFound);
    }
}

EResultCode SqliteWrapper::getSchema(ColumnList& a_columns, const std::string& a_table)
{
    if (!hasTable(a_table)) {
        return logError("getSchema", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT * FROM ").name(a_table).sql(" LIMIT 0,1");
    RunningStatement pStatement;
    const EResultCode eCode = prepare(oText, pStatement, "getSchema");
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    const int iCode = pStatement->step();
    for (const auto& [sName, eType] : pStatement->getColumns()) {
        a_columns.add(sName, eType);
    }
    return getResultCode(iCode, "getSchema");
}

EResultCode SqliteWrapper::getSize(unsigned int& a_size, const std::string& a_table)
{
    if (!hasTable(a_table)) {
        return logError("getSize", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT COUNT(*) FROM ").name(a_table);
    unsigned int iCount = 0;
    {
        RunningStatement pStatement;
        const EResultCode eCode = prepare(oText, pStatement, "getSize");
        if (eCode != EResultCode::Success) {
            return eCode;
        }
        if (pStatement->step() == SQLITE_ROW) {
            iCount = static_cast<unsigned int>(pStatement->readNumber());
        }
    }
    a_size = iCount != 0 && hasZeroIdRow(a_table) ? iCount - 1 : iCount;
    return EResultCode::Success;
}

SqliteWrapper::ELookup SqliteWrapper::lookUp(const std::string& a_table)
{
    if (m_oFacts.isKnown(a_table, getState())) {
        return ELookup::Found;
    }
    constexpr std::string_view c_sLookup = "SELECT rootpage FROM sqlite_master WHERE name = ";
    SqlText oText(c_iTableLimit - 1);
    oText.sql(c_sLookup).key(a_table);
    RunningStatement pStatement;
    EResultCode eCode;
    if (oText.getRefused() && isOpen()) {
        eCode = logSyntaxError(*oText.getRefused(), "hasTable");
    } else if (oText.isTooLong()) {
        // This text is not limited but cut, which leaves a quote open in it.
        const std::string sCut = (std::string(c_sLookup) + "'" + a_table).substr(0, oText.getLimit());
        sqlite3_stmt* pNone = nullptr;
        eCode = getResultCode(query(sCut.c_str(), &pNone), "hasTable");
    } else {
        eCode = getResultCode(prepare(oText, pStatement), "hasTable");
    }
    if (eCode != EResultCode::Success) {
        return ELookup::Failed;
    }
    if (pStatement->step() != SQLITE_ROW) {
        return ELookup::Missing;
    }
    if (isAlone()) {
        m_oFacts.setKnown(a_table);
    }
    return ELookup::Found;
}

bool SqliteWrapper::hasTable(const std::string& a_table)
{
    return lookUp(a_table) != ELookup::Missing;
}

bool SqliteWrapper::hasZeroIdRow(const std::string& a_table)
{
    const SqliteState oState = getState();
    if (const auto oKnown = m_oFacts.getZeroIdRow(a_table, oState)) {
        return *oKnown;
    }
    ValueList oRow;
    const EResultCode eCode = selectKey(oRow, a_table, "Id", "0", {"Id"});
    const bool bExists = eCode == EResultCode::Success;
    // A read that failed answers as if there were no row; that is not worth remembering.
    if (bExists || (eCode == EResultCode::NoRow && sqlite3_errcode(getDatabase()) == SQLITE_OK)) {
        m_oFacts.setZeroIdRow(a_table, oState, bExists);
    }
    return bExists;
}

EResultCode SqliteWrapper::lastInsertID(int& a_id) const
{
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT last_insert_rowid()");
    RunningStatement pStatement;
    int iCode = prepare(oText, pStatement);
    if (iCode == SQLITE_OK) {
        iCode = pStatement->step();
    }
    if (iCode == SQLITE_ROW) {
        a_id = pStatement->readNumber();
    }
    return getResultCode(iCode, "lastInsertID");
}

EResultCode SqliteWrapper::deleteAll(const std::string& a_table)
{
    if (!hasTable(a_table)) {
        return logError("deleteAll", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("DELETE FROM ").name(a_table).sql(" WHERE Id != 0");
    return execute(oText);
}

SqlText SqliteWrapper::rangeText(const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                 const NameList& a_columns)
{
    const std::uint64_t iOffset = std::uint64_t{a_first} + (hasZeroIdRow(a_table) ? 1 : 0);
    SqlText oText(c_iStatementLimit);
    oText.sql("SELECT ").columns(a_columns).sql(" FROM ").name(a_table);
    // Positions are those of the natural order, also when an index holds all the wanted columns: otherwise
    // the row skipped as the one with Id 0 would be another.
    oText.uncounted(" NOT INDEXED");
    oText.sql(" LIMIT ").number(iOffset).sql(",").number(a_count);
    return oText;
}

EResultCode SqliteWrapper::selectRow(ValueList& a_row, const std::string& a_table, unsigned int a_position,
                                     const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    return select(a_row, rangeText(a_table, a_position, 1, a_columns));
}

EResultCode SqliteWrapper::openRows(std::unique_ptr<IRowCursor>& a_cursor, const std::string& a_table,
                                    unsigned int a_first, unsigned int a_count, const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    const SqlText oText = rangeText(a_table, a_first, a_count, a_columns);
    EResultCode eCode = check(oText, "selectSql");
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    sqlite3_stmt* pPrepared = nullptr;
    int iCode = query(oText.getPrepared().c_str(), &pPrepared);
    SqliteStatement oStatement(pPrepared);
    if (iCode == SQLITE_OK) {
        iCode = oStatement.bind(oText);
    }
    eCode = getResultCode(iCode, "selectSql");
    if (eCode == EResultCode::Success) {
        a_cursor = std::make_unique<SqliteRowCursor>(*this, std::move(oStatement));
    }
    return eCode;
}

EResultCode SqliteWrapper::selectKey(ValueList& a_row, const std::string& a_table,
                                     const std::string& a_keyColumn, const std::string& a_keyValue,
                                     const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectKey", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("SELECT ").columns(a_columns).sql(" FROM ").name(a_table);
    oText.sql(" WHERE ").name(a_keyColumn).sql(" = ").key(a_keyValue);
    if (!isZeroId(a_keyColumn, a_keyValue)) {
        oText.sql(c_sNotZeroId);
    }
    return select(a_row, oText);
}

EResultCode SqliteWrapper::insertRow(const std::string& a_table, const ValueList& a_values)
{
    if (!hasTable(a_table)) {
        return logError("insertRow", EResultCode::NoTable);
    }
    if (std::ranges::any_of(a_values, [](const auto& a_oEntry) {
            return isRowId(a_oEntry.first) && a_oEntry.second.getInteger() == 0;
        })) {
        return logError("insertRow", EResultCode::Constraint);
    }
    if (a_values.empty()) {
        return logError("insertRow", EResultCode::Failure);
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("INSERT INTO ").name(a_table).sql(" ( ").names(a_values);
    oText.sql(" ) VALUES ( ").values(a_values).sql(" )");
    return execute(oText);
}

EResultCode SqliteWrapper::insertKey(int& a_id, const std::string& a_table, const ValueList& a_values)
{
    const EResultCode eCode = insertRow(a_table, a_values);
    return eCode != EResultCode::Success ? eCode : lastInsertID(a_id);
}

EResultCode SqliteWrapper::updateRow(const std::string& a_table, unsigned int a_position,
                                     const ValueList& a_values)
{
    if (!hasTable(a_table)) {
        return logError("updateRow", EResultCode::NoTable);
    }
    ValueList oRow;
    const EResultCode eCode = selectRow(oRow, a_table, a_position, {});
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_table).sql(" SET ").assignments(a_values).sql(" WHERE ").conditions(oRow);
    return execute(oText);
}

EResultCode SqliteWrapper::deleteRow(const std::string& a_table, unsigned int a_position)
{
    if (!hasTable(a_table)) {
        return logError("deleteRow", EResultCode::NoTable);
    }
    ValueList oRow;
    const EResultCode eCode = selectRow(oRow, a_table, a_position, {});
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_table).sql(" WHERE ").conditions(oRow);
    return execute(oText);
}

EResultCode SqliteWrapper::updateKey(const std::string& a_table, const std::string& a_keyColumn,
                                     const std::string& a_keyValue, const ValueList& a_values)
{
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_table).sql(" SET ").assignments(a_values);
    return changeByKey("updateKey", oText, a_table, a_keyColumn, a_keyValue);
}

EResultCode SqliteWrapper::deleteKey(const std::string& a_table, const std::string& a_keyColumn,
                                     const std::string& a_keyValue)
{
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_table);
    return changeByKey("deleteKey", oText, a_table, a_keyColumn, a_keyValue);
}

EResultCode SqliteWrapper::changeByKey(const char* a_pOperation, SqlText& a_oChange,
                                       const std::string& a_table, const std::string& a_keyColumn,
                                       const std::string& a_keyValue)
{
    const ELookup eTable = lookUp(a_table);
    if (eTable == ELookup::Missing) {
        return logError(a_pOperation, EResultCode::NoTable);
    }
    if (isZeroId(a_keyColumn, a_keyValue)) {
        return logError(a_pOperation, EResultCode::ReadOnly);
    }
    a_oChange.sql(" WHERE ").name(a_keyColumn).sql(" = ").key(a_keyValue).sql(c_sNotZeroId);
    if (eTable == ELookup::Found) {
        if (const auto oCode = changeAtOnce(a_oChange)) {
            return *oCode;
        }
    }
    ValueList oRow;
    const EResultCode eCode = selectKey(oRow, a_table, a_keyColumn, a_keyValue, {});
    return eCode != EResultCode::Success ? eCode : execute(a_oChange);
}

std::optional<EResultCode> SqliteWrapper::changeAtOnce(const SqlText& a_oChange) const
{
    // The text that looks for the row is at most this much longer than the one that changes it, and must not
    // be too long either.
    constexpr std::size_t c_iLonger =
        std::string_view("SELECT * FROM ").size() - std::string_view("DELETE FROM ").size();
    RunningStatement pStatement;
    if (a_oChange.getLength() + c_iLonger > c_iStatementLimit || a_oChange.getRefused() ||
        prepare(a_oChange, pStatement) != SQLITE_OK) {
        return std::nullopt;
    }
    const auto iChanges = sqlite3_total_changes64(getDatabase());
    const int iAutocommit = sqlite3_get_autocommit(getDatabase());
    const int iCode = pStatement->step();
    if (iCode == SQLITE_DONE && sqlite3_total_changes64(getDatabase()) != iChanges) {
        return EResultCode::Success;
    }
    // Only rows with the key break constraints. And what ended the transaction must not be tried again
    // outside of it. Any other failure may have come before a row was looked for.
    if (iCode == SQLITE_CONSTRAINT || sqlite3_get_autocommit(getDatabase()) != iAutocommit) {
        return getResultCode(iCode, "exec");
    }
    return std::nullopt;
}

} // namespace systema

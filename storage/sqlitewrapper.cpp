#include "storage/sqlitewrapper.h"

#include "systema/refusal.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace systema {

namespace {

// Characters a statement may have.
constexpr std::size_t c_iTableLimit = 512;      // on a table as a whole
constexpr std::size_t c_iStatementLimit = 4096; // inserts, selects and deletes
constexpr std::size_t c_iUpdateLimit = 8192;

constexpr std::string_view c_sNotZeroId = " AND Id != 0";

bool isSameName(const std::string& a_sOne, const std::string& a_sOther)
{
    return sqlite3_stricmp(a_sOne.c_str(), a_sOther.c_str()) == 0;
}

/// A name that SQLite knows the row's number under where no column has it.
bool isAlias(const std::string& a_sColumn)
{
    constexpr std::array c_aNames = {"rowid", "oid", "_rowid_"};
    return std::ranges::any_of(c_aNames, [&](const char* a_pName) { return isSameName(a_pName, a_sColumn); });
}

/// True for what an integer column stores as 0.
bool isZero(const Value& a_oValue)
{
    if (a_oValue.getType() != EDataType::Text) {
        return a_oValue.getType() != EDataType::Null && a_oValue.getInteger() == 0;
    }
    const char* pText = a_oValue.getText().c_str();
    char* pEnd = nullptr;
    const double dNumber = std::strtod(pText, &pEnd);
    return pEnd != pText && dNumber == 0 && std::strspn(pEnd, " \t\n\v\f\r") == std::strlen(pEnd);
}

/// True also for what is no number.
bool startsWithZero(const Value& a_oValue)
{
    return a_oValue.getInteger() == 0 || isZero(a_oValue);
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
    if (isEnded(iCode)) {
        return getResultCode(iCode, "getSchema");
    }
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
    unsigned int iHidden = 0;
    bool bHides = false;
    EResultCode eCode = count(iCount, oText);
    if (eCode == EResultCode::Success && iCount != 0) {
        eCode = findZeroIdRow(bHides, a_table);
    }
    if (eCode == EResultCode::Success && bHides) {
        SqlText oHidden(c_iStatementLimit);
        oHidden.sql("SELECT COUNT(*) FROM ").name(a_table).sql(" WHERE Id = 0");
        eCode = count(iHidden, oHidden);
    }
    if (eCode == EResultCode::Success) {
        a_size = iCount - iHidden;
    }
    return eCode;
}

EResultCode SqliteWrapper::count(unsigned int& a_iCount, const SqlText& a_oText) const
{
    RunningStatement pStatement;
    const EResultCode eCode = prepare(a_oText, pStatement, "getSize");
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    const int iCode = pStatement->step();
    if (iCode == SQLITE_ROW) {
        a_iCount = static_cast<unsigned int>(pStatement->readNumber());
    }
    return isEnded(iCode) ? getResultCode(iCode, "getSize") : EResultCode();
}

SqliteWrapper::ELookup SqliteWrapper::lookUp(const std::string& a_table)
{
    if (m_oFacts.isKnown(a_table, getState())) {
        return ELookup::Found;
    }
    constexpr std::string_view c_sLookup = "SELECT rootpage FROM sqlite_master WHERE ";
    SqlText oText(c_iTableLimit - 1);
    oText.sql(c_sLookup).key("name", a_table);
    RunningStatement pStatement;
    EResultCode eCode;
    if (oText.getRefused() && isOpen()) {
        eCode = logSyntaxError(*oText.getRefused(), "hasTable");
    } else if (oText.isTooLong()) {
        // This text is not limited but cut, which leaves a quote open in it.
        const std::string sCut = (std::string(c_sLookup) + "name = '" + a_table).substr(0, oText.getLimit());
        sqlite3_stmt* pNone = nullptr;
        eCode = getResultCode(query(sCut.c_str(), &pNone), "hasTable");
    } else {
        eCode = getResultCode(prepare(oText, pStatement), "hasTable");
    }
    if (eCode != EResultCode::Success) {
        return ELookup::Failed;
    }
    const int iCode = pStatement->step();
    if (isEnded(iCode)) {
        getResultCode(iCode, "hasTable");
        return ELookup::Failed;
    }
    if (iCode != SQLITE_ROW) {
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
    bool bExists = false;
    return findZeroIdRow(bExists, a_table) == EResultCode::Success && bExists;
}

EResultCode SqliteWrapper::findZeroIdRow(bool& a_bExists, const std::string& a_table)
{
    const SqliteState oState = getState();
    if (const auto oKnown = m_oFacts.getZeroIdRow(a_table, oState)) {
        a_bExists = *oKnown;
        return EResultCode::Success;
    }
    ValueList oRow;
    const EResultCode eCode = selectKey(oRow, a_table, "Id", "0", {"Id"});
    a_bExists = eCode == EResultCode::Success;
    if (eCode == EResultCode::Failure) {
        return eCode;
    }
    // A read that failed answers as if there were no row; that is not worth remembering.
    if (a_bExists || (eCode == EResultCode::NoRow && sqlite3_errcode(getDatabase()) == SQLITE_OK)) {
        m_oFacts.setZeroIdRow(a_table, oState, a_bExists);
    }
    return EResultCode::Success;
}

bool SqliteWrapper::setsId(const std::string& a_table, const ValueList& a_values,
                           bool (*a_pIsSuch)(const Value&))
{
    return std::ranges::any_of(a_values, [&](const auto& a_oEntry) {
        return a_pIsSuch(a_oEntry.second) && isRowId(a_table, a_oEntry.first);
    });
}

EResultCode SqliteWrapper::refuseId(const char* a_pOperation) const
{
    return logError(a_pOperation, noteRefusal(EResultCode::Constraint, "Id has to be a number other than 0"));
}

bool SqliteWrapper::isRowId(const std::string& a_table, const std::string& a_sColumn)
{
    if (!isAlias(a_sColumn)) {
        return isSameName(a_sColumn, "Id");
    }
    ColumnList lColumns;
    getSchema(lColumns, a_table);
    return std::ranges::none_of(
        lColumns, [&](const auto& a_oColumn) { return isSameName(a_oColumn.first, a_sColumn); });
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
    allowGrowth(EGrowth::Beyond);
    return execute(oText);
}

EResultCode SqliteWrapper::makeRange(SqlText& a_oText, const std::string& a_table, unsigned int a_first,
                                     unsigned int a_count, const NameList& a_columns)
{
    bool bHides = false;
    const EResultCode eCode = findZeroIdRow(bHides, a_table);
    a_oText.sql("SELECT ").columns(a_columns).sql(" FROM ").name(a_table);
    // Positions are those of the natural order, also when an index holds all the wanted columns.
    a_oText.uncounted(" NOT INDEXED");
    if (bHides) {
        a_oText.uncounted(
            " WHERE Id IS NOT 0"); // where the column allows NULL a row with it is one like others
    }
    a_oText.sql(" LIMIT ").number(a_first).sql(",").number(a_count);
    return eCode;
}

EResultCode SqliteWrapper::selectRow(ValueList& a_row, const std::string& a_table, unsigned int a_position,
                                     const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    const EResultCode eCode = makeRange(oText, a_table, a_position, 1, a_columns);
    return eCode != EResultCode::Success ? eCode : select(a_row, oText);
}

EResultCode SqliteWrapper::openRows(std::unique_ptr<IRowCursor>& a_cursor, const std::string& a_table,
                                    unsigned int a_first, unsigned int a_count, const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    const EResultCode eCode = makeRange(oText, a_table, a_first, a_count, a_columns);
    return eCode != EResultCode::Success ? eCode : openCursor(a_cursor, oText, SqliteRowCursor::ERows::All);
}

EResultCode SqliteWrapper::openKeyRows(std::unique_ptr<IRowCursor>& a_cursor, const std::string& a_table,
                                       const NameList& a_columns)
{
    if (!hasTable(a_table)) {
        return logError("selectKey", EResultCode::NoTable);
    }
    if (!isOpen() || !isComparedByBytes(a_table, a_columns[0])) {
        return EResultCode::Success;
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("SELECT ").columns(a_columns).sql(" FROM ").name(a_table);
    oText.uncounted(" NOT INDEXED WHERE Id != 0");
    return openCursor(a_cursor, oText, SqliteRowCursor::ERows::ShownAsStored);
}

bool SqliteWrapper::isComparedByBytes(const std::string& a_table, const std::string& a_sColumn) const
{
    const char* pCollation = nullptr;
    const int iCode = sqlite3_table_column_metadata(getDatabase(), "main", a_table.c_str(), a_sColumn.c_str(),
                                                    nullptr, &pCollation, nullptr, nullptr, nullptr);
    return iCode == SQLITE_OK && pCollation != nullptr && isSameName(pCollation, "BINARY");
}

EResultCode SqliteWrapper::openCursor(std::unique_ptr<IRowCursor>& a_cursor, const SqlText& a_oText,
                                      SqliteRowCursor::ERows a_eRows)
{
    EResultCode eCode = check(a_oText, "selectSql");
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    sqlite3_stmt* pPrepared = nullptr;
    int iCode = query(a_oText.getPrepared().c_str(), &pPrepared);
    SqliteStatement oStatement(pPrepared);
    if (iCode == SQLITE_OK) {
        iCode = oStatement.bind(a_oText);
    }
    eCode = getResultCode(iCode, "selectSql");
    if (eCode == EResultCode::Success) {
        a_cursor = std::make_unique<SqliteRowCursor>(*this, std::move(oStatement), a_eRows);
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
    oText.sql(" WHERE ").key(a_keyColumn, a_keyValue);
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
    if (setsId(a_table, a_values, startsWithZero)) {
        return refuseId("insertRow");
    }
    if (a_values.empty()) {
        return logError("insertRow", noteRefusal(EResultCode::Failure, "no column has a value"));
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("INSERT INTO ").name(a_table).sql(" ( ").names(a_values);
    oText.sql(" ) VALUES ( ").values(a_values).sql(" )");
    allowGrowth(EGrowth::UpToLimit);
    return execute(oText);
}

EResultCode SqliteWrapper::insertKey(int& a_id, const std::string& a_table, const ValueList& a_values)
{
    if (isOpen()) {
        // An insert that numbers no row leaves SQLite with the number of an earlier one.
        sqlite3_set_last_insert_rowid(getDatabase(), 0);
    }
    const EResultCode eCode = insertRow(a_table, a_values);
    return eCode != EResultCode::Success ? eCode : lastInsertID(a_id);
}

EResultCode SqliteWrapper::updateRow(const std::string& a_table, unsigned int a_position,
                                     const ValueList& a_values)
{
    if (!hasTable(a_table)) {
        return logError("updateRow", EResultCode::NoTable);
    }
    if (setsId(a_table, a_values, isZero)) {
        return refuseId("updateRow");
    }
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_table).sql(" SET ").assignments(a_values);
    allowGrowth(EGrowth::UpToLimit);
    return changeByPosition(oText, a_table, a_position);
}

EResultCode SqliteWrapper::deleteRow(const std::string& a_table, unsigned int a_position)
{
    if (!hasTable(a_table)) {
        return logError("deleteRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_table);
    allowGrowth(EGrowth::Beyond);
    return changeByPosition(oText, a_table, a_position);
}

EResultCode SqliteWrapper::changeByPosition(SqlText& a_oChange, const std::string& a_table,
                                            unsigned int a_position)
{
    SqlText oText(c_iStatementLimit);
    EResultCode eCode = makeRange(oText, a_table, a_position, 1, {});
    ValueList oRow;
    std::vector<StoredCell> lCells;
    if (eCode == EResultCode::Success) {
        eCode = select(oRow, oText, &lCells);
    }
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    a_oChange.sql(" WHERE ").conditions(oRow, lCells);
    return execute(a_oChange);
}

EResultCode SqliteWrapper::updateKey(const std::string& a_table, const std::string& a_keyColumn,
                                     const std::string& a_keyValue, const ValueList& a_values)
{
    if (!isZeroId(a_keyColumn, a_keyValue) && hasTable(a_table) && setsId(a_table, a_values, isZero)) {
        return refuseId("updateKey");
    }
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_table).sql(" SET ").assignments(a_values);
    allowGrowth(EGrowth::UpToLimit);
    return changeByKey("updateKey", oText, a_table, a_keyColumn, a_keyValue);
}

EResultCode SqliteWrapper::deleteKey(const std::string& a_table, const std::string& a_keyColumn,
                                     const std::string& a_keyValue)
{
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_table);
    allowGrowth(EGrowth::Beyond);
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
        return logError(a_pOperation, noteRefusal(EResultCode::ReadOnly,
                                                  "the row with Id 0 holds defaults and cannot be changed"));
    }
    a_oChange.sql(" WHERE ").key(a_keyColumn, a_keyValue).sql(c_sNotZeroId);
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
    // Only rows with the key break constraints. What was ended would take as long again. And what ended the
    // transaction must not be tried again outside of it. Any other failure may have come before a row was
    // looked for.
    if (iCode == SQLITE_CONSTRAINT || isEnded(iCode) ||
        sqlite3_get_autocommit(getDatabase()) != iAutocommit) {
        return getResultCode(iCode, "exec");
    }
    return std::nullopt;
}

} // namespace systema

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

bool isZeroId(const std::string& a_sKeyColumn, const std::string& a_sKeyValue)
{
    return a_sKeyColumn == "Id" && a_sKeyValue == "0";
}

} // namespace

void SqliteWrapper::getTables(NameList& a_lNames)
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
        a_lNames.splice(lFound);
    }
}

EResultCode SqliteWrapper::getSchema(ColumnList& a_lColumns, const std::string& a_sTable)
{
    if (!hasTable(a_sTable)) {
        return logError("getSchema", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT * FROM ").name(a_sTable).sql(" LIMIT 0,1");
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
        a_lColumns.add(sName, eType);
    }
    return getResultCode(iCode, "getSchema");
}

EResultCode SqliteWrapper::getSize(unsigned int& a_iSize, const std::string& a_sTable)
{
    if (!hasTable(a_sTable)) {
        return logError("getSize", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT COUNT(*) FROM ").name(a_sTable);
    unsigned int iCount = 0;
    unsigned int iHidden = 0;
    bool bHides = false;
    EResultCode eCode = count(iCount, oText);
    if (eCode == EResultCode::Success && iCount != 0) {
        eCode = findZeroIdRow(bHides, a_sTable);
    }
    if (eCode == EResultCode::Success && bHides) {
        SqlText oHidden(c_iStatementLimit);
        oHidden.sql("SELECT COUNT(*) FROM ").name(a_sTable).sql(" WHERE Id = 0");
        eCode = count(iHidden, oHidden);
    }
    if (eCode == EResultCode::Success) {
        a_iSize = iCount - iHidden;
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

SqliteWrapper::ELookup SqliteWrapper::lookUp(const std::string& a_sTable)
{
    if (m_oTableCache.isKnown(a_sTable, getState())) {
        return ELookup::Found;
    }
    constexpr std::string_view c_sLookup = "SELECT rootpage FROM sqlite_master WHERE ";
    SqlText oText(c_iTableLimit - 1);
    oText.sql(c_sLookup).key("name", a_sTable);
    RunningStatement pStatement;
    EResultCode eCode;
    if (oText.getRefused() && isOpen()) {
        eCode = logSyntaxError(*oText.getRefused(), "hasTable");
    } else if (oText.isTooLong()) {
        // This text is not limited but cut, which leaves a quote open in it.
        const std::string sCut = (std::string(c_sLookup) + "name = '" + a_sTable).substr(0, oText.getLimit());
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
        m_oTableCache.setKnown(a_sTable);
    }
    return ELookup::Found;
}

bool SqliteWrapper::hasTable(const std::string& a_sTable)
{
    return lookUp(a_sTable) != ELookup::Missing;
}

bool SqliteWrapper::hasZeroIdRow(const std::string& a_sTable)
{
    bool bExists = false;
    return findZeroIdRow(bExists, a_sTable) == EResultCode::Success && bExists;
}

EResultCode SqliteWrapper::findZeroIdRow(bool& a_bExists, const std::string& a_sTable)
{
    const SqliteState oState = getState();
    if (const auto oKnown = m_oTableCache.getZeroIdRow(a_sTable, oState)) {
        a_bExists = *oKnown;
        return EResultCode::Success;
    }
    ValueList lRow;
    const EResultCode eCode = selectKey(lRow, a_sTable, "Id", "0", {"Id"});
    a_bExists = eCode == EResultCode::Success;
    if (eCode == EResultCode::Failure) {
        return eCode;
    }
    // A read that failed answers as if there were no row; that is not worth remembering.
    if (a_bExists || (eCode == EResultCode::NoRow && sqlite3_errcode(getDatabase()) == SQLITE_OK)) {
        m_oTableCache.setZeroIdRow(a_sTable, oState, a_bExists);
    }
    return EResultCode::Success;
}

bool SqliteWrapper::setsId(const std::string& a_sTable, const ValueList& a_lValues,
                           bool (*a_pIsSuch)(const Value&))
{
    return std::ranges::any_of(a_lValues, [&](const auto& a_oEntry) {
        return a_pIsSuch(a_oEntry.second) && isRowId(a_sTable, a_oEntry.first);
    });
}

EResultCode SqliteWrapper::refuseId(const char* a_pOperation) const
{
    return logError(a_pOperation, noteRefusal(EResultCode::Constraint, "Id has to be a number other than 0"));
}

bool SqliteWrapper::isRowId(const std::string& a_sTable, const std::string& a_sColumn)
{
    if (!isAlias(a_sColumn)) {
        return isSameName(a_sColumn, "Id");
    }
    ColumnList lColumns;
    getSchema(lColumns, a_sTable);
    return std::ranges::none_of(
        lColumns, [&](const auto& a_oColumn) { return isSameName(a_oColumn.first, a_sColumn); });
}

EResultCode SqliteWrapper::lastInsertID(int& a_iId) const
{
    SqlText oText(c_iTableLimit);
    oText.sql("SELECT last_insert_rowid()");
    RunningStatement pStatement;
    int iCode = prepare(oText, pStatement);
    if (iCode == SQLITE_OK) {
        iCode = pStatement->step();
    }
    if (iCode == SQLITE_ROW) {
        a_iId = pStatement->readNumber();
    }
    return getResultCode(iCode, "lastInsertID");
}

EResultCode SqliteWrapper::deleteAll(const std::string& a_sTable)
{
    if (!hasTable(a_sTable)) {
        return logError("deleteAll", EResultCode::NoTable);
    }
    SqlText oText(c_iTableLimit);
    oText.sql("DELETE FROM ").name(a_sTable).sql(" WHERE Id != 0");
    allowGrowth(EGrowth::Beyond);
    return execute(oText);
}

EResultCode SqliteWrapper::makeRange(SqlText& a_oText, const std::string& a_sTable, unsigned int a_iFirst,
                                     unsigned int a_iCount, const NameList& a_lColumns)
{
    bool bHides = false;
    const EResultCode eCode = findZeroIdRow(bHides, a_sTable);
    a_oText.sql("SELECT ").columns(a_lColumns).sql(" FROM ").name(a_sTable);
    // Positions are those of the natural order, also when an index holds all the wanted columns.
    a_oText.uncounted(" NOT INDEXED");
    if (bHides) {
        a_oText.uncounted(
            " WHERE Id IS NOT 0"); // where the column allows NULL a row with it is one like others
    }
    a_oText.sql(" LIMIT ").number(a_iFirst).sql(",").number(a_iCount);
    return eCode;
}

EResultCode SqliteWrapper::selectRow(ValueList& a_lRow, const std::string& a_sTable, unsigned int a_iPosition,
                                     const NameList& a_lColumns)
{
    if (!hasTable(a_sTable)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    const EResultCode eCode = makeRange(oText, a_sTable, a_iPosition, 1, a_lColumns);
    return eCode != EResultCode::Success ? eCode : select(a_lRow, oText);
}

EResultCode SqliteWrapper::openRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                                    unsigned int a_iFirst, unsigned int a_iCount, const NameList& a_lColumns)
{
    if (!hasTable(a_sTable)) {
        return logError("selectRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    const EResultCode eCode = makeRange(oText, a_sTable, a_iFirst, a_iCount, a_lColumns);
    return eCode != EResultCode::Success ? eCode : openCursor(a_pCursor, oText, SqliteRowCursor::ERows::All);
}

EResultCode SqliteWrapper::openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                                       const NameList& a_lColumns)
{
    if (!hasTable(a_sTable)) {
        return logError("selectKey", EResultCode::NoTable);
    }
    if (!isOpen() || !isComparedByBytes(a_sTable, a_lColumns[0])) {
        return EResultCode::Success;
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("SELECT ").columns(a_lColumns).sql(" FROM ").name(a_sTable);
    oText.uncounted(" NOT INDEXED WHERE Id != 0");
    return openCursor(a_pCursor, oText, SqliteRowCursor::ERows::ShownAsStored);
}

bool SqliteWrapper::isComparedByBytes(const std::string& a_sTable, const std::string& a_sColumn) const
{
    const char* pCollation = nullptr;
    const int iCode =
        sqlite3_table_column_metadata(getDatabase(), "main", a_sTable.c_str(), a_sColumn.c_str(), nullptr,
                                      &pCollation, nullptr, nullptr, nullptr);
    return iCode == SQLITE_OK && pCollation != nullptr && isSameName(pCollation, "BINARY");
}

EResultCode SqliteWrapper::openCursor(std::unique_ptr<IRowCursor>& a_pCursor, const SqlText& a_oText,
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
        a_pCursor = std::make_unique<SqliteRowCursor>(*this, std::move(oStatement), a_eRows);
    }
    return eCode;
}

EResultCode SqliteWrapper::selectKey(ValueList& a_lRow, const std::string& a_sTable,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const NameList& a_lColumns)
{
    if (!hasTable(a_sTable)) {
        return logError("selectKey", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("SELECT ").columns(a_lColumns).sql(" FROM ").name(a_sTable);
    oText.sql(" WHERE ").key(a_sKeyColumn, a_sKeyValue);
    if (!isZeroId(a_sKeyColumn, a_sKeyValue)) {
        oText.sql(c_sNotZeroId);
    }
    return select(a_lRow, oText);
}

EResultCode SqliteWrapper::insertRow(const std::string& a_sTable, const ValueList& a_lValues)
{
    if (!hasTable(a_sTable)) {
        return logError("insertRow", EResultCode::NoTable);
    }
    if (setsId(a_sTable, a_lValues, startsWithZero)) {
        return refuseId("insertRow");
    }
    if (a_lValues.empty()) {
        return logError("insertRow", noteRefusal(EResultCode::Failure, "no column has a value"));
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("INSERT INTO ").name(a_sTable).sql(" ( ").names(a_lValues);
    oText.sql(" ) VALUES ( ").values(a_lValues).sql(" )");
    allowGrowth(EGrowth::UpToLimit);
    return execute(oText);
}

EResultCode SqliteWrapper::insertKey(int& a_iId, const std::string& a_sTable, const ValueList& a_lValues)
{
    if (isOpen()) {
        // An insert that numbers no row leaves SQLite with the number of an earlier one.
        sqlite3_set_last_insert_rowid(getDatabase(), 0);
    }
    const EResultCode eCode = insertRow(a_sTable, a_lValues);
    return eCode != EResultCode::Success ? eCode : lastInsertID(a_iId);
}

EResultCode SqliteWrapper::updateRow(const std::string& a_sTable, unsigned int a_iPosition,
                                     const ValueList& a_lValues)
{
    if (!hasTable(a_sTable)) {
        return logError("updateRow", EResultCode::NoTable);
    }
    if (setsId(a_sTable, a_lValues, isZero)) {
        return refuseId("updateRow");
    }
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_sTable).sql(" SET ").assignments(a_lValues);
    allowGrowth(EGrowth::UpToLimit);
    return changeByPosition(oText, a_sTable, a_iPosition);
}

EResultCode SqliteWrapper::deleteRow(const std::string& a_sTable, unsigned int a_iPosition)
{
    if (!hasTable(a_sTable)) {
        return logError("deleteRow", EResultCode::NoTable);
    }
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_sTable);
    allowGrowth(EGrowth::Beyond);
    return changeByPosition(oText, a_sTable, a_iPosition);
}

EResultCode SqliteWrapper::changeByPosition(SqlText& a_oChange, const std::string& a_sTable,
                                            unsigned int a_iPosition)
{
    SqlText oText(c_iStatementLimit);
    EResultCode eCode = makeRange(oText, a_sTable, a_iPosition, 1, {});
    ValueList lRow;
    std::vector<StoredCell> lCells;
    if (eCode == EResultCode::Success) {
        eCode = select(lRow, oText, &lCells);
    }
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    a_oChange.sql(" WHERE ").conditions(lRow, lCells);
    return execute(a_oChange);
}

EResultCode SqliteWrapper::updateKey(const std::string& a_sTable, const std::string& a_sKeyColumn,
                                     const std::string& a_sKeyValue, const ValueList& a_lValues)
{
    if (!isZeroId(a_sKeyColumn, a_sKeyValue) && hasTable(a_sTable) && setsId(a_sTable, a_lValues, isZero)) {
        return refuseId("updateKey");
    }
    SqlText oText(c_iUpdateLimit);
    oText.sql("UPDATE ").name(a_sTable).sql(" SET ").assignments(a_lValues);
    allowGrowth(EGrowth::UpToLimit);
    return changeByKey("updateKey", oText, a_sTable, a_sKeyColumn, a_sKeyValue);
}

EResultCode SqliteWrapper::deleteKey(const std::string& a_sTable, const std::string& a_sKeyColumn,
                                     const std::string& a_sKeyValue)
{
    SqlText oText(c_iStatementLimit);
    oText.sql("DELETE FROM ").name(a_sTable);
    allowGrowth(EGrowth::Beyond);
    return changeByKey("deleteKey", oText, a_sTable, a_sKeyColumn, a_sKeyValue);
}

EResultCode SqliteWrapper::changeByKey(const char* a_pOperation, SqlText& a_oChange,
                                       const std::string& a_sTable, const std::string& a_sKeyColumn,
                                       const std::string& a_sKeyValue)
{
    const ELookup eTable = lookUp(a_sTable);
    if (eTable == ELookup::Missing) {
        return logError(a_pOperation, EResultCode::NoTable);
    }
    if (isZeroId(a_sKeyColumn, a_sKeyValue)) {
        return logError(a_pOperation, noteRefusal(EResultCode::ReadOnly,
                                                  "the row with Id 0 holds defaults and cannot be changed"));
    }
    a_oChange.sql(" WHERE ").key(a_sKeyColumn, a_sKeyValue).sql(c_sNotZeroId);
    if (eTable == ELookup::Found) {
        if (const auto oCode = changeAtOnce(a_oChange)) {
            return *oCode;
        }
    }
    ValueList lRow;
    const EResultCode eCode = selectKey(lRow, a_sTable, a_sKeyColumn, a_sKeyValue, {});
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

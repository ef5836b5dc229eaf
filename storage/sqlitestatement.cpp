#include "storage/sqlitestatement.h"

#include "storage/sqlitetype.h"
#include "zel/stopflag.h"

#include <sqlite3.h>

#include <cstring>
#include <new>
#include <utility>

namespace systema {

namespace {

const char* textOf(sqlite3_value* a_pCell)
{
    const auto* pText = sqlite3_value_text(a_pCell);
    return pText == nullptr ? "" : reinterpret_cast<const char*>(pText); // null: out of memory
}

/// The number of a cell whose column is declared as one. An integer cell keeps its low 32 bits, just as the
/// conversion of its text would.
int numberOf(sqlite3_value* a_pCell, int a_iCellType)
{
    return a_iCellType == SQLITE_INTEGER
               ? static_cast<int>(sqlite3_value_int64(a_pCell))
               : SqliteType::setValueType(textOf(a_pCell), EDataType::Integer).getInteger();
}

constexpr int c_iInstructions = 1000; // of SQLite's machine, some 20 us, between two looks at the clock

struct Step
{
    sqlite3_stmt* m_pStatement = nullptr;
    SqliteStatement::Clock::time_point m_oDeadline{};
};

constinit thread_local Step s_oStep{}; // the one that is being made

extern "C" int mustEnd(void*)
{
    // A statement that has just ended is asked for as well; what it has changed is there to stay.
    return s_oStep.m_pStatement != nullptr && sqlite3_stmt_busy(s_oStep.m_pStatement) != 0 &&
           (zel::isStopRequested() || SqliteStatement::Clock::now() >= s_oStep.m_oDeadline);
}

} // namespace

void limitStatements(sqlite3* a_pDatabase)
{
    sqlite3_progress_handler(a_pDatabase, c_iInstructions, mustEnd, nullptr);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* a_pStatement) const
{
    sqlite3_finalize(a_pStatement);
}

int SqliteStatement::bind(const SqlText& a_oText)
{
    int iCode = SQLITE_OK;
    int iParameter = 0;
    for (const auto& oBinding : a_oText.getBindings()) {
        ++iParameter;
        if (const auto* pText = std::get_if<std::string_view>(&oBinding)) {
            iCode =
                sqlite3_bind_text64(get(), iParameter, pText->data(), pText->size(), nullptr, SQLITE_UTF8);
        } else if (const auto* pNumber = std::get_if<std::int64_t>(&oBinding)) {
            iCode = sqlite3_bind_int64(get(), iParameter, *pNumber);
        } else if (const auto* pCell = std::get_if<const sqlite3_value*>(&oBinding)) {
            iCode = sqlite3_bind_value(get(), iParameter, *pCell);
        }
        if (iCode != SQLITE_OK) {
            break;
        }
    }
    return iCode;
}

int SqliteStatement::step(Clock::time_point a_oDeadline)
{
    s_oStep = {get(), a_oDeadline};
    const int iCode = sqlite3_step(get());
    s_oStep = {};
    return iCode;
}

void SqliteStatement::reset()
{
    sqlite3_reset(get());
    sqlite3_clear_bindings(get());
}

const ColumnList& SqliteStatement::getColumns()
{
    if (m_lColumns.empty()) {
        const int iCount = sqlite3_column_count(get());
        for (int i = 0; i < iCount; ++i) {
            const char* pName = sqlite3_column_name(get(), i);
            m_lColumns.add(pName == nullptr ? "" : pName, // null: out of memory
                           SqliteType::getDataType(sqlite3_column_decltype(get(), i)));
        }
    }
    return m_lColumns;
}

void SqliteStatement::readRow(IRowSink& a_oSink)
{
    int i = 0;
    for (const auto& oColumn : getColumns()) {
        sqlite3_value* pCell = sqlite3_column_value(get(), i++);
        const unsigned iType = oColumn.second;
        const int iCellType = sqlite3_value_type(pCell); // once: it costs a call for each cell
        if (iType == EDataType::Null || iCellType == SQLITE_NULL) {
            a_oSink.addNull();
        } else if (iType == EDataType::Integer) {
            a_oSink.addInteger(numberOf(pCell, iCellType));
        } else if (iType == EDataType::Unsigned) {
            a_oSink.addUnsigned(static_cast<unsigned>(numberOf(pCell, iCellType)));
        } else {
            a_oSink.addText(textOf(pCell));
        }
    }
}

bool SqliteStatement::isShownAsStored()
{
    sqlite3_value* pCell = sqlite3_column_value(get(), 0);
    const int iCellType = sqlite3_value_type(pCell);
    switch (getColumns().begin()->second) {
    case EDataType::Integer:
        return iCellType == SQLITE_INTEGER && std::in_range<int>(sqlite3_value_int64(pCell));
    case EDataType::Unsigned:
        return iCellType == SQLITE_INTEGER && std::in_range<unsigned>(sqlite3_value_int64(pCell));
    case EDataType::Text:
        return iCellType == SQLITE_TEXT && // and not cut at a NUL byte
               std::strlen(textOf(pCell)) == static_cast<std::size_t>(sqlite3_value_bytes(pCell));
    default:
        return false;
    }
}

std::vector<StoredCell> SqliteStatement::copyCells()
{
    const int iCount = sqlite3_column_count(get());
    std::vector<StoredCell> lCells;
    for (int i = 0; i < iCount; ++i) {
        lCells.emplace_back(sqlite3_value_dup(sqlite3_column_value(get(), i)));
        if (lCells.back() == nullptr) {
            throw std::bad_alloc();
        }
    }
    return lCells;
}

int SqliteStatement::readNumber()
{
    return sqlite3_column_int(get(), 0);
}

std::string SqliteStatement::readText(int a_iColumn)
{
    return textOf(sqlite3_column_value(get(), a_iColumn));
}

bool SqliteStatement::wasPreparedAgain()
{
    return sqlite3_stmt_status(get(), SQLITE_STMTSTATUS_REPREPARE, 0) != 0;
}

} // namespace systema

#include "storage/sqliterowcursor.h"

#include <sqlite3.h>

#include <utility>

namespace systema {

SqliteRowCursor::SqliteRowCursor(const SqliteConnection& a_oDatabase, SqliteStatement a_oStatement,
                                 ERows a_eRows)
    : m_oDatabase(a_oDatabase),
      m_oState(a_oDatabase.getState()),
      m_eRows(a_eRows),
      m_oStatement(std::move(a_oStatement))
{
    for (const auto& oColumn : m_oStatement->getColumns()) {
        m_lColumns.add(oColumn.first);
    }
}

SqliteRowCursor::~SqliteRowCursor()
{
    finish(m_eEnd);
}

void SqliteRowCursor::finish(EResultCode a_eEnd)
{
    if (m_oStatement && m_oDatabase.getState().m_iConnection != m_oState.m_iConnection) {
        m_oStatement->forget();
    }
    m_oStatement.reset();
    m_eEnd = a_eEnd;
}

EResultCode SqliteRowCursor::fetch(IRowSink& a_oSink)
{
    if (m_oStatement && isOvertaken()) {
        finish(EResultCode::Busy);
    }
    const auto oDeadline = SqliteStatement::Clock::now() + SqliteStatement::c_oDeadline;
    while (m_oStatement) {
        const int iCode = m_oStatement->step(oDeadline);
        if (m_oStatement->wasPreparedAgain()) { // after a change of the schema by another connection
            finish(EResultCode::Busy);
        } else if (iCode == SQLITE_DONE) {
            finish(EResultCode::NoRow);
        } else if (iCode != SQLITE_ROW) {
            m_oDatabase.getResultCode(iCode, "selectRow");
            finish(EResultCode::Failure);
        } else if (m_eRows == ERows::All || m_oStatement->isShownAsStored()) {
            m_oStatement->readRow(a_oSink);
            if (!a_oSink.endRow()) {
                return EResultCode::Success;
            }
        }
    }
    return m_eEnd;
}

} // namespace systema

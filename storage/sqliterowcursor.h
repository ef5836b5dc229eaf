// An open read over a range of rows of one table.
//
// Made by SqliteWrapper::openRows, which it must not outlive; owned by the caller. Holds a statement of its
// own, which goes with the connection: after a close of the database fetch gives 2.
#pragma once

#include "storage/sqliteconnection.h"
#include "systema/rowsource.h"

#include <optional>

namespace systema {

class SqliteRowCursor : public IRowCursor
{
public:
    enum class ERows
    {
        All,
        ShownAsStored // in column 0, see SqliteStatement
    };

    SqliteRowCursor(const SqliteConnection& a_oDatabase, SqliteStatement a_oStatement,
                    ERows a_eRows = ERows::All);
    ~SqliteRowCursor() override;
    SqliteRowCursor(const SqliteRowCursor&) = delete;
    SqliteRowCursor& operator=(const SqliteRowCursor&) = delete;

    const NameList& getColumns() const override { return m_lColumns; }
    EResultCode fetch(IRowSink& a_oSink) override;

private:
    bool isOvertaken() const { return m_oDatabase.getState() != m_oState; }
    void finish(EResultCode a_eEnd);

    const SqliteConnection& m_oDatabase;
    const SqliteState m_oState;
    const ERows m_eRows;
    std::optional<SqliteStatement> m_oStatement; // until the end is known
    NameList m_lColumns;
    EResultCode m_eEnd = EResultCode::Success; // the answer to every fetch after the end
};

} // namespace systema

// What a plugin of stored tables says of them besides the contract. Asked for when the plugin is attached.
#pragma once

#include "systema/lists.h"
#include "systema/rowsource.h"

#include <memory>
#include <string>

namespace systema {

/// Offered by plugins whose tables are stored, not computed.
class IStoredTables
{
public:
    virtual ~IStoredTables() = default;

    /// True when a rollback undoes the writes since the transaction began; false when each write holds.
    virtual bool usesTransactions() const = 0;
    /// True when a transaction that was begun is gone without a commit or rollback: a failure made the store
    /// undo it.
    virtual bool hasLostTransaction() const = 0;
    /// Replaces the list by the names of all tables of the store in which writes have changed rows since the
    /// last call: those that were written, and those that changed along with them. False when names are
    /// missing for want of memory.
    virtual bool takeTouched(NameList& a_lTables) noexcept = 0;
    /// Opens the read of ConfigDispatcher::openKeyRows. Without a cursor, which is 0 as well, only the keys
    /// themselves tell what they find.
    virtual EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_cursor, const std::string& a_table,
                                    const NameList& a_columns) = 0;
};

} // namespace systema

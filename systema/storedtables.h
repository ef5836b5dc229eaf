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
    /// Replaces the list by the names of the tables in which rows have changed since the last call: by a
    /// write itself, by a reference, or by a trigger. False when memory ran out and names are missing.
    virtual bool takeTouched(NameList& a_lTables) noexcept = 0;
    /// See ConfigDispatcher::openKeyRows.
    virtual EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                                    const NameList& a_lColumns) = 0;
};

} // namespace systema

// What a plugin of stored tables says of them besides the contract. Asked for when the plugin is attached.
#pragma once

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
};

} // namespace systema

// The base of a table whose source is read once while a transaction is open, so that everybody sees one state
// until its end, however it ends.
//
// Main thread only. The table's refresh asks the lock.
#pragma once

#include "status/singletable.h"
#include "status/transactionlock.h"

namespace zel {

template<class Row>
class FrozenTable : public SingleTable<Row>
{
public:
    systema::EResultCode startTransaction() override
    {
        m_oLock.open();
        return systema::EResultCode::Success;
    }
    systema::EResultCode commitTransaction() override
    {
        m_oLock.setIdle();
        return systema::EResultCode::Success;
    }
    systema::EResultCode rollbackTransaction() override { return commitTransaction(); }

protected:
    using SingleTable<Row>::SingleTable;

    TransactionLock m_oLock;
};

} // namespace zel

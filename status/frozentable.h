// The base of a table whose source is read once while a transaction is open, so that everybody sees one state
// until the commit.
//
// Main thread only. The table's refresh asks the lock. A rollback ends nothing: what was read then is served
// until the next commit, also in a transaction that starts meanwhile.
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
        if (!m_oLock.isTaken()) { // by a transaction that was rolled back
            m_oLock.open();
        }
        return systema::EResultCode::Success;
    }
    systema::EResultCode commitTransaction() override
    {
        m_oLock.setIdle();
        return systema::EResultCode::Success;
    }

protected:
    using SingleTable<Row>::SingleTable;

    TransactionLock m_oLock;
};

} // namespace zel

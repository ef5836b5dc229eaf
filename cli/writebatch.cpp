#include "cli/writebatch.h"

namespace systema::cli {

void WriteBatch::fail(Outcome a_oFailure)
{
    if (m_oFailure.ok()) {
        m_oFailure = std::move(a_oFailure);
    }
}

bool WriteBatch::wait()
{
    const client::Status oStatus = m_oConnection.wait();
    if (!oStatus.ok()) {
        fail(oStatus);
    }
    return m_oFailure.ok();
}

Outcome WriteBatch::finish()
{
    if (wait()) {
        return m_oTransaction.commit();
    }
    static_cast<void>(m_oTransaction.rollback()); // what matters is the failure before
    return m_oFailure;
}

} // namespace systema::cli

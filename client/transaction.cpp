#include "client/transaction.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace systema::client {

Transaction::~Transaction()
{
    if (isOpen() && m_oConnection.submit(request::Rollback{}, [](const Status&) {}).ok()) {
        static_cast<void>(m_oConnection.wait());
    }
}

bool Transaction::isOpen() const
{
    return m_bBegun && m_oConnection.isConnected() && m_oConnection.generation() == m_iGeneration;
}

Status Transaction::begin(std::chrono::milliseconds a_oWait)
{
    using Count = std::chrono::milliseconds::rep;
    constexpr Count c_iLongest = std::numeric_limits<std::uint32_t>::max();
    const auto iWaitMs = static_cast<std::uint32_t>(std::clamp<Count>(a_oWait.count(), 0, c_iLongest));
    Status oStatus = m_oConnection.call(request::Begin{iWaitMs});
    if (oStatus.ok()) {
        m_bBegun = true;
        m_iGeneration = m_oConnection.generation();
    }
    return oStatus;
}

template<typename Request>
Status Transaction::end()
{
    const bool bOpen = isOpen();
    if (!std::exchange(m_bBegun, false)) {
        return Status::refused(EResultCode::Failure, "no transaction is open");
    }
    return bOpen ? m_oConnection.call(Request{})
                 : Status::disconnected("the transaction ended with its connection");
}

Status Transaction::commit()
{
    return end<request::Commit>();
}

Status Transaction::rollback()
{
    return end<request::Rollback>();
}

} // namespace systema::client

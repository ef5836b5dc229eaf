// Many writes as one transaction: they are sent without waiting for each other's answers, and committed when
// none of them failed. Owned by the command that makes it; dropped early, it rolls back.
#pragma once

#include "cli/outcome.h"
#include "client/transaction.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace systema::cli {

class WriteBatch
{
public:
    explicit WriteBatch(client::Connection& a_oConnection)
        : m_oConnection(a_oConnection),
          m_oTransaction(a_oConnection)
    {
    }

    /// Waits for the transaction of another client to end. 2: it did not; 3: locked.
    client::Status begin(std::chrono::milliseconds a_oWait) { return m_oTransaction.begin(a_oWait); }

    /// Sends a write, unless one has failed already. The handler is called with its result and says whether
    /// that will do; if not, the batch has failed. The context stands in front of the error text.
    template<typename Request>
    void add(const Request& a_oRequest, std::string a_sContext,
             std::function<bool(const client::ResultOf<Request>&)> a_oHandler)
    {
        if (!m_oFailure.ok()) {
            return;
        }
        const client::Status oStatus = m_oConnection.submit(
            a_oRequest, [this, a_sContext, a_oHandler](const client::ResultOf<Request>& a_oResult) {
                if (!a_oHandler(a_oResult)) {
                    fail(Outcome(a_oResult, a_sContext));
                }
            });
        if (!oStatus.ok()) {
            fail(Outcome(oStatus, a_sContext));
        } else if (m_oConnection.unanswered() >= c_iMostUnanswered) {
            static_cast<void>(m_oConnection.wait(c_iMostUnanswered / 2));
        }
    }

    /// Fails the batch, unless it has failed already.
    void fail(Outcome a_oFailure);
    /// The first failure so far.
    const Outcome& failure() const { return m_oFailure; }
    /// Waits for all answers. False when the batch has failed.
    bool wait();
    /// Waits for all answers; commits, or rolls back after a failure, the first of which it gives.
    Outcome finish();

private:
    static constexpr std::size_t c_iMostUnanswered = 1024; // so that a long batch stops soon after a failure

    client::Connection& m_oConnection;
    Outcome m_oFailure;
    client::Transaction
        m_oTransaction; // goes first: rolling back waits for the answers, which use the others
};

} // namespace systema::cli

// A transaction that is rolled back when its object goes without commit.
//
// Owned by the caller for the length of the work; the connection must outlive it. Neither copied nor moved,
// so that one object stands for one transaction. Not for use within a handler of rows or answers, where
// nothing can wait; only its end is safe there. A transaction that the server has given up (too old, or the
// configuration was taken out of service) makes every operation and the commit answer 1, with the reason.
#pragma once

#include "client/connection.h"

#include <chrono>

namespace systema::client {

class Transaction
{
public:
    explicit Transaction(Connection& a_oConnection) : m_oConnection(a_oConnection) {}
    /// Rolls back, and waits for that, when neither commit() nor rollback() was called.
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Begins; the server grants it first come, first served within the wait.
    /// 0; 1: the connection has a transaction already; 2: another one has, and the wait is over; 3: locked.
    Status begin(std::chrono::milliseconds a_oWait = {});
    /// Makes the changes permanent. 1: none is open. Another code comes from a database that failed: it and
    /// those after it are rolled back, those before it, in the order of attachment, keep what was written.
    /// What was written to tables that no rollback undoes, the virtual ones and those of services.db and
    /// persistent-area.db, holds whatever the result.
    Status commit();
    /// Discards the changes, but those of tables that no rollback undoes. 1: none is open.
    Status rollback();
    /// Begun and neither committed nor rolled back, on a connection that still holds.
    bool isOpen() const;

private:
    template<typename Request>
    Status end();

    Connection& m_oConnection;
    bool m_bBegun = false;
    unsigned m_iGeneration = 0; // of the connection that it was begun on
};

} // namespace systema::client

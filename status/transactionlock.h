// Lets a table read its source once in a client's transaction, so that the transaction sees one state. Not a
// mutex: the owner opens it when a transaction starts and sets it idle when one ends. Main thread only.
#pragma once

namespace zel {

class TransactionLock
{
public:
    void open() { m_eState = EState::Open; }
    void setIdle() { m_eState = EState::Idle; }
    /// True when the source was read in this transaction already.
    bool isTaken() const { return m_eState == EState::Taken; }
    /// Marks the source as read. True when a transaction is open that had not read it yet.
    bool lock()
    {
        const bool bOpen = m_eState == EState::Open;
        if (bOpen) {
            m_eState = EState::Taken;
        }
        return bOpen;
    }

private:
    enum class EState
    {
        Idle = 0,
        Open = 1,
        Taken = 2
    };
    EState m_eState = EState::Idle;
};

} // namespace zel

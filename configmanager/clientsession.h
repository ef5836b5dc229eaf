// One client connection: takes frames apart, has requests handled and answers them in order.
//
// Owned by the service manager; its address is the connection's handle. Main thread only. Whatever bytes
// come, the worst that happens is that this connection is closed. An answer that takes time (a bulk read, a
// begin that waits, a long list that the daemon reads) holds the requests behind it back, never those of
// others.
#pragma once

#include "configmanager/requesthandler.h"
#include "configmanager/turnqueue.h"
#include "systema/configpublisher.h"
#include "systema/eventdispatcher.h"
#include "systema/rowsource.h"
#include "systema/wire.h"
#include "zel/uniquefd.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace zel::cfg {

class ConfigServiceManager;

constexpr std::chrono::seconds c_oHelloTimeout{5};
constexpr std::size_t c_iOutputLimit = 1024 * 1024; // unread output from which on no request is read
constexpr std::size_t c_iEventOutput = 64 * 1024;   // unread output from which on changes wait in a set
constexpr std::size_t c_iKeptCapacity = 128 * 1024; // of a buffer that has become empty
constexpr std::size_t c_iReplyRoom = 64; // had before a request is served: what was done is answered
constexpr unsigned c_iPartsPerTurn = 16; // of a bulk read, before others have their turn
constexpr std::chrono::milliseconds c_oTurnTime{10}; // after which others have theirs, whatever is left
constexpr std::chrono::milliseconds c_oPendingWait{
    5}; // before a request whose answer is pending is made again

class ClientSession : public systema::net::IEventHandler, public systema::IConfigSubscriber, public TurnTaker
{
public:
    ClientSession(ConfigServiceManager& a_oManager, zel::UniqueFd a_oSocket, uid_t a_iUser);
    ~ClientSession() override;
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    /// Begins to serve; the session may be gone when it returns.
    void start();

    void handleEvent(int a_iFd) override;
    /// Reads and serves what has come, or goes on with what is under way.
    void onTurn() override;
    void notify(const systema::NameList& a_lChangedTables) override;

    /// Tells the client that its transaction was rolled back.
    void sendTransactionLost(std::string_view a_sReason);
    /// Answers a begin that waited, and goes on with the requests behind it.
    void finishBegin(systema::EResultCode a_eResult);

private:
    using EResultCode = systema::EResultCode;
    using Reader = systema::wire::Reader;
    using Writer = systema::wire::Writer;
    using Header = systema::wire::Header;
    using TimerId = systema::net::EventDispatcher::TimerId;

    /// Calls a function that may make output, goes on as far as the socket allows, and waits for the rest.
    /// The session may be gone when it returns.
    template<typename Function>
    void run(Function a_oFunction);
    unsigned interest() const;
    void awaitHello(std::chrono::milliseconds a_oTime, bool a_bAgain);
    void receive();
    void advance();
    void yield();
    void yieldToWait();
    bool isTurnOver() const;
    void flush();
    void close();
    /// Later requests wait for something that is under way.
    bool isBlocked() const { return m_pRows || m_oWaitEnd || m_bYields || m_bDraining; }

    std::size_t unsent() const { return m_sOutput.size() - m_iSent; }

    /// Serves what is whole of the input kept and the input given; the rest is kept. True if it served any.
    bool serveInput(std::string_view a_sInput);
    std::size_t serveFrames(std::string_view a_sInput);
    /// False when the answer is pending: the request is to be served again.
    bool serve(std::string_view a_sBody);
    void reply(EResultCode a_eResult, std::string_view a_sReason = {});
    bool isTooLarge(Writer& a_oFrame) const;
    void refuse(const char* a_pWhat);
    void sendRowsPart();
    void sendChangeEvents();
    void waitToBegin(std::chrono::milliseconds a_oWait);

    ConfigServiceManager& m_oManager;
    zel::UniqueFd m_oSocket;

    std::string m_sInput;  // received and not yet served
    std::string m_sOutput; // not yet taken by the socket, from m_iSent on
    std::size_t m_iSent = 0;
    bool m_bDraining = false; // too much unread output: nothing is read until it is gone
    bool m_bClosing = false;  // closes once the output is gone
    bool m_bGone = false;     // the socket is of no use any more
    std::size_t m_iKept = 0;  // bytes of input, output and rows, as the manager counts them

    std::optional<TimerId> m_oHelloEnd; // set until the client has said hello
    std::optional<TimerId> m_oPause;    // set while a pending answer is waited for
    std::optional<TimerId> m_oWaitEnd;  // set while a begin waits

    bool m_bYields = false;       // goes on in a later turn, which comes without an event
    bool m_bRowsAreNext = false;  // has yielded before the bulk read that comes next
    unsigned m_iRequestsLeft = 0; // before others have their turn
    std::chrono::steady_clock::time_point m_oTurnEnd;

    Header m_oRequest{};                          // the request being served or held
    std::unique_ptr<systema::IRowCursor> m_pRows; // the bulk read under way
    bool m_bColumnsSent = false;
    TableSet m_lChanges; // tables to tell of
    RequestHandler m_oHandler;
};

} // namespace zel::cfg

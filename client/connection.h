// A connection to ledgerd: blocking calls, many requests in flight, or driven by the caller's event loop.
//
// Owned by its user and used by one thread at a time. Every failure is a Status. A connection that broke,
// timed out or received what the protocol does not allow is closed, every request in flight is finished with
// that failure, and further ones get it too until connect() is called again.
//
// Handlers (of rows, answers and changes) must not throw nor destroy the connection. A handler of rows or of
// an answer may submit requests but not block; a handler of changes may do everything.
#pragma once

#include "client/inputbuffer.h"
#include "client/request.h"
#include "client/result.h"
#include "zel/uniquefd.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace systema::client {

/// Reads one body of an answer, which lives for the call only; false when it is not what it should be.
using BodyReader = std::function<bool(std::string_view)>;

/// What a call gives: a Status alone when the answer has no content.
template<typename Request>
using ResultOf = std::conditional_t<std::is_same_v<typename Request::Answer, Nothing>, Status,
                                    Result<typename Request::Answer>>;

class Connection
{
public:
    struct Options
    {
        std::string m_sSocket;                       // path of the daemon's socket
        std::string m_sProgram;                      // the caller's name, for the daemon's log
        std::chrono::milliseconds m_oTimeout{10000}; // how long an answer may take, at least 1
        bool m_bReasons = false; // refusals come with the server's reason, if it tells any
    };
    using ChangeHandler = std::function<void(const std::string& a_sTable)>;
    using LossHandler = std::function<void(const std::string& a_sReason)>;

    explicit Connection(Options a_oOptions);
    /// Finishes the requests in flight with a connection error.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // -----------------------------------------------------------------------------------------------------
    // The connection itself

    /// Connects and says hello; an earlier connection is closed first. Subscriptions made before hold again,
    /// and each of their tables is told as changed, since changes may have been missed; when the server
    /// refuses one of them (8: no such table) there is no connection. 2: the server has too many connections.
    Status connect();
    /// The same over a socket that is connected already, which the connection then owns.
    Status attach(zel::UniqueFd a_oSocket);
    void close();
    bool isConnected() const { return static_cast<bool>(m_oSocket); }
    /// Counts the connections made, so that who holds a transaction knows when it is gone.
    unsigned generation() const { return m_iGeneration; }
    const std::string& serverVersion() const { return m_sServerVersion; }

    // -----------------------------------------------------------------------------------------------------
    // One request at a time

    /// Sends a request and waits for its answer.
    template<typename Request>
    ResultOf<Request> call(const Request& a_oRequest)
    {
        typename Request::Answer oAnswer{};
        Status oStatus =
            call(a_oRequest, [&](std::string_view a_sBody) { return readAnswer(a_sBody, oAnswer); });
        if constexpr (std::is_same_v<typename Request::Answer, Nothing>) {
            return oStatus;
        } else if (!oStatus.ok()) {
            return {std::move(oStatus)};
        } else {
            return {std::move(oStatus), std::move(oAnswer)};
        }
    }

    /// The same without any copy: the reader takes the body of the answer apart, each of them when it comes
    /// in parts. It is called with success only, except that a bulk read may fail after its first parts.
    template<typename Request, typename Reader>
    requires std::is_invocable_r_v<bool, Reader, std::string_view> Status call(const Request& a_oRequest,
                                                                               Reader&& a_oReader)
    {
        if (m_bDispatching) {
            return notInHandler();
        }
        BlockingAnswer oAnswer(std::ref(a_oReader));
        Status oStatus = write(a_oRequest, oAnswer, nullptr);
        return oStatus.ok() ? await(oAnswer) : oStatus;
    }

    /// Reads rows and collects them. A read that a change of any table of the same database made void is
    /// repeated up to c_iBulkAttempts times; after that the result is 2.
    Result<Rows> call(const request::SelectRows& a_oRequest);

    /// Reads rows and hands each to the handler as it comes. With any result but 0 what the handler was given
    /// is void; with 2 because a table of the same database was changed meanwhile, and it is worth reading
    /// again.
    Status readRows(const request::SelectRows& a_oRequest, const RowHandler& a_oHandler);

    static constexpr int c_iBulkAttempts = 5;

    // -----------------------------------------------------------------------------------------------------
    // Many requests in flight

    /// Queues a request, to be sent by wait(), by the next call or by processWritable(). Its handler is
    /// called exactly once, with the result, unless the status returned here is a failure.
    template<typename Request>
    Status submit(const Request& a_oRequest, std::function<void(ResultOf<Request>)> a_oHandler)
    {
        auto pAnswer = std::make_unique<SubmittedAnswer<Request>>(std::move(a_oHandler));
        auto& oAnswer = *pAnswer;
        return write(a_oRequest, oAnswer, std::move(pAnswer));
    }

    /// Sends what is queued and blocks until at most so many requests are unanswered.
    Status wait(std::size_t a_iUnanswered = 0);
    /// The number of requests that are not answered yet.
    std::size_t unanswered() const { return m_lPending.size(); }

    // -----------------------------------------------------------------------------------------------------
    // In an event loop (level-triggered). Time-outs are then the caller's business.

    /// The socket to watch, -1 when there is no connection.
    int descriptor() const { return m_oSocket.get(); }
    /// There is something to send: watch for writable too.
    bool wantsWrite() const { return isConnected() && !m_sOutput.empty(); }
    /// Receives once and calls handlers. Never blocks, unless a handler of changes does.
    Status processReadable();
    /// Sends as much as the socket takes. Never blocks.
    Status processWritable();

    // -----------------------------------------------------------------------------------------------------
    // Changes

    /// Asks to be told when one of the tables changes; with a_bTellAtOnce each is told once right away.
    Status subscribe(const NameList& a_lTables, bool a_bTellAtOnce = false);
    /// Ends that for the tables, all of them when there is no name. Without a connection they are forgotten.
    Status unsubscribe(const NameList& a_lTables = {});
    /// The name of a table that changed since it was given last; waits for one for a time that is cut at a
    /// day, and gives nothing when that is over. Only of use without a change handler.
    Result<std::optional<std::string>> waitForChange(std::chrono::milliseconds a_oTimeout);
    /// Is called with the name of each changed table, within processReadable(), wait() and the calls.
    void onTableChanged(ChangeHandler a_oHandler) { m_oChangeHandler = std::move(a_oHandler); }
    /// Is called likewise when the server has rolled back this connection's transaction.
    void onTransactionLost(LossHandler a_oHandler) { m_oLossHandler = std::move(a_oHandler); }

private:
    using Clock = std::chrono::steady_clock;
    using Deadline = std::optional<Clock::time_point>;

    class IAnswer
    {
    public:
        virtual ~IAnswer() = default;

        /// Takes one body of a successful answer; false when it is malformed.
        virtual bool take(std::string_view a_sBody) = 0;
        /// Ends the answer; the last call.
        virtual void finish(Status a_oStatus) = 0;
    };

    class BlockingAnswer : public IAnswer
    {
    public:
        explicit BlockingAnswer(BodyReader a_oReader) : m_oReader(std::move(a_oReader)) {}
        bool take(std::string_view a_sBody) override { return m_oReader(a_sBody); }
        void finish(Status a_oStatus) override { m_oStatus = std::move(a_oStatus); }

        BodyReader m_oReader;
        std::optional<Status> m_oStatus; // set when it is finished
    };

    template<typename Request>
    class SubmittedAnswer : public IAnswer
    {
    public:
        using Handler = std::function<void(ResultOf<Request>)>;

        explicit SubmittedAnswer(Handler a_oHandler) : m_oHandler(std::move(a_oHandler)) {}
        bool take(std::string_view a_sBody) override { return readAnswer(a_sBody, m_oAnswer); }
        void finish(Status a_oStatus) override
        {
            if constexpr (std::is_same_v<typename Request::Answer, Nothing>) {
                m_oHandler(std::move(a_oStatus));
            } else if (!a_oStatus.ok()) {
                m_oHandler({std::move(a_oStatus)});
            } else {
                m_oHandler({std::move(a_oStatus), std::move(m_oAnswer)});
            }
        }

    private:
        Handler m_oHandler;
        typename Request::Answer m_oAnswer{};
    };

    struct Pending
    {
        std::uint32_t m_iId;
        wire::EOperation m_eOperation;
        std::chrono::milliseconds m_oTimeout;
        IAnswer* m_pAnswer;
        std::unique_ptr<IAnswer> m_pOwner; // null when the answer lives elsewhere
    };

    template<typename Request>
    Status write(const Request& a_oRequest, IAnswer& a_oAnswer, std::unique_ptr<IAnswer> a_pOwner)
    {
        if (!isConnected()) {
            return m_oState;
        }
        wire::Writer oWriter(m_sOutput);
        oWriter.begin(wire::EKind::Request, Request::c_eOperation, ++m_iLastId);
        request::write(oWriter, a_oRequest);
        if (oWriter.end() > wire::c_iFrameLimit) {
            oWriter.discard();
            return tooLarge();
        }
        auto oTimeout = m_oOptions.m_oTimeout;
        if constexpr (requires { a_oRequest.extraTime(); }) {
            oTimeout += a_oRequest.extraTime();
        }
        m_lPending.push_back({m_iLastId, Request::c_eOperation, oTimeout, &a_oAnswer, std::move(a_pOwner)});
        return {};
    }
    static Status tooLarge();
    static Status notInHandler();

    Status await(BlockingAnswer& a_oAnswer);
    template<typename Done>
    void pump(Done a_oDone);
    void exchange(Deadline& a_oDeadline);
    bool waitForSocket(Clock::time_point a_oDeadline);
    void receive();
    void send();
    void dispatch();
    void handleFrame(const wire::Header& a_oHeader, std::string_view a_sBody);
    void handleAnswer(const wire::Header& a_oHeader, std::string_view a_sBody);
    void handleEvent(const wire::Header& a_oHeader, std::string_view a_sBody);
    Status answerStatus(const wire::Header& a_oHeader, const std::string& a_sReason);
    void deliverEvents();
    Status state() const { return isConnected() ? Status() : m_oState; }
    std::chrono::milliseconds answerTimeout() const;
    void fail(Status a_oStatus);
    void failMalformed(const char* a_pWhat);
    void finishPending();

    Options m_oOptions;
    zel::UniqueFd m_oSocket;
    Status m_oState; // why there is no connection
    unsigned m_iGeneration = 0;
    std::string m_sServerVersion;

    std::string m_sOutput;   // not yet sent
    std::size_t m_iSent = 0; // of m_sOutput
    InputBuffer m_oInput;
    std::deque<Pending> m_lPending; // in the order of request
    std::uint32_t m_iLastId = 0;
    unsigned long m_iProgress = 0; // counts what was received of answers
    bool m_bDispatching = false;   // handlers that must not block may be running

    std::vector<std::string> m_lSubscriptions;
    std::deque<std::string> m_lChanged;       // subscribed tables to tell of, each once
    std::optional<std::string> m_oLossReason; // set while the server answers 1 because of it
    std::optional<std::string> m_oUntoldLoss;
    bool m_bDelivering = false;
    ChangeHandler m_oChangeHandler;
    LossHandler m_oLossHandler;
};

} // namespace systema::client

#include "client/connection.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>

namespace systema::client {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

constexpr std::size_t c_iEmptyPart = 8; // body of a part without columns and cells: that is no progress

std::string systemText(int a_iError)
{
    return std::generic_category().message(a_iError);
}

/// What the server says of itself to a connection that is one too many, before it has read the hello.
bool isRefusal(const wire::Header& a_oHeader)
{
    return a_oHeader.m_eKind == wire::EKind::Reply && a_oHeader.m_eOperation == wire::EOperation::Hello &&
           a_oHeader.m_iId == 0 && a_oHeader.m_iCode == EResultCode::Busy;
}

void setSendTimeout(int a_iSocket, milliseconds a_oTimeout)
{
    const auto oSeconds = std::chrono::duration_cast<std::chrono::seconds>(a_oTimeout);
    timeval oTime{};
    oTime.tv_sec = oSeconds.count();
    oTime.tv_usec = std::chrono::microseconds(a_oTimeout - oSeconds).count();
    ::setsockopt(a_iSocket, SOL_SOCKET, SO_SNDTIMEO, &oTime, sizeof oTime);
}

} // namespace

Connection::Connection(Options a_oOptions)
    : m_oOptions(std::move(a_oOptions)),
      m_oState(Status::disconnected("not connected"))
{
    m_oOptions.m_oTimeout = std::clamp<milliseconds>(m_oOptions.m_oTimeout, 1ms, 24h);
}

Connection::~Connection()
{
    close();
}

Status Connection::tooLarge()
{
    return Status::refused(EResultCode::Protocol, "the request is larger than 1 MiB");
}

Status Connection::notInHandler()
{
    return Status::refused(EResultCode::Failure, "a handler of rows or answers cannot wait for an answer");
}

// ---------------------------------------------------------------------------------------------------------
// The connection itself

Status Connection::connect()
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    const std::string& sPath = m_oOptions.m_sSocket;
    if (sPath.size() >= sizeof oAddress.sun_path) {
        return Status::disconnected("the socket's path is too long: " + sPath);
    }
    sPath.copy(oAddress.sun_path, sPath.size());

    zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!oSocket) {
        return Status::disconnected("cannot make a socket: " + systemText(errno));
    }
    setSendTimeout(oSocket.get(), m_oOptions.m_oTimeout); // bounds the wait for being accepted
    const auto* pAddress = reinterpret_cast<const sockaddr*>(&oAddress);
    while (::connect(oSocket.get(), pAddress, sizeof oAddress) < 0) {
        if (const int iError = errno; iError != EINTR) {
            struct stat oFile
            {
            };
            if (iError == ECONNREFUSED && ::stat(sPath.c_str(), &oFile) == 0 && !S_ISSOCK(oFile.st_mode)) {
                return Status::disconnected(sPath + " is not a socket");
            }
            return Status::disconnected("cannot connect to " + sPath + ": " + systemText(iError));
        }
    }
    return attach(std::move(oSocket));
}

Status Connection::attach(zel::UniqueFd a_oSocket)
{
    if (m_bDispatching) {
        return notInHandler();
    }
    close();
    m_oSocket = std::move(a_oSocket);
    m_oLossReason.reset();
    ++m_iGeneration;

    auto oGreeting = call(request::Hello{m_oOptions.m_sProgram});
    Status oStatus = oGreeting;
    if (oStatus.ok() && oGreeting->m_iVersion != wire::c_iVersion) {
        oStatus = Status::disconnected("the daemon speaks another version of the protocol");
    }
    if (oStatus.ok() && m_oOptions.m_bReasons) {
        const Status oExplained = call(request::Explain{});
        oStatus = oExplained.isConnectionError() ? oExplained : Status(); // an older server has no reasons
    }
    if (oStatus.ok() && !m_lSubscriptions.empty()) {
        oStatus = subscribe(NameList(m_lSubscriptions), true);
    }
    if (oStatus.ok()) {
        m_sServerVersion = std::move(oGreeting->m_sServerVersion);
    } else {
        fail(oStatus);
    }
    return oStatus;
}

void Connection::close()
{
    fail(Status::disconnected("the connection was closed"));
}

void Connection::fail(Status a_oStatus)
{
    if (!isConnected()) {
        return;
    }
    m_oState = std::move(a_oStatus);
    m_oSocket.reset();
    m_oInput.clear();
    m_sOutput.clear();
    m_iSent = 0;
    if (!m_bDispatching) { // else an answer may be in use, and dispatch() does it
        finishPending();
    }
}

void Connection::failMalformed(const char* a_pWhat)
{
    fail(Status::disconnected(std::string("the daemon does not keep to the protocol: ") + a_pWhat));
}

void Connection::finishPending()
{
    m_bDispatching = true;
    for (auto& oPending : std::exchange(m_lPending, {})) {
        oPending.m_pAnswer->finish(m_oState);
    }
    m_bDispatching = false;
}

// ---------------------------------------------------------------------------------------------------------
// Waiting

Result<Rows> Connection::call(const request::SelectRows& a_oRequest)
{
    for (int iLeft = c_iBulkAttempts;; --iLeft) {
        auto oRows = call<request::SelectRows>(a_oRequest);
        if (oRows.code() != EResultCode::Busy || iLeft == 1) {
            return oRows;
        }
    }
}

Status Connection::readRows(const request::SelectRows& a_oRequest, const RowHandler& a_oHandler)
{
    RowParser oParser;
    return call(a_oRequest, [&](std::string_view a_sBody) { return oParser.parse(a_sBody, a_oHandler); });
}

Status Connection::await(BlockingAnswer& a_oAnswer)
{
    pump([&] { return a_oAnswer.m_oStatus.has_value(); });
    deliverEvents();
    return std::move(*a_oAnswer.m_oStatus);
}

Status Connection::wait(std::size_t a_iUnanswered)
{
    if (m_bDispatching) {
        return notInHandler();
    }
    pump([&] { return m_lPending.size() <= a_iUnanswered; });
    deliverEvents();
    return state();
}

Result<std::optional<std::string>> Connection::waitForChange(milliseconds a_oTimeout)
{
    if (m_bDispatching) {
        return notInHandler();
    }
    const auto oDeadline = Clock::now() + std::clamp<milliseconds>(a_oTimeout, 0ms, 24h);
    while (m_lChanged.empty() && isConnected()) {
        send();
        if (!waitForSocket(oDeadline)) {
            break;
        }
        receive();
    }
    deliverEvents();
    if (m_lChanged.empty()) {
        return state();
    }
    std::optional<std::string> oTable = std::move(m_lChanged.front());
    m_lChanged.pop_front();
    return {Status(), std::move(oTable)};
}

milliseconds Connection::answerTimeout() const
{
    return m_lPending.empty() ? m_oOptions.m_oTimeout : m_lPending.front().m_oTimeout;
}

/// Sends and receives until it is done or the connection has failed, which it does when nothing comes of the
/// answer waited for within its time.
template<typename Done>
void Connection::pump(Done a_oDone)
{
    Deadline oDeadline;
    while (isConnected() && !a_oDone()) {
        const auto iProgress = m_iProgress;
        exchange(oDeadline);
        if (m_iProgress != iProgress) {
            oDeadline.reset();
        } else if (!oDeadline) {
            oDeadline = Clock::now() + answerTimeout();
        }
    }
}

void Connection::exchange(Deadline& a_oDeadline)
{
    send();
    if (!a_oDeadline) {
        a_oDeadline = Clock::now() + answerTimeout();
    }
    // Not a blocking recv: that is woken in vain when the daemon takes the request from its end of the
    // socket, which costs more than this call does.
    if (waitForSocket(*a_oDeadline)) {
        receive();
    } else {
        fail(Status::disconnected("no answer within " + timeText(answerTimeout())));
    }
}

/// Waits until the socket has something, or takes something that waits to be sent. False when time is over.
bool Connection::waitForSocket(Clock::time_point a_oDeadline)
{
    for (;;) {
        const auto oLeft =
            std::max<milliseconds>(std::chrono::ceil<milliseconds>(a_oDeadline - Clock::now()), 0ms);
        pollfd oPoll{descriptor(), static_cast<short>(m_sOutput.empty() ? POLLIN : POLLIN | POLLOUT), 0};
        const int iReady = ::poll(&oPoll, 1, static_cast<int>(oLeft.count()));
        if (iReady > 0) {
            return true;
        }
        if (iReady == 0) {
            return false;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Bytes in and out

Status Connection::processReadable()
{
    if (m_bDispatching) {
        return notInHandler();
    }
    if (isConnected()) {
        receive();
        deliverEvents();
    }
    return state();
}

Status Connection::processWritable()
{
    if (isConnected()) {
        send();
    }
    return state();
}

void Connection::send()
{
    while (m_iSent < m_sOutput.size()) {
        const ssize_t iSent = ::send(descriptor(), m_sOutput.data() + m_iSent, m_sOutput.size() - m_iSent,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (iSent >= 0) {
            m_iSent += static_cast<std::size_t>(iSent);
        } else if (errno == EAGAIN) {
            break;
        } else if (errno != EINTR) {
            m_iSent = m_sOutput.size(); // nobody reads; what was sent before the end is still to be received
        }
    }
    if (m_iSent > m_sOutput.size() / 2) {
        m_sOutput.erase(0, m_iSent);
        m_iSent = 0;
    }
}

void Connection::receive()
{
    const auto lRoom = m_oInput.room();
    const ssize_t iReceived = ::recv(descriptor(), lRoom.data(), lRoom.size(), MSG_DONTWAIT);
    if (iReceived > 0) {
        m_oInput.add(static_cast<std::size_t>(iReceived));
        dispatch();
    } else if (iReceived == 0) {
        fail(Status::disconnected("the daemon closed the connection"));
    } else if (errno != EAGAIN && errno != EINTR) {
        fail(Status::disconnected("the connection to the daemon broke: " + systemText(errno)));
    }
}

// ---------------------------------------------------------------------------------------------------------
// Frames

void Connection::dispatch()
{
    m_bDispatching = true;
    wire::Header oHeader{};
    std::string_view sBody;
    auto eNext = InputBuffer::ENext::Frame;
    while (isConnected() && (eNext = m_oInput.next(oHeader, sBody)) == InputBuffer::ENext::Frame) {
        handleFrame(oHeader, sBody);
    }
    if (eNext == InputBuffer::ENext::Impossible) {
        failMalformed("a frame of impossible length");
    }
    m_bDispatching = false;
    if (!isConnected()) {
        finishPending();
    }
}

void Connection::handleFrame(const wire::Header& a_oHeader, std::string_view a_sBody)
{
    switch (a_oHeader.m_eKind) {
    case wire::EKind::Reply:
    case wire::EKind::Part:
        return handleAnswer(a_oHeader, a_sBody);
    case wire::EKind::Event:
        return handleEvent(a_oHeader, a_sBody);
    case wire::EKind::Request:
        break;
    }
    failMalformed("a frame of an unknown kind");
}

void Connection::handleAnswer(const wire::Header& a_oHeader, std::string_view a_sBody)
{
    if (isRefusal(a_oHeader) && !m_lPending.empty() &&
        m_lPending.front().m_eOperation == wire::EOperation::Hello) {
        return fail(Status::refused(EResultCode::Busy, "too many connections"));
    }
    if (m_lPending.empty() || m_lPending.front().m_iId != a_oHeader.m_iId ||
        m_lPending.front().m_eOperation != a_oHeader.m_eOperation) {
        return failMalformed("an answer to what was not asked");
    }
    const bool bSuccess = a_oHeader.m_iCode == EResultCode::Success;
    const bool bPart = a_oHeader.m_eKind == wire::EKind::Part;
    if (bPart && (a_oHeader.m_eOperation != wire::EOperation::SelectRows || !bSuccess)) {
        return failMalformed("a part of what has none");
    }
    wire::Reader oReason(a_sBody);
    const std::string sReason(bSuccess || a_sBody.empty() ? std::string_view() : oReason.text());
    if (bSuccess ? !m_lPending.front().m_pAnswer->take(a_sBody) : !oReason.complete()) {
        return failMalformed("an answer with wrong content");
    }
    if (!isConnected()) {
        return; // closed by the handler of the rows
    }
    if (bPart) {
        m_iProgress += a_sBody.size() > c_iEmptyPart;
        return;
    }
    ++m_iProgress;
    const Pending oPending = std::move(m_lPending.front());
    m_lPending.pop_front();
    oPending.m_pAnswer->finish(answerStatus(a_oHeader, sReason));
}

Status Connection::answerStatus(const wire::Header& a_oHeader, const std::string& a_sReason)
{
    using wire::EOperation;
    const EResultCode eCode = a_oHeader.m_iCode;
    std::string sText;
    if (eCode == EResultCode::Failure && m_oLossReason) {
        sText = "the transaction was rolled back: " + *m_oLossReason;
    } else if (!a_sReason.empty()) {
        sText = std::string(eCode.strerror()) + ": " + a_sReason;
    }
    Status oStatus = Status::refused(eCode, std::move(sText));
    if (a_oHeader.m_eOperation == EOperation::Begin || a_oHeader.m_eOperation == EOperation::Commit ||
        a_oHeader.m_eOperation == EOperation::Rollback) {
        m_oLossReason.reset();
    }
    return oStatus;
}

// ---------------------------------------------------------------------------------------------------------
// Events

void Connection::handleEvent(const wire::Header& a_oHeader, std::string_view a_sBody)
{
    wire::Reader oReader(a_sBody);
    std::string sText(oReader.text());
    if (!oReader.complete()) {
        return failMalformed("an event with wrong content");
    }
    if (a_oHeader.m_eOperation == wire::EOperation::TransactionLost) {
        m_oUntoldLoss = m_oLossReason = std::move(sText);
    } else if (a_oHeader.m_eOperation == wire::EOperation::TableChanged &&
               std::ranges::find(m_lSubscriptions, sText) != m_lSubscriptions.end() &&
               std::ranges::find(m_lChanged, sText) == m_lChanged.end()) {
        m_lChanged.push_back(std::move(sText));
    }
}

void Connection::deliverEvents()
{
    if (std::exchange(m_bDelivering, true)) {
        return; // the delivery under way goes on with them
    }
    for (;;) {
        if (m_oUntoldLoss && m_oLossHandler) {
            m_oLossHandler(*std::exchange(m_oUntoldLoss, {}));
        } else if (!m_lChanged.empty() && m_oChangeHandler) {
            const std::string sTable = std::move(m_lChanged.front());
            m_lChanged.pop_front();
            m_oChangeHandler(sTable);
        } else {
            break;
        }
    }
    m_bDelivering = false;
}

Status Connection::subscribe(const NameList& a_lTables, bool a_bTellAtOnce)
{
    // Remembered first: the first change may be told in one breath with the answer.
    const auto lBefore = m_lSubscriptions;
    for (const auto& sTable : a_lTables) {
        if (std::ranges::find(m_lSubscriptions, sTable) == m_lSubscriptions.end()) {
            m_lSubscriptions.push_back(sTable);
        }
    }
    Status oStatus =
        call(request::Subscribe{a_lTables, a_bTellAtOnce ? wire::c_iTellAtOnce : std::uint8_t{0}});
    if (!oStatus.ok() && !oStatus.isConnectionError()) {
        m_lSubscriptions = lBefore;
    }
    return oStatus;
}

Status Connection::unsubscribe(const NameList& a_lTables)
{
    Status oStatus = isConnected() ? call(request::Unsubscribe{a_lTables}) : Status();
    if (oStatus.ok()) {
        const auto bGone = [&](const std::string& a_sTable) {
            return a_lTables.empty() || a_lTables.hasName(a_sTable);
        };
        std::erase_if(m_lSubscriptions, bGone);
        std::erase_if(m_lChanged, bGone);
    }
    return oStatus;
}

} // namespace systema::client

#include "configmanager/clientsession.h"

#include "configmanager/configservicemanager.h"
#include "zel/exception.h"
#include "zel/log.h"
#include "zel/logclient.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace zel::cfg {

using systema::NameList;
using systema::wire::EKind;
using systema::wire::EOperation;

namespace {

constexpr std::chrono::seconds c_oUnreadTime{1}; // in which the loop reads what has come

/// Writes the cells of a bulk read into a frame.
class RowWriter : public systema::IRowSink
{
public:
    explicit RowWriter(systema::wire::Writer& a_oWriter) : m_oWriter(a_oWriter) {}

    void addNull() override { m_oWriter.null(); }
    void addInteger(int a_iValue) override { m_oWriter.integer(a_iValue); }
    void addUnsigned(unsigned int a_iValue) override { m_oWriter.unsignedInteger(a_iValue); }
    void addText(std::string_view a_sText) override { m_oWriter.textValue(a_sText); }
    bool endRow() override
    {
        ++m_iRows;
        // Rows without cells take no bytes, so their number bounds a part as well.
        return std::max<std::size_t>(m_oWriter.size(), m_iRows) < systema::wire::c_iPartSize;
    }

    std::uint32_t getRows() const { return m_iRows; }

private:
    systema::wire::Writer& m_oWriter;
    std::uint32_t m_iRows = 0;
};

} // namespace

ClientSession::ClientSession(ConfigServiceManager& a_oManager, zel::UniqueFd a_oSocket, uid_t a_iUser)
    : TurnTaker(a_oManager.getTurns(), a_iUser),
      m_oManager(a_oManager),
      m_oSocket(std::move(a_oSocket)),
      m_oHandler(a_oManager, this, *this, m_lChanges)
{
    awaitHello(c_oHelloTimeout, true);
}

/// Closes the connection when the client has not said hello by then. A hello that lies unread, since the
/// daemon was busy with a dump, say, may have come in time: a_bAgain gives it a turn first.
void ClientSession::awaitHello(std::chrono::milliseconds a_oTime, bool a_bAgain)
{
    m_oHelloEnd = m_oManager.getEventDispatcher().startTimer(a_oTime, [this, a_bAgain] {
        pollfd oInput{m_oSocket.get(), POLLIN, 0};
        if (a_bAgain && ::poll(&oInput, 1, 0) == 1) {
            return awaitHello(c_oUnreadTime, false);
        }
        const LogClient oMark(getUser());
        ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(),
                                "A connection of user %u is closed: it did not say hello",
                                static_cast<unsigned>(getUser()));
        close();
    });
}

void ClientSession::start()
{
    run([] {});
}

ClientSession::~ClientSession()
{
    auto& oEvents = m_oManager.getEventDispatcher();
    for (const auto& oTimer : {m_oHelloEnd, m_oPause, m_oWaitEnd}) {
        if (oTimer) {
            oEvents.cancelTimer(*oTimer);
        }
    }
    oEvents.unregisterHandler(m_oSocket.get());
    m_oManager.keep(getUser(), m_iKept, 0);
    m_oManager.leaveQueue(*this);
    m_pRows.reset(); // before a rollback, which it would hold up
    m_oManager.getDispatcher().unsubscribeAll(*this);
    m_oManager.getDispatcher().disconnect(this);
}

void ClientSession::close()
{
    m_oManager.closeSession(*this); // the last thing that happens to this object
}

// ---------------------------------------------------------------------------------------------------------
// Bytes in and out

template<typename Function>
void ClientSession::run(Function a_oFunction)
{
    const LogClient oMark(getUser(), m_oSocket.get());
    // Output is put together in a buffer that all sessions share. Only what the socket does not take at once
    // stays with the session, so that an idle connection costs next to nothing.
    m_iRequestsLeft = m_oManager.getFairness();
    m_oTurnEnd = m_oManager.getEventDispatcher().now() + c_oTurnTime;
    const bool bBorrowed = m_sOutput.empty();
    if (bBorrowed) {
        m_sOutput.swap(m_oManager.getWriteBuffer());
    }
    std::string sUnsent;
    try {
        a_oFunction();
        advance();
        if (bBorrowed) {
            sUnsent.assign(m_sOutput, m_iSent);
        }
    } catch (...) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "The connection of %s is closed: %s",
                              m_oHandler.getProgram().c_str(), zel::error::describeException());
        m_bGone = true;
    }
    if (isTurnOver()) {
        m_oManager.getEventDispatcher().endPass(); // a pass of slow requests would put all else off
    }
    if (bBorrowed) {
        m_iSent = 0;
        m_sOutput.clear();
        m_sOutput.swap(m_oManager.getWriteBuffer());
        m_sOutput.swap(sUnsent);
    }
    const std::size_t iKept = m_sInput.size() + m_sOutput.size() + (m_pRows ? m_pRows->getKeptSize() : 0);
    const bool bRoom = m_oManager.keep(getUser(), std::exchange(m_iKept, iKept), iKept);
    if (!bRoom) {
        ZEL_Sysloglevel_warning(
            m_oManager.getModule(), zel::here(),
            "The connection of %s is closed: its user's or all connections together keep too much",
            m_oHandler.getProgram().c_str());
    }
    if (!bRoom || m_bGone || (m_bClosing && m_sOutput.empty())) {
        close();
    } else if (m_oPause) {
        // Input or a hang-up that waits until the pause is over would keep the event loop busy.
        m_oManager.getEventDispatcher().unregisterHandler(m_oSocket.get());
    } else if (!m_bYields &&
               !m_oManager.getEventDispatcher().registerHandler(m_oSocket.get(), interest(), this)) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "The connection of %s is closed: %s",
                              m_oHandler.getProgram().c_str(), std::strerror(errno));
        close();
    }
}

unsigned ClientSession::interest() const
{
    const bool bReads = !isBlocked() && !m_bClosing;
    const unsigned iFlags =
        (bReads ? systema::net::c_iReadable : 0U) | (m_sOutput.empty() ? 0U : systema::net::c_iWritable);
    return systema::net::c_iForTurn | (iFlags != 0 ? iFlags : systema::net::c_iHangUpOnly);
}

void ClientSession::handleEvent(int)
{
    if (m_bYields) {
        return; // its turn comes by itself
    }
    if (interest() & systema::net::c_iHangUpOnly) {
        return close();
    }
    awaitTurn();
}

void ClientSession::onTurn()
{
    if (m_oPause) { // a turn asked for before the pause: one more pause would outlive the session
        return;
    }
    const bool bGoesOn = std::exchange(m_bYields, false);
    run([this, bGoesOn] {
        if (!bGoesOn && (interest() & systema::net::c_iReadable)) {
            receive();
        }
    });
}

void ClientSession::receive()
{
    auto& aBuffer = m_oManager.getReadBuffer();
    const ssize_t iRead = ::recv(m_oSocket.get(), aBuffer.data(), aBuffer.size(), 0);
    if (iRead > 0) {
        serveInput({aBuffer.data(), static_cast<std::size_t>(iRead)});
    } else if (iRead == 0) {
        m_bClosing = true; // what was answered is still sent
    } else if (errno != EAGAIN && errno != EINTR) {
        m_bGone = true;
    }
}

void ClientSession::advance()
{
    for (unsigned iParts = 0;; ++iParts) {
        flush();
        m_bDraining = unsent() > c_iOutputLimit || (m_bDraining && unsent() > 0);
        if (m_bGone || m_bDraining || m_bYields) {
            return;
        }
        if (iParts == c_iPartsPerTurn || (m_pRows && isTurnOver())) {
            return yield();
        }
        if (m_pRows) {
            sendRowsPart();
        } else if (!m_lChanges.empty() && unsent() < c_iEventOutput) {
            sendChangeEvents();
        } else if (isBlocked() || m_bClosing || !serveInput({})) {
            return;
        }
    }
}

void ClientSession::yield()
{
    awaitTurn();
    m_bYields = true;
}

/// Before what is pending is asked for again.
void ClientSession::yieldToWait()
{
    m_oPause = m_oManager.getEventDispatcher().startTimer(c_oPendingWait, [this] {
        m_oPause.reset();
        awaitTurn();
    });
    m_bYields = true;
}

bool ClientSession::isTurnOver() const
{
    return m_oManager.getEventDispatcher().now() >= m_oTurnEnd;
}

void ClientSession::flush()
{
    while (m_iSent < m_sOutput.size()) {
        const ssize_t iSent =
            ::send(m_oSocket.get(), m_sOutput.data() + m_iSent, m_sOutput.size() - m_iSent, MSG_NOSIGNAL);
        if (iSent < 0 && errno != EINTR) {
            m_bGone = m_bGone || errno != EAGAIN;
            return;
        }
        m_iSent += iSent > 0 ? static_cast<std::size_t>(iSent) : 0;
    }
    m_iSent = 0;
    if (m_sOutput.capacity() > c_iKeptCapacity) {
        std::string().swap(m_sOutput);
    } else {
        m_sOutput.clear();
    }
}

bool ClientSession::serveInput(std::string_view a_sInput)
{
    if (m_sInput.empty()) {
        const std::size_t iServed = serveFrames(a_sInput);
        m_sInput.assign(a_sInput.substr(iServed));
        return iServed > 0;
    }
    m_sInput.append(a_sInput);
    const std::size_t iServed = serveFrames(m_sInput);
    if (iServed == m_sInput.size()) {
        std::string().swap(m_sInput);
    } else {
        m_sInput.erase(0, iServed);
    }
    return iServed > 0;
}

std::size_t ClientSession::serveFrames(std::string_view a_sInput)
{
    std::size_t iServed = 0;
    while (!isBlocked() && !m_bClosing && unsent() <= c_iOutputLimit) {
        const std::string_view sRest = a_sInput.substr(iServed);
        const auto oHeader = systema::wire::readHeader(sRest);
        if (!oHeader) {
            break;
        }
        m_oRequest = *oHeader;
        if (!oHeader->isPossible() || oHeader->m_eKind != EKind::Request) {
            refuse("a malformed frame");
            break;
        }
        if (sRest.size() < oHeader->frameSize()) {
            break;
        }
        if (m_iRequestsLeft == 0 || isTurnOver()) {
            yield();
            break;
        }
        if (oHeader->m_eOperation == EOperation::SelectRows && !std::exchange(m_bRowsAreNext, false) &&
            doOthersWait()) {
            m_bRowsAreNext = true; // shorter requests go first
            awaitLongTurn();
            m_bYields = true;
            break;
        }
        --m_iRequestsLeft;
        if (!serve(sRest.substr(systema::wire::c_iHeaderSize, oHeader->bodySize()))) {
            yieldToWait(); // the frame stays in the input
            break;
        }
        iServed += oHeader->frameSize();
    }
    return iServed;
}

// ---------------------------------------------------------------------------------------------------------
// Requests and replies

bool ClientSession::serve(std::string_view a_sBody)
{
    m_sOutput.reserve(m_sOutput.size() + c_iReplyRoom);
    Writer oReply(m_sOutput);
    oReply.begin(EKind::Reply, m_oRequest.m_eOperation, m_oRequest.m_iId);
    Reader oRequest(a_sBody);
    Answer oAnswer = m_oHandler.handle(m_oRequest.m_eOperation, oRequest, oReply);
    if (oAnswer.m_eResult == EResultCode::Pending) {
        oReply.discard();
        return false;
    }
    m_oManager.countRequest();
    if (m_oHelloEnd && m_oHandler.isGreeted()) {
        m_oManager.getEventDispatcher().cancelTimer(*std::exchange(m_oHelloEnd, {}));
    }
    m_pRows = std::move(oAnswer.m_pRows);
    if (oAnswer.m_oWait) {
        waitToBegin(*oAnswer.m_oWait);
    }
    EResultCode eResult = oAnswer.m_eResult;
    if (eResult == EResultCode::Success && !isBlocked()) {
        if (!isTooLarge(oReply)) {
            return true;
        }
        eResult = EResultCode::Failure;
    }
    oReply.discard();
    if (oAnswer.m_pMalformed != nullptr) {
        refuse(oAnswer.m_pMalformed);
    } else if (eResult != EResultCode::Success) {
        reply(eResult, oAnswer.m_sReason);
    }
    return true;
}

void ClientSession::reply(EResultCode a_eResult, std::string_view a_sReason)
{
    Writer oReply(m_sOutput);
    oReply.begin(EKind::Reply, m_oRequest.m_eOperation, m_oRequest.m_iId,
                 static_cast<std::uint16_t>(a_eResult));
    if (!a_sReason.empty()) {
        oReply.text(a_sReason);
    }
    oReply.end();
}

/// Ends a frame. True when it has more bytes than it may, which is logged.
bool ClientSession::isTooLarge(Writer& a_oFrame) const
{
    const std::size_t iSize = a_oFrame.end();
    const bool bTooLarge = iSize > systema::wire::c_iFrameLimit;
    if (bTooLarge) {
        ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(),
                                "Request %u of %s fails: a row is too large for a frame of %zu bytes",
                                static_cast<unsigned>(m_oRequest.m_eOperation),
                                m_oHandler.getProgram().c_str(), systema::wire::c_iFrameLimit);
    }
    return bTooLarge;
}

void ClientSession::refuse(const char* a_pWhat)
{
    const LogClient oMark(getUser());                     // who connects again gets no further line
    const std::string sProgram = m_oHandler.getProgram(); // empty before a hello
    ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(), "A connection of user %u%s is closed: %s",
                            static_cast<unsigned>(getUser()),
                            sProgram.empty() ? "" : (" (" + sProgram + ")").c_str(), a_pWhat);
    reply(EResultCode::Protocol);
    m_bClosing = true;
}

void ClientSession::sendRowsPart()
{
    Writer oPart(m_sOutput);
    oPart.begin(EKind::Part, EOperation::SelectRows, m_oRequest.m_iId);
    oPart.names(std::exchange(m_bColumnsSent, true) ? NameList() : m_pRows->getColumns());
    const std::size_t iRowsAt = oPart.size();
    oPart.u32(0);
    RowWriter oRows(oPart);
    EResultCode eResult = EResultCode::Failure;
    try {
        eResult = m_pRows->fetch(oRows);
    } catch (...) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "A bulk read of %s failed: %s",
                              m_oHandler.getProgram().c_str(), zel::error::describeException());
    }
    if (eResult == EResultCode::Pending) {
        yieldToWait();
        eResult = EResultCode::Success;
    }
    oPart.patchU32(iRowsAt, oRows.getRows());
    if (isTooLarge(oPart)) {
        eResult = EResultCode::Failure;
    }
    if (eResult == EResultCode::Success) {
        return; // more to come
    }
    m_pRows.reset();
    m_bColumnsSent = false;
    if (eResult == EResultCode::NoRow) {
        oPart.setKind(EKind::Reply); // the last part is the reply
    } else {
        oPart.discard();
        reply(eResult);
    }
}

void ClientSession::sendChangeEvents()
{
    for (const auto& sTable : m_lChanges) {
        Writer oEvent(m_sOutput);
        oEvent.begin(EKind::Event, EOperation::TableChanged, 0);
        oEvent.text(sTable);
        oEvent.end();
    }
    m_lChanges.clear();
}

void ClientSession::notify(const NameList& a_lChangedTables)
{
    m_lChanges.insert(a_lChangedTables.begin(), a_lChangedTables.end());
    if (!m_pRows && !m_bDraining && !m_bYields) { // or they are told in the session's own turn
        run([] {});
    }
}

void ClientSession::sendTransactionLost(std::string_view a_sReason)
{
    run([&] {
        Writer oEvent(m_sOutput);
        oEvent.begin(EKind::Event, EOperation::TransactionLost, 0);
        oEvent.text(a_sReason);
        oEvent.end();
    });
}

void ClientSession::waitToBegin(std::chrono::milliseconds a_oWait)
{
    m_oWaitEnd =
        m_oManager.getEventDispatcher().startTimer(a_oWait, [this] { finishBegin(EResultCode::Busy); });
    m_oManager.queueBegin(*this);
}

void ClientSession::finishBegin(EResultCode a_eResult)
{
    m_oManager.getEventDispatcher().cancelTimer(*std::exchange(m_oWaitEnd, {}));
    m_oManager.leaveQueue(*this);
    run([&] { reply(a_eResult); });
}

} // namespace zel::cfg

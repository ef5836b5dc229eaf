#include "configmanager/clientsession.h"

#include "configmanager/configservicemanager.h"
#include "zel/exception.h"
#include "zel/log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <utility>

namespace zel::cfg {

using systema::NameList;
using systema::ValueList;
using systema::wire::EKind;
using systema::wire::EOperation;

namespace {

constexpr std::size_t c_iProgramNameLimit = 64;

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
        return m_oWriter.size() < systema::wire::c_iPartSize;
    }

    std::uint32_t getRows() const { return m_iRows; }

private:
    systema::wire::Writer& m_oWriter;
    std::uint32_t m_iRows = 0;
};

} // namespace

ClientSession::ClientSession(ConfigServiceManager& a_oManager, zel::UniqueFd a_oSocket, uid_t a_iUser)
    : m_oManager(a_oManager),
      m_oSocket(std::move(a_oSocket)),
      m_iUser(a_iUser)
{
    m_oHelloEnd = m_oManager.getEventDispatcher().startTimer(c_oHelloTimeout, [this] {
        ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(),
                                "A connection of user %u is closed: it did not say hello",
                                static_cast<unsigned>(m_iUser));
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
    for (const auto& oTimer : {m_oHelloEnd, m_oTurn, m_oWaitEnd}) {
        if (oTimer) {
            oEvents.cancelTimer(*oTimer);
        }
    }
    oEvents.unregisterHandler(m_oSocket.get());
    m_oManager.keep(m_iKept, 0);
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
    // Output is put together in a buffer that all sessions share. Only what the socket does not take at once
    // stays with the session, so that an idle connection costs next to nothing.
    m_iRequestsLeft = m_oManager.getFairness();
    const bool bBorrowed = m_sOutput.empty();
    if (bBorrowed) {
        m_sOutput.swap(m_oManager.getWriteBuffer());
    }
    try {
        a_oFunction();
        advance();
    } catch (...) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "The connection of %s is closed: %s",
                              m_sProgram.c_str(), zel::error::describeException().c_str());
        m_bGone = true;
    }
    if (bBorrowed) {
        std::string sUnsent(m_sOutput, m_iSent);
        m_iSent = 0;
        m_sOutput.clear();
        m_sOutput.swap(m_oManager.getWriteBuffer());
        m_sOutput.swap(sUnsent);
    }
    const std::size_t iKept = m_sInput.size() + m_sOutput.size();
    const bool bRoom = m_oManager.keep(std::exchange(m_iKept, iKept), iKept);
    if (!bRoom) {
        ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(),
                                "The connection of %s is closed: all connections together keep too much",
                                m_sProgram.c_str());
    }
    if (!bRoom || m_bGone || (m_bClosing && m_sOutput.empty())) {
        close();
    } else if (!m_oTurn &&
               !m_oManager.getEventDispatcher().registerHandler(m_oSocket.get(), interest(), this)) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "The connection of %s is closed: %s",
                              m_sProgram.c_str(), std::strerror(errno));
        close();
    }
}

unsigned ClientSession::interest() const
{
    const bool bReads = !isHeldBack() && !m_bClosing;
    const unsigned iFlags =
        (bReads ? systema::net::c_iReadable : 0U) | (m_sOutput.empty() ? 0U : systema::net::c_iWritable);
    return iFlags != 0 ? iFlags : systema::net::c_iHangUpOnly;
}

void ClientSession::handleEvent(int)
{
    if (m_oTurn) {
        return; // it comes by itself
    }
    const unsigned iInterest = interest();
    if (iInterest == systema::net::c_iHangUpOnly) {
        return close();
    }
    run([this, iInterest] {
        if (iInterest & systema::net::c_iReadable) {
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
        if (m_bGone || m_bDraining || m_oTurn) {
            return;
        }
        if (iParts == c_iPartsPerTurn) {
            return takeTurn();
        }
        if (m_pRows) {
            sendRowsPart();
        } else if (!m_lChanges.empty() && unsent() < c_iEventOutput) {
            tellChanges();
        } else if (isHeldBack() || m_bClosing || !serveInput({})) {
            return;
        }
    }
}

void ClientSession::takeTurn()
{
    m_oTurn = m_oManager.getEventDispatcher().startTimer(std::chrono::milliseconds(0), [this] {
        m_oTurn.reset();
        run([] {});
    });
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
    while (!isHeldBack() && !m_bClosing && unsent() <= c_iOutputLimit) {
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
        if (m_iRequestsLeft == 0) {
            takeTurn();
            break;
        }
        --m_iRequestsLeft;
        iServed += oHeader->frameSize();
        serve(sRest.substr(systema::wire::c_iHeaderSize, oHeader->bodySize()));
    }
    return iServed;
}

// ---------------------------------------------------------------------------------------------------------
// Requests and replies

void ClientSession::serve(std::string_view a_sBody)
{
    m_oManager.countRequest();
    if (m_oHelloEnd && m_oRequest.m_eOperation != EOperation::Hello) {
        return refuse("a request before hello");
    }
    Writer oReply(m_sOutput);
    oReply.begin(EKind::Reply, m_oRequest.m_eOperation, m_oRequest.m_iId);
    Reader oRequest(a_sBody);
    const EResultCode eResult = callHandler(oRequest, oReply);
    if (eResult == EResultCode::Success && oReply.end() <= systema::wire::c_iFrameLimit && !isHeldBack()) {
        return;
    }
    oReply.discard();
    if (m_pMalformed != nullptr) {
        refuse(m_pMalformed);
    } else if (eResult != EResultCode::Success) {
        reply(eResult);
    } else if (!isHeldBack()) {
        reply(EResultCode::Failure); // too large for a frame
    }
}

ClientSession::EResultCode ClientSession::callHandler(Reader& a_oRequest, Writer& a_oReply)
{
    const Handler pHandler = findHandler(m_oRequest.m_eOperation);
    if (pHandler == nullptr) {
        return EResultCode::Protocol;
    }
    try {
        return (this->*pHandler)(a_oRequest, a_oReply);
    } catch (...) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "Request %u of %s failed: %s",
                              static_cast<unsigned>(m_oRequest.m_eOperation), m_sProgram.c_str(),
                              zel::error::describeException().c_str());
        return EResultCode::Failure;
    }
}

void ClientSession::reply(EResultCode a_eResult)
{
    Writer oReply(m_sOutput);
    oReply.begin(EKind::Reply, m_oRequest.m_eOperation, m_oRequest.m_iId,
                 static_cast<std::uint16_t>(a_eResult));
    oReply.end();
}

void ClientSession::refuse(const char* a_pWhat)
{
    ZEL_Sysloglevel_warning(m_oManager.getModule(), zel::here(), "A connection of user %u (%s) is closed: %s",
                            static_cast<unsigned>(m_iUser), m_sProgram.c_str(), a_pWhat);
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
                              m_sProgram.c_str(), zel::error::describeException().c_str());
    }
    oPart.patchU32(iRowsAt, oRows.getRows());
    if (oPart.end() > systema::wire::c_iFrameLimit) {
        eResult = EResultCode::Failure;
    }
    if (eResult == EResultCode::Success) {
        return; // more to come
    }
    m_pRows.reset();
    if (eResult == EResultCode::NoRow) {
        oPart.setKind(EKind::Reply); // the last part is the reply
    } else {
        oPart.discard();
        reply(eResult);
    }
}

void ClientSession::tellChanges()
{
    for (const auto& sTable : m_lChanges) {
        Writer oEvent(m_sOutput);
        oEvent.begin(EKind::Event, EOperation::TableChanged, 0);
        oEvent.text(sTable);
        oEvent.end();
    }
    m_lChanges.clear();
}

void ClientSession::notify(const NameList& a_changedTables)
{
    m_lChanges.insert(a_changedTables.begin(), a_changedTables.end());
    run([] {});
}

void ClientSession::tellTransactionLost(std::string_view a_sReason)
{
    run([&] {
        Writer oEvent(m_sOutput);
        oEvent.begin(EKind::Event, EOperation::TransactionLost, 0);
        oEvent.text(a_sReason);
        oEvent.end();
    });
}

void ClientSession::finishBegin(EResultCode a_eResult)
{
    m_oManager.getEventDispatcher().cancelTimer(*std::exchange(m_oWaitEnd, {}));
    m_oManager.leaveQueue(*this);
    run([&] { reply(a_eResult); });
}

// ---------------------------------------------------------------------------------------------------------
// The operations

ClientSession::Handler ClientSession::findHandler(EOperation a_eOperation)
{
    struct Row
    {
        EOperation m_eOperation;
        Handler m_pHandler;
    };
    static constexpr Row c_aHandlers[] = {
        {EOperation::Hello, &ClientSession::hello},
        {EOperation::Ping, &ClientSession::ping},
        {EOperation::Info, &ClientSession::info},
        {EOperation::GetTables, &ClientSession::getTables},
        {EOperation::GetSchema, &ClientSession::getSchema},
        {EOperation::GetSize, &ClientSession::getSize},
        {EOperation::SelectRow, &ClientSession::selectRow},
        {EOperation::SelectKey, &ClientSession::selectKey},
        {EOperation::SelectRows, &ClientSession::selectRows},
        {EOperation::InsertRow, &ClientSession::insertRow},
        {EOperation::InsertKey, &ClientSession::insertKey},
        {EOperation::UpdateRow, &ClientSession::updateRow},
        {EOperation::UpdateKey, &ClientSession::updateKey},
        {EOperation::DeleteRow, &ClientSession::deleteRow},
        {EOperation::DeleteKey, &ClientSession::deleteKey},
        {EOperation::DeleteAll, &ClientSession::deleteAll},
        {EOperation::Begin, &ClientSession::begin},
        {EOperation::Commit, &ClientSession::commit},
        {EOperation::Rollback, &ClientSession::rollback},
        {EOperation::Subscribe, &ClientSession::subscribe},
        {EOperation::Unsubscribe, &ClientSession::unsubscribe},
    };
    const auto* pRow = std::ranges::find(c_aHandlers, a_eOperation, &Row::m_eOperation);
    return pRow != std::end(c_aHandlers) ? pRow->m_pHandler : nullptr;
}

ClientSession::EResultCode ClientSession::malformed(const char* a_pWhat)
{
    m_pMalformed = a_pWhat;
    return EResultCode::Protocol;
}

ClientSession::EResultCode ClientSession::complete(const Reader& a_oRequest)
{
    if (!a_oRequest.complete()) {
        return malformed("a malformed request");
    }
    if (m_pMalformed != nullptr) {
        return EResultCode::Protocol;
    }
    return a_oRequest.sawNul() ? EResultCode::Mismatch : EResultCode::Success;
}

NameList ClientSession::readNames(Reader& a_oRequest)
{
    NameList lNames = a_oRequest.names();
    if (lNames.size() > c_iNamesLimit) {
        malformed("too many names in a request");
    }
    return lNames;
}

void ClientSession::readTable(Reader& a_oRequest)
{
    m_sTable.assign(a_oRequest.text());
}

void ClientSession::readKey(Reader& a_oRequest)
{
    readTable(a_oRequest);
    m_sKeyColumn.assign(a_oRequest.text());
    m_sKeyValue.assign(a_oRequest.text());
}

ClientSession::EResultCode ClientSession::hello(Reader& a_oRequest, Writer& a_oReply)
{
    const std::uint32_t iMagic = a_oRequest.u32();
    const std::uint16_t iVersion = a_oRequest.u16();
    m_sProgram.assign(a_oRequest.text().substr(0, c_iProgramNameLimit));
    if (const EResultCode eResult = complete(a_oRequest); eResult != EResultCode::Success) {
        return eResult;
    }
    if (iMagic != systema::wire::c_iMagic || !m_oHelloEnd) {
        return malformed("a hello that is none");
    }
    if (iVersion != systema::wire::c_iVersion) {
        return malformed("another version of the protocol"); // no later request could be understood
    }
    m_oManager.getEventDispatcher().cancelTimer(*std::exchange(m_oHelloEnd, {}));
    a_oReply.u16(systema::wire::c_iVersion);
    a_oReply.text(LEDGERD_VERSION);
    return EResultCode::Success;
}

ClientSession::EResultCode ClientSession::ping(Reader& a_oRequest, Writer&)
{
    return complete(a_oRequest);
}

ClientSession::EResultCode ClientSession::info(Reader& a_oRequest, Writer& a_oReply)
{
    const EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        a_oReply.values(m_oManager.getInfo());
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::getTables(Reader& a_oRequest, Writer& a_oReply)
{
    using systema::wire::ETableFilter;
    const auto eFilter = static_cast<ETableFilter>(a_oRequest.u8());
    if (eFilter > ETableFilter::Persistent) {
        return malformed("an unknown filter of tables");
    }
    if (const EResultCode eResult = complete(a_oRequest); eResult != EResultCode::Success) {
        return eResult;
    }
    const auto& oDispatcher = m_oManager.getDispatcher();
    NameList lAll;
    m_oManager.getDispatcher().getTables(lAll, this);
    NameList lTables;
    for (const auto& sTable : lAll) {
        if (eFilter == ETableFilter::All ||
            (eFilter == ETableFilter::Stored && oDispatcher.isStored(sTable)) ||
            (eFilter == ETableFilter::Persistent && oDispatcher.isPersistent(sTable))) {
            lTables.add(sTable);
        }
    }
    a_oReply.names(lTables);
    return EResultCode::Success;
}

ClientSession::EResultCode ClientSession::getSchema(Reader& a_oRequest, Writer& a_oReply)
{
    readTable(a_oRequest);
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        systema::ColumnList lColumns;
        eResult = m_oManager.getDispatcher().getSchema(lColumns, this, m_sTable);
        a_oReply.columns(lColumns);
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::getSize(Reader& a_oRequest, Writer& a_oReply)
{
    readTable(a_oRequest);
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        unsigned int iSize = 0;
        eResult = m_oManager.getDispatcher().getSize(iSize, this, m_sTable);
        a_oReply.u32(iSize);
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::selectRow(Reader& a_oRequest, Writer& a_oReply)
{
    readTable(a_oRequest);
    const unsigned int iPosition = a_oRequest.u32();
    const NameList lColumns = readNames(a_oRequest);
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        ValueList lRow;
        eResult = m_oManager.getDispatcher().selectRow(lRow, this, m_sTable, iPosition, lColumns);
        a_oReply.values(lRow);
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::selectKey(Reader& a_oRequest, Writer& a_oReply)
{
    readKey(a_oRequest);
    const NameList lColumns = readNames(a_oRequest);
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        ValueList lRow;
        eResult =
            m_oManager.getDispatcher().selectKey(lRow, this, m_sTable, m_sKeyColumn, m_sKeyValue, lColumns);
        a_oReply.values(lRow);
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::selectRows(Reader& a_oRequest, Writer&)
{
    readTable(a_oRequest);
    const unsigned int iFirst = a_oRequest.u32();
    const unsigned int iCount = a_oRequest.u32();
    const NameList lColumns = readNames(a_oRequest);
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        eResult = m_oManager.getDispatcher().openRows(m_pRows, this, m_sTable, iFirst, iCount, lColumns);
        m_bColumnsSent = false;
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::insertRow(Reader& a_oRequest, Writer&)
{
    readTable(a_oRequest);
    const ValueList lValues = a_oRequest.values();
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success ? eResult
                                           : m_oManager.getDispatcher().insertRow(this, m_sTable, lValues);
}

ClientSession::EResultCode ClientSession::insertKey(Reader& a_oRequest, Writer& a_oReply)
{
    readTable(a_oRequest);
    const ValueList lValues = a_oRequest.values();
    EResultCode eResult = complete(a_oRequest);
    if (eResult == EResultCode::Success) {
        int iId = 0;
        eResult = m_oManager.getDispatcher().insertKey(iId, this, m_sTable, lValues);
        a_oReply.i32(iId);
    }
    return eResult;
}

ClientSession::EResultCode ClientSession::updateRow(Reader& a_oRequest, Writer&)
{
    readTable(a_oRequest);
    const unsigned int iPosition = a_oRequest.u32();
    const ValueList lValues = a_oRequest.values();
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success
               ? eResult
               : m_oManager.getDispatcher().updateRow(this, m_sTable, iPosition, lValues);
}

ClientSession::EResultCode ClientSession::updateKey(Reader& a_oRequest, Writer&)
{
    readKey(a_oRequest);
    const ValueList lValues = a_oRequest.values();
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success
               ? eResult
               : m_oManager.getDispatcher().updateKey(this, m_sTable, m_sKeyColumn, m_sKeyValue, lValues);
}

ClientSession::EResultCode ClientSession::deleteRow(Reader& a_oRequest, Writer&)
{
    readTable(a_oRequest);
    const unsigned int iPosition = a_oRequest.u32();
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success ? eResult
                                           : m_oManager.getDispatcher().deleteRow(this, m_sTable, iPosition);
}

ClientSession::EResultCode ClientSession::deleteKey(Reader& a_oRequest, Writer&)
{
    readKey(a_oRequest);
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success
               ? eResult
               : m_oManager.getDispatcher().deleteKey(this, m_sTable, m_sKeyColumn, m_sKeyValue);
}

ClientSession::EResultCode ClientSession::deleteAll(Reader& a_oRequest, Writer&)
{
    readTable(a_oRequest);
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success ? eResult : m_oManager.getDispatcher().deleteAll(this, m_sTable);
}

ClientSession::EResultCode ClientSession::begin(Reader& a_oRequest, Writer&)
{
    const std::chrono::milliseconds oWait(a_oRequest.u32());
    EResultCode eResult = complete(a_oRequest);
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    auto& oDispatcher = m_oManager.getDispatcher();
    // Changes are told, and those who waited begin, before a new transaction: otherwise one that begins again
    // and again would keep everybody else waiting. The pass that does so ends at once.
    const bool bAfterPass = !oDispatcher.isTransactionOpen() && !oDispatcher.isLocked() &&
                            (m_oManager.hasQueue() || oDispatcher.hasNotifications());
    if (!bAfterPass) {
        eResult = oDispatcher.startTransaction(this);
        if (eResult != EResultCode::Busy || oWait.count() == 0) {
            return eResult;
        }
    }
    m_oWaitEnd =
        m_oManager.getEventDispatcher().startTimer(oWait, [this] { finishBegin(EResultCode::Busy); });
    m_oManager.queueBegin(*this);
    if (bAfterPass) {
        m_oManager.getEventDispatcher().endPass();
    }
    return EResultCode::Success; // so far: finishBegin answers
}

ClientSession::EResultCode ClientSession::commit(Reader& a_oRequest, Writer&)
{
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success ? eResult : m_oManager.getDispatcher().commitTransaction(this);
}

ClientSession::EResultCode ClientSession::rollback(Reader& a_oRequest, Writer&)
{
    const EResultCode eResult = complete(a_oRequest);
    return eResult != EResultCode::Success ? eResult : m_oManager.getDispatcher().rollbackTransaction(this);
}

ClientSession::EResultCode ClientSession::subscribe(Reader& a_oRequest, Writer&)
{
    const NameList lTables = readNames(a_oRequest);
    const std::uint8_t iFlags = a_oRequest.u8();
    const EResultCode eResult = complete(a_oRequest);
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    auto& oDispatcher = m_oManager.getDispatcher();
    // All or none; a name that nobody serves must not cost memory for ever.
    if (!std::ranges::all_of(lTables, [&](const auto& a_sTable) { return oDispatcher.hasTable(a_sTable); })) {
        return EResultCode::NoTable;
    }
    oDispatcher.subscribe(*this, lTables);
    if (iFlags & systema::wire::c_iTellAtOnce) {
        m_lChanges.insert(lTables.begin(), lTables.end());
    }
    return EResultCode::Success;
}

ClientSession::EResultCode ClientSession::unsubscribe(Reader& a_oRequest, Writer&)
{
    const NameList lTables = readNames(a_oRequest);
    const EResultCode eResult = complete(a_oRequest);
    if (eResult != EResultCode::Success) {
        return eResult;
    }
    auto& oDispatcher = m_oManager.getDispatcher();
    if (lTables.empty()) {
        oDispatcher.unsubscribeAll(*this);
        m_lChanges.clear();
    } else {
        oDispatcher.unsubscribe(*this, lTables);
        for (const auto& sTable : lTables) {
            m_lChanges.erase(sTable);
        }
    }
    return EResultCode::Success;
}

} // namespace zel::cfg

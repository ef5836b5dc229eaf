#include "soak/client.h"

#include "bench/unixaddress.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <poll.h>
#include <sys/socket.h>

namespace soak {

namespace {

using namespace std::chrono_literals;
using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using systema::client::ResultOf;
using systema::client::RowView;

constexpr auto c_oThinkTime = 20ms;
constexpr auto c_oShortThinkTime = 20ms; // within a transaction, which keeps the others waiting
constexpr auto c_oLongestBegin = 3000;   // milliseconds
constexpr auto c_oBeyondTimeout = 5s;    // of a transaction, see changeSettings()
constexpr auto c_oNotificationTimeout = 60s;
constexpr auto c_oCloseTimeout = 30s;
constexpr std::chrono::milliseconds c_oAtOnce{0};
constexpr auto c_oSlice = 250ms; // of a wait that ends with the run
constexpr std::size_t c_iSteps = 100;
constexpr std::size_t c_iUnreadRequests = 30;
constexpr std::size_t c_iLongestText = 200;

/// What changeByPosition() writes, and the table of which a bulk read takes many frames.
constexpr const char* c_pCommonTable = "TR069Transfer";
constexpr const char* c_pLargeTable = "CallLog";

constexpr Codes c_iOk = oneOf(EResultCode::Success);
/// Writes and begins outside of a transaction: another client has one, or the operator has locked.
constexpr Codes c_iRefused = oneOf(EResultCode::Busy, EResultCode::Locked);
constexpr Codes c_iLost = oneOf(EResultCode::Failure);

} // namespace

const Client::Step Client::c_aSteps[] = {
    {2000, &Client::readByPosition},  {2000, &Client::readByKey},
    {800, &Client::readInBulk},       {1200, &Client::changeAnyRow},
    {1000, &Client::checkRow},        {500, &Client::askForSize},
    {300, &Client::askForSchema},     {100, &Client::askForTables},
    {200, &Client::askForInfo},       {200, &Client::subscribe},
    {100, &Client::unsubscribe},      {100, &Client::changeAndBeTold},
    {100, &Client::commit},           {50, &Client::rollBackTransaction},
    {1, &Client::loseTransaction}, // keeps all others waiting
    {200, &Client::changeByPosition}, {100, &Client::changeSettings},
    {50, &Client::changeTraceLevel},  {200, &Client::askForNonsense},
};

const Client::Step Client::c_aLeaves[] = {
    {2, &Client::sayGoodbye},       {2, &Client::leaveInRequest},     {2, &Client::leaveBeforeAnswer},
    {2, &Client::leaveInBulkRead},  {2, &Client::leaveInTransaction}, {3, &Client::leaveQueued},
    {2, &Client::leaveSubscribed},  {2, &Client::leaveOutputUnread},  {2, &Client::leaveByMistake},
    {1, &Client::stayWithoutHello},
};

Client::Client(World& a_oWorld, const std::vector<Table>& a_lTables, int a_iNumber, unsigned a_iSeed)
    : m_oWorld(a_oWorld),
      m_lTables(a_lTables),
      m_sName("client " + std::to_string(a_iNumber)),
      m_oRandom(a_iSeed, static_cast<unsigned>(a_iNumber)),
      m_lRows(makeOwnRows(a_iNumber))
{
}

void Client::run()
{
    while (m_oWorld.m_oStop.pause(m_oRandom.pause(c_oThinkTime))) {
        if (connect()) {
            session();
        }
    }
}

void Client::session()
{
    for (auto i = m_oRandom.below(c_iSteps); i > 0 && isConnected() && pause(c_oThinkTime); --i) {
        doOne(c_aSteps);
    }
    if (isConnected()) {
        doOne(c_aLeaves);
    }
    m_pConnection.reset();
}

template<std::size_t Size>
void Client::doOne(const Step (&a_aFrom)[Size])
{
    const unsigned iAll =
        std::accumulate(std::begin(a_aFrom), std::end(a_aFrom), 0U,
                        [](unsigned a_iSum, const Step& a_oStep) { return a_iSum + a_oStep.m_iWeight; });
    auto iChosen = m_oRandom.below(iAll);
    const Step* pStep = a_aFrom;
    while (iChosen >= pStep->m_iWeight) {
        iChosen -= pStep->m_iWeight;
        ++pStep;
    }
    (this->*pStep->m_pDo)();
}

Journal::Activity Client::activity(const std::string& a_sWhat)
{
    return {m_oWorld.m_oJournal, m_sName + ": " + a_sWhat};
}

template<typename Request>
ResultOf<Request> Client::ask(const std::string& a_sKind, const std::string& a_sOf, Codes a_iAllowed,
                              const Request& a_oRequest)
{
    const std::string sWhat = a_sKind + ' ' + a_sOf;
    const auto oActivity = activity(sWhat);
    auto oResult = m_pConnection->call(a_oRequest);
    // In a transaction nobody is in the way, but it may be lost at any moment.
    const Codes iAllowed = m_bInTransaction ? (a_iAllowed & ~c_iRefused) | c_iLost : a_iAllowed;
    m_oWorld.m_oTally.count(a_sKind, oResult, iAllowed, m_sName + ": " + sWhat);
    return oResult;
}

bool Client::pause(std::chrono::milliseconds a_oMean)
{
    const auto oTime = m_oRandom.pause(a_oMean);
    return m_bSubscribed ? waitForChanges(oTime) : m_oWorld.m_oStop.pause(oTime);
}

/// Takes what the daemon tells, until the time is over or the table was told. False when the run is over.
bool Client::waitForChanges(std::chrono::milliseconds a_oTime, const char* a_pTable)
{
    const auto oEnd = Clock::now() + a_oTime;
    while (!m_oWorld.m_oStop.requested()) {
        const auto oRest = std::chrono::ceil<std::chrono::milliseconds>(oEnd - Clock::now());
        const auto oChange =
            m_pConnection->waitForChange(std::clamp<std::chrono::milliseconds>(oRest, c_oAtOnce, c_oSlice));
        if (!oChange.ok()) {
            m_oWorld.m_oTally.fault(m_sName + ": waiting for changes: " + std::string(oChange.text()));
            return true;
        }
        if (*oChange) {
            m_oWorld.m_oTally.count("notification received");
        }
        if ((a_pTable != nullptr && *oChange == a_pTable) || oRest <= c_oAtOnce) {
            return true;
        }
    }
    return false;
}

bool Client::connect()
{
    const auto oActivity = activity("connects");
    m_pConnection =
        std::make_unique<Connection>(Connection::Options{m_oWorld.m_sSocket, m_sName, c_oAnswerTimeout});
    m_pConnection->onTransactionLost(
        [this](const std::string&) { m_oWorld.m_oTally.count("transaction lost, and its owner told"); });
    m_bSubscribed = false;
    m_bInTransaction = false;
    const auto oStatus = m_pConnection->connect();
    m_oWorld.m_oTally.count("connect", oStatus, c_iOk, m_sName + ": connect");
    return oStatus.ok();
}

// ---------------------------------------------------------------------------------------------------------
// Reads

NameList Client::randomColumns(const Table& a_oTable)
{
    NameList lColumns;
    if (!a_oTable.m_lColumns.empty() && m_oRandom.oneIn(2)) {
        for (auto i = 1 + m_oRandom.below(3); i > 0; --i) {
            lColumns.add(m_oRandom.pick(a_oTable.m_lColumns).first);
        }
    }
    return lColumns;
}

void Client::askForTables()
{
    const auto oTables = ask("list tables", "", c_iOk, request::GetTables{});
    if (oTables.ok() && oTables->size() != m_lTables.size()) {
        m_oWorld.m_oTally.fault(m_sName + ": there are other tables than at the start");
    }
}

void Client::askForSchema()
{
    const auto& oTable = m_oRandom.pick(m_lTables);
    expect("schema", oTable.m_sName, c_iOk, request::GetSchema{oTable.m_sName});
}

void Client::askForSize()
{
    const auto& oTable = m_oRandom.pick(m_lTables);
    expect("count", oTable.m_sName, codesOfSize(oTable), request::GetSize{oTable.m_sName});
}

void Client::askForInfo()
{
    expect("info", "", c_iOk, request::Info{});
    expect("ping", "", c_iOk, request::Ping{});
}

void Client::readByPosition()
{
    const auto& oTable = m_oRandom.pick(m_lTables);
    const auto oSize = ask("count", oTable.m_sName, codesOfSize(oTable), request::GetSize{oTable.m_sName});
    const auto iPosition = static_cast<std::uint32_t>(m_oRandom.below(*oSize + 2));
    expect("read by position", oTable.m_sName, codesOfPosition(oTable),
           request::SelectRow{oTable.m_sName, iPosition, randomColumns(oTable)});
}

void Client::readByKey()
{
    const auto& oTable = m_oRandom.pick(m_lTables);
    const auto oRow = ask("read by position", oTable.m_sName, codesOfPosition(oTable),
                          request::SelectRow{oTable.m_sName, static_cast<std::uint32_t>(m_oRandom.below(4))});
    if (!oRow->empty()) {
        const auto& [sColumn, oValue] = m_oRandom.pick(*oRow);
        const std::string sValue = oValue.toText();
        expect("read by key", oTable.m_sName + " " + sColumn + "=" + sValue, codesOfKey(oTable, sValue),
               request::SelectKey{oTable.m_sName, sColumn, sValue, randomColumns(oTable)});
    }
}

void Client::readInBulk()
{
    const auto& oTable = m_oRandom.oneIn(5) ? *std::ranges::find(m_lTables, c_pLargeTable, &Table::m_sName)
                                            : m_oRandom.pick(m_lTables);
    request::SelectRows oRequest{oTable.m_sName};
    if (m_oRandom.oneIn(3)) {
        oRequest.m_iFirst = static_cast<std::uint32_t>(m_oRandom.below(10));
        oRequest.m_iCount = static_cast<std::uint32_t>(m_oRandom.below(100));
    }
    expect("bulk read", oTable.m_sName, codesOfBulk(oTable), oRequest);
}

// ---------------------------------------------------------------------------------------------------------
// Writes

std::string Client::randomText()
{
    constexpr std::array c_aWords = {"soak", "O'Neil", "\"quoted\"", "Österreich", "--",
                                     ";",    "%s",     "\n",         "  ",         "x"};
    std::string sText;
    while (!m_oRandom.oneIn(4) && sText.size() < c_iLongestText) {
        sText += m_oRandom.pick(c_aWords);
    }
    return sText;
}

void Client::check(OwnRow& a_oRow)
{
    const auto& oTable = *a_oRow.m_pTable;
    const Codes iAllowed = !a_oRow.m_bKnown  ? oneOf(EResultCode::Success, EResultCode::NoRow)
                           : a_oRow.m_oValue ? c_iOk
                                             : oneOf(EResultCode::NoRow);
    const std::string sWhat = oTable.m_pName + (" " + a_oRow.m_sKey);
    const auto oValues = ask("read own row", sWhat, iAllowed,
                             request::SelectKey{oTable.m_pName, oTable.m_pKeyColumn, a_oRow.m_sKey,
                                                NameList{oTable.m_pValueColumn}});
    std::optional<std::string> oFound;
    if (oValues.ok()) {
        oFound = oValues->getValue(oTable.m_pValueColumn).toText();
    } else if (oValues.code() != EResultCode::NoRow) {
        return;
    }
    if (a_oRow.m_bKnown && oFound && a_oRow.m_oValue && *oFound != *a_oRow.m_oValue) {
        m_oWorld.m_oTally.fault(m_sName + ": " + sWhat + " is \"" + *oFound + "\" and not \"" +
                                *a_oRow.m_oValue + "\"");
    }
    a_oRow.m_bKnown = true;
    a_oRow.m_oValue = oFound;
}

void Client::checkRow()
{
    check(m_lRows[m_oRandom.below(m_lRows.size())]);
}

/// Inserts, changes or deletes the row. True when it is another one then.
bool Client::change(OwnRow& a_oRow)
{
    if (!a_oRow.m_bKnown) {
        check(a_oRow);
    }
    const auto& oTable = *a_oRow.m_pTable;
    const std::string sWhat = oTable.m_pName + (" " + a_oRow.m_sKey);
    const bool bText = oTable.m_iValueType == EDataType::Text;
    const std::string sValue = bText ? randomText() : std::to_string(m_oRandom.below(1000));
    ValueList lValues;
    lValues.add(oTable.m_pValueColumn,
                bText ? Value(oTable.m_iValueType, sValue) : Value(oTable.m_iValueType, std::stoi(sValue)));
    const bool bThere = a_oRow.m_oValue.has_value();
    const Codes iWithRow = c_iRefused | oneOf(bThere ? EResultCode::Success : EResultCode::NoRow);
    std::optional<std::string> oValue = sValue;
    Status oStatus;
    if (m_oRandom.oneIn(bThere ? 10 : 2)) { // which fails when there is one
        lValues.add(oTable.m_pKeyColumn, Value(EDataType::Text, a_oRow.m_sKey));
        const Codes iAllowed = c_iRefused | oneOf(bThere ? EResultCode::Constraint : EResultCode::Success);
        if (m_oRandom.oneIn(2)) {
            oStatus = ask("insert", sWhat, iAllowed, request::InsertRow{oTable.m_pName, lValues});
        } else {
            oStatus = ask("insert and be given the id", sWhat, iAllowed,
                          request::InsertKey{oTable.m_pName, lValues});
        }
    } else if (m_oRandom.oneIn(3)) {
        oStatus = ask("delete by key", sWhat, iWithRow,
                      request::DeleteKey{oTable.m_pName, oTable.m_pKeyColumn, a_oRow.m_sKey});
        oValue.reset();
    } else {
        oStatus = ask("update by key", sWhat, iWithRow,
                      request::UpdateKey{oTable.m_pName, oTable.m_pKeyColumn, a_oRow.m_sKey, lValues});
    }
    if (oStatus.ok()) {
        a_oRow.m_oValue = oValue;
    }
    return oStatus.ok();
}

void Client::changeAnyRow()
{
    change(m_lRows[m_oRandom.below(m_lRows.size())]);
}

/// Rows of everybody: who comes first changes them.
void Client::changeByPosition()
{
    const auto iPosition = static_cast<std::uint32_t>(m_oRandom.below(10));
    ValueList lValues;
    lValues.add("Url", Value(EDataType::Text, randomText()));
    const Codes iWithRow = c_iOk | c_iRefused | oneOf(EResultCode::NoRow);
    if (m_oRandom.oneIn(20)) {
        expect("delete all", c_pCommonTable, c_iOk | c_iRefused, request::DeleteAll{c_pCommonTable});
    } else if (m_oRandom.oneIn(2)) {
        expect("insert", c_pCommonTable, c_iOk | c_iRefused, request::InsertRow{c_pCommonTable, lValues});
    } else if (m_oRandom.oneIn(2)) {
        expect("update by position", c_pCommonTable, iWithRow,
               request::UpdateRow{c_pCommonTable, iPosition, lValues});
    } else {
        expect("delete by position", c_pCommonTable, iWithRow, request::DeleteRow{c_pCommonTable, iPosition});
    }
}

/// The transaction time-out stays within three seconds.
void Client::changeSettings()
{
    constexpr std::array c_aTimeouts = {0, 1, 2, 3, 4000};
    const int iTimeout = m_oRandom.pick(c_aTimeouts);
    ValueList lValues;
    lValues.add(m_oRandom.oneIn(2) ? "TransactionTimeout" : "DefaultTransactionTimeout",
                Value(EDataType::Integer, iTimeout));
    expect("update settings", "ConfigServerConfig " + std::to_string(iTimeout),
           oneOf(EResultCode::Locked, iTimeout == 4000 ? EResultCode::Failure : EResultCode::Success),
           request::UpdateKey{"ConfigServerConfig", "Id", "1", lValues});
}

void Client::changeTraceLevel()
{
    const auto itTable = std::ranges::find(m_lTables, "ConfigmanagerLogging", &Table::m_sName);
    const auto& sModule = m_oRandom.pick(itTable->m_lColumns).first;
    ValueList lValues;
    lValues.add(sModule, Value(EDataType::Integer, m_oRandom.oneIn(2) ? 113 : 1023));
    expect("update trace level", sModule,
           oneOf(EResultCode::Locked, sModule == "Id" ? EResultCode::NoKey : EResultCode::Success),
           request::UpdateRow{"ConfigmanagerLogging", 0, lValues});
}

void Client::askForNonsense()
{
    const std::string sKind = "nonsense";
    ValueList lValues;
    switch (m_oRandom.below(8)) {
    case 0:
        expect(sKind, "no table", oneOf(EResultCode::NoTable), request::GetSize{"NoSuchTable"});
        break;
    case 1:
        expect(sKind, "no column", oneOf(EResultCode::NoTable),
               request::SelectRow{"NtpServer", 0, NameList{"NoSuchColumn"}});
        break;
    case 2:
        expect(sKind, "no position", oneOf(EResultCode::NoRow), request::SelectRow{"NtpServer", 0xffffffff});
        break;
    case 3:
        expect(sKind, "no transaction", oneOf(EResultCode::Failure), request::Commit{});
        break;
    case 4:
        lValues.add("Port", Value(EDataType::Integer, 0));
        expect(sKind, "impossible port", c_iRefused | oneOf(EResultCode::Constraint),
               request::InsertRow{"SyslogTarget", lValues});
        break;
    case 5:
        lValues.add("Host", Value(EDataType::Text, std::string("a\0b", 3)));
        expect(sKind, "NUL", oneOf(EResultCode::Mismatch), request::InsertRow{"SyslogTarget", lValues});
        break;
    case 6:
        expect(sKind, "read-only table", oneOf(EResultCode::ReadOnly, EResultCode::Locked),
               request::DeleteAll{"Passwd"});
        break;
    default:
        expect(sKind, "subscription", oneOf(EResultCode::NoTable),
               request::Subscribe{NameList{"NoSuchTable"}});
        break;
    }
}

// ---------------------------------------------------------------------------------------------------------
// Changes

void Client::subscribe()
{
    NameList lTables;
    for (auto i = 1 + m_oRandom.below(10); i > 0; --i) {
        lTables.add(m_oRandom.pick(m_lTables).m_sName);
    }
    const auto oActivity = activity("subscribe");
    const auto oStatus = m_pConnection->subscribe(lTables, m_oRandom.oneIn(2));
    m_oWorld.m_oTally.count("subscribe", oStatus, c_iOk, m_sName + ": subscribe");
    m_bSubscribed = true;
}

void Client::unsubscribe()
{
    const auto oActivity = activity("unsubscribe");
    m_oWorld.m_oTally.count("unsubscribe", m_pConnection->unsubscribe(), c_iOk, m_sName + ": unsubscribe");
    m_bSubscribed = false;
}

void Client::changeAndBeTold()
{
    auto& oRow = m_lRows[m_oRandom.below(m_lRows.size())];
    const char* pTable = oRow.m_pTable->m_pName;
    const auto oStatus = m_pConnection->subscribe({pTable});
    m_oWorld.m_oTally.count("subscribe", oStatus, c_iOk, m_sName + ": subscribe " + pTable);
    m_bSubscribed = true;
    if (oStatus.ok() && waitForChanges(c_oAtOnce) && change(oRow)) {
        const auto oStart = Clock::now();
        waitForChanges(c_oNotificationTimeout, pTable);
        if (Clock::now() - oStart >= c_oNotificationTimeout) {
            m_oWorld.m_oTally.fault(m_sName + ": was not told of a change of " + pTable);
        }
        m_oWorld.m_oTally.count("own change was told");
    }
}

// ---------------------------------------------------------------------------------------------------------
// Transactions

void Client::transact(EEnd a_eEnd)
{
    const auto iWaitMs =
        static_cast<std::uint32_t>(m_oRandom.oneIn(4) ? 0 : m_oRandom.below(c_oLongestBegin));
    if (!ask("begin", "", c_iOk | c_iRefused, request::Begin{iWaitMs}).ok()) {
        return;
    }
    m_bInTransaction = true;
    const auto lBefore = m_lRows;
    for (auto i = m_oRandom.below(6); i > 0 && isConnected(); --i) {
        if (m_oRandom.oneIn(4)) {
            readByPosition();
        } else {
            changeAnyRow();
        }
        m_oWorld.m_oStop.pause(m_oRandom.pause(c_oShortThinkTime));
    }
    bool bCommitted = false;
    switch (a_eEnd) {
    case EEnd::Commit:
        bCommitted = ask("commit", "", c_iOk, request::Commit{}).ok();
        break;
    case EEnd::Rollback:
        expect("rollback", "", c_iOk, request::Rollback{});
        break;
    case EEnd::TimeOut:
        if (m_oWorld.m_oStop.pause(c_oBeyondTimeout)) {
            expect("read after the time-out", "", c_iLost, request::GetSize{"NtpServer"});
            expect("commit after the time-out", "", c_iLost, request::Commit{});
        } else {
            m_pConnection->close(); // the run is over, and the transaction still open
        }
        break;
    case EEnd::Disconnect:
        m_oWorld.m_oTally.count("disconnect in a transaction");
        m_pConnection->close();
        break;
    }
    if (!bCommitted) {
        rollBack(m_lRows, lBefore);
    }
    m_bInTransaction = false;
}

// ---------------------------------------------------------------------------------------------------------
// Ways to leave

void Client::sayGoodbye()
{
    m_oWorld.m_oTally.count("disconnect with nothing open");
    m_pConnection->close();
}

/// Sends a request, as far as the socket takes it, and does not wait for the answer.
template<typename Request>
void Client::sendOnly(const Request& a_oRequest)
{
    auto oStatus = m_pConnection->submit(a_oRequest, [](const ResultOf<Request>&) {});
    if (oStatus.ok()) {
        oStatus = m_pConnection->processWritable();
    }
    m_oWorld.m_oTally.count("request sent, answer not awaited", oStatus, c_iOk, m_sName + ": send");
}

void Client::sendRaw(std::string_view a_sBytes)
{
    // A socket that is full, or closed by the daemon already, is as good.
    [[maybe_unused]] const auto iSent =
        ::send(m_pConnection->descriptor(), a_sBytes.data(), a_sBytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void Client::leaveInRequest()
{
    std::string sFrame;
    systema::wire::Writer oWriter(sFrame);
    oWriter.begin(systema::wire::EKind::Request, systema::wire::EOperation::DeleteAll, 1);
    request::write(oWriter, request::DeleteAll{"NtpServer"});
    oWriter.end();
    sendRaw(std::string_view(sFrame).substr(0, 1 + m_oRandom.below(sFrame.size() - 1)));
    m_oWorld.m_oStop.pause(m_oRandom.pause(c_oThinkTime));
    m_oWorld.m_oTally.count("disconnect in a request");
    m_pConnection->close();
}

void Client::leaveBeforeAnswer()
{
    auto& oRow = m_lRows[m_oRandom.below(m_lRows.size())];
    const auto& oTable = *oRow.m_pTable;
    oRow.m_bKnown = false;
    const request::DeleteKey oRequest{oTable.m_pName, oTable.m_pKeyColumn, oRow.m_sKey};
    sendOnly(oRequest);
    m_oWorld.m_oTally.count("disconnect before the answer");
    m_pConnection->close();
}

void Client::leaveInBulkRead()
{
    const auto oActivity = activity(std::string("leaves in a bulk read of ") + c_pLargeTable);
    sendOnly(request::SelectRows{c_pLargeTable});
    pollfd oPoll{m_pConnection->descriptor(), POLLIN, 0};
    ::poll(&oPoll, 1, std::chrono::milliseconds(c_oSlice).count());
    m_oWorld.m_oTally.count("disconnect in a bulk read");
    m_pConnection->close();
}

void Client::leaveQueued()
{
    const auto oActivity = activity("leaves while it waits for a transaction");
    unsubscribe(); // what comes is the answer
    sendOnly(request::Begin{c_oLongestBegin});
    pollfd oPoll{m_pConnection->descriptor(), POLLIN, 0};
    const bool bQueued = ::poll(&oPoll, 1, 30) == 0;
    m_oWorld.m_oTally.count(bQueued ? "disconnect while queued for a transaction"
                                    : "disconnect right after a begin");
    m_pConnection->close();
}

void Client::leaveSubscribed()
{
    subscribe();
    m_oWorld.m_oStop.pause(m_oRandom.pause(1s));
    m_oWorld.m_oTally.count("disconnect while subscribed");
    m_pConnection->close();
}

void Client::leaveOutputUnread()
{
    const auto oActivity = activity(std::string("leaves bulk reads unread, of ") + c_pLargeTable);
    for (std::size_t i = 0; i < c_iUnreadRequests; ++i) {
        sendOnly(request::SelectRows{c_pLargeTable});
    }
    m_oWorld.m_oStop.pause(m_oRandom.pause(1s));
    m_oWorld.m_oTally.count("disconnect with unread output");
    m_pConnection->close();
}

/// Reads what still comes until the daemon has closed the connection, which it must.
void Client::awaitClose(int a_iSocket, Codes a_iAllowed, const char* a_pKind)
{
    std::string sInput;
    std::array<char, 4096> aBuffer;
    ssize_t iRead = 1;
    while (iRead > 0) {
        pollfd oPoll{a_iSocket, POLLIN, 0};
        if (::poll(&oPoll, 1, std::chrono::milliseconds(c_oCloseTimeout).count()) <= 0) {
            m_oWorld.m_oTally.fault(m_sName + ": " + a_pKind + ": the connection is not closed");
            return;
        }
        iRead = ::recv(a_iSocket, aBuffer.data(), aBuffer.size(), 0);
        sInput.append(aBuffer.data(), static_cast<std::size_t>(std::max<ssize_t>(iRead, 0)));
    }
    Status oLast;
    std::string_view sRest = sInput;
    while (const auto oHeader = systema::wire::readHeader(sRest)) {
        if (oHeader->m_eKind == systema::wire::EKind::Reply) {
            oLast = Status::refused(oHeader->m_iCode);
        }
        sRest.remove_prefix(std::min(sRest.size(), oHeader->frameSize()));
    }
    m_oWorld.m_oTally.count(a_pKind, oLast, a_iAllowed, m_sName + ": " + a_pKind);
}

void Client::leaveByMistake()
{
    const auto oActivity = activity("sends what is no frame");
    std::string sBytes("\x02\0\0\0", 4); // an impossible length
    while (sBytes.size() < systema::wire::c_iHeaderSize) {
        sBytes += static_cast<char>(m_oRandom.below(2));
    }
    sendRaw(sBytes);
    awaitClose(m_pConnection->descriptor(), oneOf(EResultCode::Protocol), "disconnect for a protocol error");
    m_pConnection->close();
}

void Client::stayWithoutHello()
{
    m_pConnection->close();
    const bench::UnixAddress oAddress(m_oWorld.m_sSocket);
    const zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(oSocket.get(), oAddress.get(), bench::UnixAddress::size()) == 0) {
        awaitClose(oSocket.get(), c_iOk, "disconnect without hello");
    }
}

} // namespace soak

#include "soak/client.h"

#include "soak/leaving.h"

#include <algorithm>
#include <array>

namespace soak {

namespace {

using namespace std::chrono_literals;
using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;

constexpr auto c_oThinkTime = 20ms;
constexpr std::uint32_t c_iLongestBeginMs = 3000;
constexpr auto c_oBeyondTimeout = 5s; // of a transaction, see changeSettings()
constexpr auto c_oNotificationTimeout = 60s;
constexpr std::size_t c_iSteps = 150;
constexpr std::size_t c_iLongestText = 200;

} // namespace

const std::pair<unsigned, Client::Step> Client::c_aSteps[] = {
    {2000, &Client::readByPosition},  {2000, &Client::readByKey},         {800, &Client::readInBulk},
    {1200, &Client::changeAnyRow},    {1000, &Client::checkRow},          {200, &Client::askAround},
    {200, &Client::subscribeToSome},  {100, &Client::unsubscribe},        {100, &Client::changeAndBeTold},
    {100, &Client::commit},           {50, &Client::rollBackTransaction}, {20, &Client::leaveTransaction},
    {200, &Client::changeByPosition}, {10, &Client::deleteAll},           {150, &Client::changeSettings},
    {25, &Client::askForNonsense},    {1, &Client::loseTransaction} // keeps all others waiting
};

Client::Client(World& a_oWorld, const std::vector<Table>& a_lTables, int a_iNumber, unsigned a_iSeed)
    : Session(a_oWorld, "client " + std::to_string(a_iNumber),
              Random(a_iSeed, static_cast<unsigned>(a_iNumber))),
      m_lTables(a_lTables),
      m_iNumber(static_cast<std::size_t>(a_iNumber)),
      m_lRows(makeOwnRows(a_iNumber))
{
}

void Client::run()
{
    // The first sessions of all clients together do everything once.
    static_assert(std::size(c_aSteps) <= c_iClients);
    if (connect()) {
        (this->*c_aSteps[m_iNumber % std::size(c_aSteps)].second)();
        if (isConnected()) {
            leave(*this, m_iNumber);
        }
    }
    while (world().pause(random().pause(c_oThinkTime))) {
        if (connect()) {
            work();
        }
    }
}

void Client::work()
{
    for (auto i = random().below(c_iSteps); i > 0 && isConnected() && pause(c_oThinkTime); --i) {
        (this->*random().pickByWeight(c_aSteps).second)();
    }
    if (isConnected()) {
        leave(*this);
    }
}

// ---------------------------------------------------------------------------------------------------------
// Reads

NameList Client::randomColumns(const Table& a_oTable)
{
    NameList lColumns;
    if (!a_oTable.m_lColumns.empty() && random().oneIn(2)) {
        for (auto i = 1 + random().below(3); i > 0; --i) {
            lColumns.add(random().pick(a_oTable.m_lColumns).first);
        }
    }
    return lColumns;
}

void Client::askAround()
{
    const auto& oTable = random().pick(m_lTables);
    expect("schema", oTable.m_sName, c_iOk, request::GetSchema{oTable.m_sName});
    expect("info", "", c_iOk, request::Info{});
    expect("ping", "", c_iOk, request::Ping{});
    const auto oTables = ask("list tables", "", c_iOk, request::GetTables{});
    if (oTables.ok() && oTables->size() != m_lTables.size()) {
        fault("there are other tables than at the start");
    }
}

void Client::readByPosition()
{
    const auto& oTable = random().pick(m_lTables);
    const auto oSize = ask("count", oTable.m_sName, codesOfSize(oTable), request::GetSize{oTable.m_sName});
    const auto iPosition = static_cast<std::uint32_t>(random().below(*oSize + 2));
    expect("read by position", oTable.m_sName, codesOfPosition(oTable),
           request::SelectRow{oTable.m_sName, iPosition, randomColumns(oTable)});
}

void Client::readByKey()
{
    const auto& oTable = random().pick(m_lTables);
    const auto oRow = ask("read by position", oTable.m_sName, codesOfPosition(oTable),
                          request::SelectRow{oTable.m_sName, static_cast<std::uint32_t>(random().below(4))});
    if (!oRow->empty()) {
        const auto& [sColumn, oValue] = random().pick(*oRow);
        const std::string sValue = oValue.toText();
        expect("read by key", oTable.m_sName + " " + sColumn + "=" + sValue, codesOfKey(oTable, sValue),
               request::SelectKey{oTable.m_sName, sColumn, sValue, randomColumns(oTable)});
    }
}

void Client::readInBulk()
{
    const auto& oTable = random().oneIn(5) ? *std::ranges::find(m_lTables, c_pLargeTable, &Table::m_sName)
                                           : random().pick(m_lTables);
    request::SelectRows oRequest{oTable.m_sName};
    if (random().oneIn(3)) {
        oRequest.m_iFirst = static_cast<std::uint32_t>(random().below(10));
        oRequest.m_iCount = static_cast<std::uint32_t>(random().below(100));
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
    while (!random().oneIn(4) && sText.size() < c_iLongestText) {
        sText += random().pick(c_aWords);
    }
    return sText;
}

void Client::checkRow()
{
    const auto& oRow = random().pick(m_lRows);
    const auto& oTable = *oRow.m_pTable;
    const std::string sWhat = oTable.m_pName + (" " + oRow.m_sKey);
    const auto oValues =
        ask("read own row", sWhat, oneOf(oRow.m_oValue ? EResultCode::Success : EResultCode::NoRow),
            request::SelectKey{oTable.m_pName, oTable.m_pKeyColumn, oRow.m_sKey,
                               NameList{oTable.m_pValueColumn}});
    if (oValues.ok() && oRow.m_oValue) {
        const std::string sFound = oValues->getValue(oTable.m_pValueColumn).toText();
        if (sFound != *oRow.m_oValue) {
            fault(sWhat + " is \"" + sFound + "\" and not \"" + *oRow.m_oValue + "\"");
        }
    }
}

/// Inserts, changes or deletes the row. True when it is another one then.
bool Client::change(OwnRow& a_oRow)
{
    const auto& oTable = *a_oRow.m_pTable;
    const std::string sWhat = oTable.m_pName + (" " + a_oRow.m_sKey);
    const bool bText = oTable.m_iValueType == EDataType::Text;
    const std::string sValue = bText ? randomText() : std::to_string(random().below(1000));
    ValueList lValues;
    lValues.add(oTable.m_pValueColumn,
                bText ? Value(oTable.m_iValueType, sValue) : Value(oTable.m_iValueType, std::stoi(sValue)));
    const bool bThere = a_oRow.m_oValue.has_value();
    const Codes iWithRow = c_iRefused | oneOf(bThere ? EResultCode::Success : EResultCode::NoRow);
    std::optional<std::string> oValue = sValue;
    Status oStatus;
    if (random().oneIn(bThere ? 10 : 2)) { // which fails when there is one
        lValues.add(oTable.m_pKeyColumn, Value(EDataType::Text, a_oRow.m_sKey));
        const Codes iAllowed = c_iRefused | oneOf(bThere ? EResultCode::Constraint : EResultCode::Success);
        if (random().oneIn(2)) {
            oStatus = ask("insert", sWhat, iAllowed, request::InsertRow{oTable.m_pName, lValues});
        } else {
            oStatus = ask("insert and be given the id", sWhat, iAllowed,
                          request::InsertKey{oTable.m_pName, lValues});
        }
    } else if (random().oneIn(3)) {
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
    change(random().pick(m_lRows));
}

/// Rows of everybody: who comes first changes them.
void Client::changeByPosition()
{
    const auto iPosition = static_cast<std::uint32_t>(random().below(10));
    ValueList lValues;
    lValues.add("Url", Value(EDataType::Text, randomText()));
    const Codes iWithRow = c_iOk | c_iRefused | oneOf(EResultCode::NoRow);
    expect("insert", c_pCommonTable, c_iOk | c_iRefused, request::InsertRow{c_pCommonTable, lValues});
    expect("update by position", c_pCommonTable, iWithRow,
           request::UpdateRow{c_pCommonTable, iPosition, lValues});
    if (random().oneIn(2)) {
        expect("delete by position", c_pCommonTable, iWithRow, request::DeleteRow{c_pCommonTable, iPosition});
    }
}

void Client::deleteAll()
{
    expect("delete all", c_pCommonTable, c_iOk | c_iRefused, request::DeleteAll{c_pCommonTable});
}

/// The transaction time-out stays within three seconds.
void Client::changeSettings()
{
    struct Setting
    {
        const char* m_pTable;
        const char* m_pColumn;
        int m_iValue;
        Codes m_iAllowed;
    };
    constexpr Setting c_aSettings[] = {
        {"ConfigServerConfig", "TransactionTimeout", 3, c_iOk},
        {"ConfigServerConfig", "TransactionTimeout", 0, c_iOk},
        {"ConfigServerConfig", "DefaultTransactionTimeout", 1, c_iOk},
        {"ConfigServerConfig", "DefaultTransactionTimeout", 2, c_iOk},
        {"ConfigServerConfig", "DefaultTransactionTimeout", 4000, oneOf(EResultCode::Failure)},
        {"ConfigmanagerLogging", "ConfigService", 1023, c_iOk},
        {"ConfigmanagerLogging", "ConfigService", 113, c_iOk},
        {"ConfigmanagerLogging", "Id", 1, oneOf(EResultCode::NoKey)},
    };
    const auto& oSetting = random().pick(c_aSettings);
    ValueList lValues;
    lValues.add(oSetting.m_pColumn, Value(EDataType::Integer, oSetting.m_iValue));
    expect("update settings", std::string(oSetting.m_pColumn) + ' ' + std::to_string(oSetting.m_iValue),
           oneOf(EResultCode::Locked) | oSetting.m_iAllowed,
           request::UpdateRow{oSetting.m_pTable, 0, lValues});
}

void Client::askForNonsense()
{
    const std::string sKind = "nonsense";
    ValueList lPort;
    lPort.add("Port", Value(EDataType::Integer, 0));
    ValueList lHost;
    lHost.add("Host", Value(EDataType::Text, std::string("a\0b", 3)));
    expect(sKind, "no table", oneOf(EResultCode::NoTable), request::GetSize{"NoSuchTable"});
    expect(sKind, "no column", oneOf(EResultCode::NoTable),
           request::SelectRow{"NtpServer", 0, NameList{"NoSuchColumn"}});
    expect(sKind, "no position", oneOf(EResultCode::NoRow), request::SelectRow{"NtpServer", 0xffffffff});
    expect(sKind, "no transaction", oneOf(EResultCode::Failure), request::Commit{});
    expect(sKind, "impossible port", c_iRefused | oneOf(EResultCode::Constraint),
           request::InsertRow{"SyslogTarget", lPort});
    expect(sKind, "NUL", oneOf(EResultCode::Mismatch), request::InsertRow{"SyslogTarget", lHost});
    expect(sKind, "read-only table", oneOf(EResultCode::ReadOnly, EResultCode::Locked),
           request::DeleteAll{"Passwd"});
    expect(sKind, "subscription", oneOf(EResultCode::NoTable), request::Subscribe{NameList{"NoSuchTable"}});
}

// ---------------------------------------------------------------------------------------------------------
// Changes

void Client::subscribeToSome()
{
    NameList lTables;
    for (auto i = 1 + random().below(10); i > 0; --i) {
        lTables.add(random().pick(m_lTables).m_sName);
    }
    subscribe(lTables, random().oneIn(2));
}

void Client::changeAndBeTold()
{
    auto& oRow = random().pick(m_lRows);
    const char* pTable = oRow.m_pTable->m_pName;
    if (subscribe({pTable}) && waitForChanges(0ms) && change(oRow)) {
        const auto oStart = Clock::now();
        waitForChanges(c_oNotificationTimeout, pTable);
        if (Clock::now() - oStart >= c_oNotificationTimeout) {
            fault(std::string("was not told of a change of ") + pTable);
        }
        count("own change was told");
    }
}

// ---------------------------------------------------------------------------------------------------------
// Transactions

void Client::transact(EEnd a_eEnd)
{
    const bool bWait = a_eEnd == EEnd::TimeOut || !random().oneIn(4);
    const auto iWaitMs = bWait ? c_iLongestBeginMs : 0;
    if (!ask("begin", "", c_iOk | c_iRefused, request::Begin{iWaitMs}).ok()) {
        return;
    }
    setInTransaction(true);
    const auto lBefore = m_lRows;
    for (auto i = random().below(6); i > 0 && isConnected(); --i) {
        if (random().oneIn(4)) {
            readByPosition();
        } else {
            changeAnyRow();
        }
        world().pause(random().pause(c_oThinkTime));
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
        if (world().pause(c_oBeyondTimeout)) {
            expect("read after the time-out", "", c_iLost, request::GetSize{"NtpServer"});
            expect("commit after the time-out", "", c_iLost, request::Commit{});
        } else {
            connection().close(); // the run is over, and the transaction still open
        }
        break;
    case EEnd::Disconnect:
        count("disconnect in a transaction");
        connection().close();
        break;
    }
    if (!bCommitted) {
        rollBack(m_lRows, lBefore);
    }
    setInTransaction(false);
}

} // namespace soak

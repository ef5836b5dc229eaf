#include "dbus/busconnection.h"

#include "dbus/busprobe.h"
#include "dbus/sendable.h"

#include <cstdlib>
#include <utility>

namespace zel {

namespace {

using std::chrono::milliseconds;

constexpr const char* c_pAddress = "unix:path=/run/dbus/system_bus_socket";

// The bus sends a burst as fast as it is read, which takes it a moment each time.
constexpr std::size_t c_iBurst = 16;        // signals
constexpr milliseconds c_oLull{10};         // so long a silence is the end of a burst
constexpr milliseconds c_oMostSilence{100}; // in one burst altogether
constexpr milliseconds c_oMostRest{
    100}; // for reading what is no signal that anybody awaits, or not all of one

std::string busAddress()
{
    const char* pAddress = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return pAddress != nullptr && *pAddress != '\0' ? pAddress : c_pAddress;
}

DBus::CallMessage callOfBus(const char* a_pMethod)
{
    return {DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, a_pMethod};
}

void append(DBus::CallMessage& a_oCall, const std::string& a_sText)
{
    checkArgument(a_sText);
    DBus::MessageIter oArguments = a_oCall.writer();
    oArguments << a_sText;
}

} // namespace

BusConnection::BusConnection(WaitTime& a_oWaitTime, Now a_oNow, IsAwaited a_oIsAwaited)
    : m_oWaitTime(a_oWaitTime),
      m_oDeadline(Clock::now() + WaitTime::c_oLongest),
      m_oNow(std::move(a_oNow)),
      m_oIsAwaited(std::move(a_oIsAwaited))
{
    m_oFilter = new DBus::Callback<BusConnection, bool, const DBus::Message&>(this, &BusConnection::take);
    const std::string sAddress = busAddress();
    {
        const WaitTime::Count oCount(m_oWaitTime);
        probeBus(sAddress, m_oDeadline);
        const Interruption oInterruption(m_oDeadline);
        m_oConnection.emplace(sAddress.c_str());
    }
    m_oConnection->exit_on_disconnect(false);
    m_oConnection->add_filter(m_oFilter);
    DBus::CallMessage oHello = callOfBus("Hello");
    exchange(oHello, m_oDeadline);
}

void BusConnection::close()
{
    m_oConnection->disconnect();
    m_oWatches
        .dispatch_pending(); // it may have the connection queued, and lets only go of one that is closed
    m_lSignals.clear();
}

/// Sees every message before anybody else. Signals that somebody waits for go into the queue, for the library
/// would deliver all that has come at one time, however many they are. No exception may cross libdbus, which
/// calls this: what memory is missing for is lost, as it is beyond the bound.
bool BusConnection::take(const DBus::Message& a_oMessage)
{
    try {
        switch (a_oMessage.type()) {
        case DBUS_MESSAGE_TYPE_SIGNAL:
            if (m_oIsAwaited(a_oMessage)) {
                m_lSignals.push_back(a_oMessage);
            }
            return true;
        case DBUS_MESSAGE_TYPE_METHOD_RETURN:
        case DBUS_MESSAGE_TYPE_ERROR:
            takeReply(a_oMessage);
            return true;
        default:
            return false; // libdbus refuses calls
        }
    } catch (...) {
        return true;
    }
}

/// An answer that comes too late is nobody's.
void BusConnection::takeReply(const DBus::Message& a_oReply)
{
    const int iSerial = a_oReply.reply_serial();
    if (iSerial == m_iAsked) {
        m_oReply.emplace(a_oReply);
    } else if (m_lUnconfirmed.erase(iSerial) != 0 && a_oReply.is_error()) {
        m_oRefusal.emplace(a_oReply);
    }
}

int BusConnection::send(DBus::CallMessage& a_oCall)
{
    checkNames(a_oCall);
    unsigned iSerial = 0;
    if (!isOpen() || !m_oConnection->send(a_oCall, &iSerial)) {
        throw std::runtime_error("the connection to the bus has gone");
    }
    return static_cast<int>(iSerial);
}

bool BusConnection::await(const std::function<bool()>& a_oCondition, Clock::time_point a_oDeadline)
{
    const WaitTime::Count oCount(m_oWaitTime);
    while (!a_oCondition()) {
        const auto oLeft = std::chrono::ceil<milliseconds>(a_oDeadline - Clock::now());
        if (oLeft.count() <= 0 || !isOpen()) {
            return false;
        }
        m_oWatches.wait(oLeft);
    }
    return true;
}

DBus::Message BusConnection::exchange(DBus::CallMessage& a_oCall, Clock::time_point a_oDeadline)
{
    m_oReply.reset();
    m_iAsked = send(a_oCall);
    const bool bAnswered = await([this] { return m_oReply.has_value(); }, a_oDeadline);
    m_iAsked = 0;
    if (!bAnswered) {
        throw NoAnswer(isOpen() ? std::string(a_oCall.destination()) + " does not answer"
                                : "the connection to the bus has gone");
    }
    DBus::Message oReply = *std::exchange(m_oReply, std::nullopt);
    if (oReply.is_error()) {
        throw DBus::Error(oReply);
    }
    return oReply;
}

DBus::Message BusConnection::ask(DBus::CallMessage& a_oCall)
{
    if (!m_oWaitTime.mayWait()) {
        throw std::runtime_error("the time to wait for the bus is used up");
    }
    return exchange(a_oCall, Clock::now() + WaitTime::c_oLongest);
}

bool BusConnection::hasOwner(const std::string& a_sName)
{
    DBus::CallMessage oCall = callOfBus("NameHasOwner");
    append(oCall, a_sName);
    try {
        const DBus::Message oReply = ask(oCall);
        return oReply.reader().get_bool();
    } catch (const NoAnswer&) {
        close();
        throw;
    }
}

int BusConnection::sendMatch(const char* a_pMethod, const std::string& a_sRule)
{
    DBus::CallMessage oCall = callOfBus(a_pMethod);
    append(oCall, a_sRule);
    return send(oCall);
}

void BusConnection::addMatch(const std::string& a_sRule)
{
    m_lUnconfirmed.insert(sendMatch("AddMatch", a_sRule));
}

void BusConnection::removeMatch(const std::string& a_sRule)
{
    sendMatch("RemoveMatch", a_sRule);
}

void BusConnection::confirmMatches(Clock::time_point a_oDeadline)
{
    if (!await([this] { return m_lUnconfirmed.empty(); }, a_oDeadline) && isOpen()) {
        throw NoAnswer("the bus does not answer");
    }
    if (m_oRefusal) {
        throw DBus::Error(*m_oRefusal);
    }
}

void BusConnection::read(std::size_t a_iEnough)
{
    const WaitTime::Count oCount(m_oWaitTime);
    const auto oEnd = Clock::now() + c_oMostRest;
    Clock::duration oWaited{};
    std::size_t iBefore = 0;
    bool bReady = true;
    do {
        iBefore = m_lSignals.size();
        const auto oStart = Clock::now();
        bReady = m_oWatches.wait(iBefore >= c_iBurst && oWaited < c_oMostSilence ? c_oLull : milliseconds(0));
        oWaited += Clock::now() - oStart;
    } while (bReady && m_lSignals.size() < a_iEnough && (m_lSignals.size() > iBefore || Clock::now() < oEnd));
}

} // namespace zel

#include "soak/session.h"

#include <algorithm>

namespace soak {

namespace {

constexpr std::chrono::milliseconds c_oAtOnce{0};

} // namespace

Session::Session(World& a_oWorld, std::string a_sName, Random a_oRandom)
    : m_oWorld(a_oWorld),
      m_sName(std::move(a_sName)),
      m_oRandom(a_oRandom)
{
}

bool Session::connect()
{
    m_pConnection =
        std::make_unique<Connection>(Connection::Options{m_oWorld.m_sSocket, m_sName, c_oAnswerTimeout});
    m_pConnection->onTransactionLost(
        [this](const std::string&) { count("transaction lost, and its owner told"); });
    m_bSubscribed = false;
    m_bInTransaction = false;
    const auto oStatus = m_pConnection->connect();
    count("connect", oStatus, c_iOk);
    return oStatus.ok();
}

bool Session::subscribe(const systema::NameList& a_lTables, bool a_bTellAtOnce)
{
    const auto oStatus = m_pConnection->subscribe(a_lTables, a_bTellAtOnce);
    count("subscribe", oStatus, c_iOk);
    m_bSubscribed = true;
    return oStatus.ok();
}

void Session::unsubscribe()
{
    count("unsubscribe", m_pConnection->unsubscribe(), c_iOk);
    m_bSubscribed = false;
}

bool Session::pause(std::chrono::milliseconds a_oMean)
{
    const auto oTime = m_oRandom.pause(a_oMean);
    return m_bSubscribed ? waitForChanges(oTime) : m_oWorld.pause(oTime);
}

bool Session::waitForChanges(std::chrono::milliseconds a_oTime, const char* a_pTable)
{
    const auto oEnd = Clock::now() + a_oTime;
    while (!m_oWorld.isOver()) {
        const auto oRest = std::chrono::ceil<std::chrono::milliseconds>(oEnd - Clock::now());
        const auto oChange = m_pConnection->waitForChange(std::clamp(oRest, c_oAtOnce, c_oSlice));
        if (!oChange.ok()) {
            fault("waiting for changes: " + std::string(oChange.text()));
            return true;
        }
        if (*oChange) {
            count("notification received");
        }
        if ((a_pTable != nullptr && *oChange == a_pTable) || oRest <= c_oAtOnce) {
            return true;
        }
    }
    return false;
}

void Session::count(const std::string& a_sKind, const Status& a_oStatus, Codes a_iAllowed,
                    const std::string& a_sOf)
{
    m_oWorld.m_oTally.count(a_sKind, a_oStatus, a_iAllowed, m_sName + ": " + a_sKind + ' ' + a_sOf);
}

} // namespace soak

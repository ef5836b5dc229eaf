#include "configmanager/configservicemanager.h"

#include "systema/persistscript.h"
#include "systema/wire.h"
#include "zel/log.h"
#include "zel/logclient.h"

#include <sys/socket.h>
#include <unistd.h>

namespace zel::cfg {

using systema::EDataType;
using systema::EResultCode;
using systema::Value;

namespace {

constexpr const char* c_pModule = "ConfigService";
static_assert(c_iMaxConnections < systema::net::EventDispatcher::c_iEventsPerWait);

uid_t peerUser(int a_iSocket)
{
    ucred oCredentials{};
    socklen_t iSize = sizeof oCredentials;
    const int iError = ::getsockopt(a_iSocket, SOL_SOCKET, SO_PEERCRED, &oCredentials, &iSize);
    return iError == 0 ? oCredentials.uid : static_cast<uid_t>(-1);
}

void sendBusy(int a_iSocket)
{
    std::string sFrame;
    systema::wire::Writer oWriter(sFrame);
    oWriter.begin(systema::wire::EKind::Reply, systema::wire::EOperation::Hello, 0, EResultCode::Busy);
    oWriter.end();
    (void)!::send(a_iSocket, sFrame.data(), sFrame.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

} // namespace

ConfigServiceManager::ConfigServiceManager(systema::net::EventDispatcher& a_oEventDispatcher,
                                           unsigned a_iFairness, configmanager::serverlib::ILogger* a_pLogger)
    : m_oEventDispatcher(a_oEventDispatcher),
      m_oDispatcher(systema::ConfigDispatcher::instance()),
      m_oTurns(a_oEventDispatcher),
      m_iFairness(a_iFairness),
      m_iModule(ZEL_Sysloglevel_registerModul(c_pModule))
{
    if (a_pLogger != nullptr) {
        a_pLogger->registerModule(c_pModule, ZEL_Sysloglevel_getTracelevel(c_pModule));
    }
    m_oDispatcher.setTransactionObserver(this);
}

ConfigServiceManager::~ConfigServiceManager()
{
    closeConnections();
}

void ConfigServiceManager::closeConnections()
{
    m_oDispatcher.setTransactionObserver(nullptr);
    m_mSessions.clear();
}

void ConfigServiceManager::takeConnection(zel::UniqueFd a_oSocket)
{
    const uid_t iUser = peerUser(a_oSocket.get());
    std::size_t& iOfUser = m_mShares[iUser].m_iSessions;
    if (m_mSessions.size() >= c_iMaxConnections || (iUser != 0 && iOfUser >= c_iMaxConnectionsPerUser)) {
        const LogClient oMark(iUser);
        ZEL_Sysloglevel_warning(m_iModule, zel::here(), "Connection of user %u refused: too many",
                                static_cast<unsigned>(iUser));
        sendBusy(a_oSocket.get());
        return;
    }
    auto pSession = std::make_unique<ClientSession>(*this, std::move(a_oSocket), iUser);
    ClientSession& oSession = *pSession;
    m_mSessions.emplace(&oSession, std::move(pSession));
    ++iOfUser; // not before: what precedes may throw
    oSession.start();
}

void ConfigServiceManager::closeSession(ClientSession& a_oSession)
{
    auto oNode = m_mSessions.extract(&a_oSession);
    const uid_t iUser = a_oSession.getUser();
    oNode = {}; // it gives back what it keeps
    if (auto it = m_mShares.find(iUser); --it->second.m_iSessions == 0) {
        m_mShares.erase(it);
    }
}

bool ConfigServiceManager::keep(uid_t a_iUser, std::size_t a_iBefore, std::size_t a_iNow)
{
    std::size_t& iOfUser = m_mShares[a_iUser].m_iKept;
    iOfUser += a_iNow - a_iBefore;
    m_iKept += a_iNow - a_iBefore;
    const bool bRoom = m_iKept <= c_iKeptLimit && (a_iUser == 0 || iOfUser <= c_iKeptLimitPerUser);
    return a_iNow <= a_iBefore || bRoom;
}

void ConfigServiceManager::transactionLost(const void* a_pHandle, const char* a_pReason)
{
    auto it = m_mSessions.find(static_cast<const ClientSession*>(a_pHandle));
    if (it != m_mSessions.end()) {
        it->second->sendTransactionLost(a_pReason);
    }
}

void ConfigServiceManager::transactionEnded()
{
    // Who waits begins only after a pass has sent the notifications, so that transactions that follow each
    // other closely cannot keep changes from being told.
    if (hasQueue()) {
        m_oEventDispatcher.endPass();
    }
}

void ConfigServiceManager::transactionFree()
{
    if (hasQueue()) {
        ClientSession& oSession = *m_lWaiting.front();
        const EResultCode eResult = m_oDispatcher.startTransaction(&oSession);
        if (eResult == EResultCode::Busy) {
            return; // another process holds a database: the wait goes on
        }
        oSession.finishBegin(eResult);
        if (!m_oDispatcher.isTransactionOpen()) {
            // It could not begin, and the next one may; or the requests behind its begin have ended it
            // already, and what they changed is to be told.
            m_oEventDispatcher.endPass();
        }
    }
}

void ConfigServiceManager::transactionLocked()
{
    while (hasQueue()) {
        m_lWaiting.front()->finishBegin(EResultCode::Locked);
    }
}

void ConfigServiceManager::dropCache()
{
    std::string().swap(m_sWriteBuffer);
}

systema::ValueList ConfigServiceManager::getInfo() const
{
    const auto oUptime = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - m_oStart);
    systema::NameList lTables;
    m_oDispatcher.getTables(lTables, this);
    const auto oNumber = [](auto a_iValue) { return Value(EDataType::Unsigned, static_cast<int>(a_iValue)); };
    systema::ValueList lInfo;
    lInfo.add("Version", Value(EDataType::Text, LEDGERD_VERSION));
    lInfo.add("Protocol", oNumber(systema::wire::c_iVersion));
    lInfo.add("Pid", oNumber(::getpid()));
    lInfo.add("Uptime", oNumber(oUptime.count()));
    lInfo.add("Tables", oNumber(lTables.size()));
    lInfo.add("Clients", oNumber(m_mSessions.size()));
    lInfo.add("Requests", oNumber(m_iRequests));
    lInfo.add("Notifications", oNumber(m_oDispatcher.getStatistics().m_iNotifications));
    lInfo.add("Transactions", oNumber(m_oDispatcher.getStatistics().m_iTransactions));
    lInfo.add("TransactionOpen", oNumber(m_oDispatcher.isTransactionOpen()));
    lInfo.add("TransactionsWaiting", oNumber(m_lWaiting.size()));
    lInfo.add("Locked", oNumber(m_oDispatcher.isLocked()));
    if (const PersistScript* pScript = m_oDispatcher.getPersistScript()) {
        lInfo.add("PersistMode", Value(EDataType::Text, pScript->getPersistModeName()));
        lInfo.add("WaitTime", oNumber(pScript->getWaitTime().count()));
        lInfo.add("Unsaved", oNumber(pScript->isUnsaved()));
    }
    return lInfo;
}

} // namespace zel::cfg

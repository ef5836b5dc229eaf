#include "status/statusinfoplugin.h"

#include "status/dhcpleases.h"
#include "status/dnscache.h"
#include "status/dslstatus.h"
#include "status/fileplugin.h"
#include "status/firewall.h"
#include "status/interfacecounter.h"
#include "status/interfaces.h"
#include "status/ipconntrack.h"
#include "status/iproute.h"
#include "status/ipv6addresses.h"
#include "status/passwd.h"
#include "status/pppstatus.h"
#include "status/wlanscan.h"
#include "systema/configdispatcher.h"
#include "systema/positioncursor.h"
#include "systema/rowsnapshot.h"
#include "zel/exception.h"
#include "zel/log.h"
#include "zel/systempath.h"

namespace zel {

using systema::EResultCode;
using systema::NameList;

namespace {

constexpr unsigned c_iLeaseLimit = 100;
const unsigned long c_iNoVersion = 0; // never moves: the rows of a copy are read without a pause

/// Holds a sub-plugin for as long as it lives.
class Hold
{
public:
    explicit Hold(IStatusInfoSubPlugin& a_oPlugin) : m_oPlugin(a_oPlugin) { m_oPlugin.hold(true); }
    ~Hold() { m_oPlugin.hold(false); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    IStatusInfoSubPlugin& m_oPlugin;
};

/// Serves the columns of a table without rows.
class NoRows : public systema::IRowCursor
{
public:
    explicit NoRows(NameList a_lColumns) : m_lColumns(std::move(a_lColumns)) {}

    const NameList& getColumns() const override { return m_lColumns; }
    EResultCode fetch(systema::IRowSink&) override { return EResultCode::NoRow; }

private:
    const NameList m_lColumns;
};

/// Opens a bulk read of a table without rows. Unknown columns become what they become when there are rows.
EResultCode openNoRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, IStatusInfoSubPlugin& a_oPlugin,
                       const std::string& a_sTable, const NameList& a_lWanted)
{
    systema::ColumnList lSchema;
    const EResultCode eResult = a_oPlugin.getSchema(lSchema, a_sTable);
    NameList lColumns;
    for (const auto& sName : a_lWanted) {
        if (lSchema.getColumn(sName) != nullptr || a_oPlugin.hasHiddenColumn(sName)) {
            lColumns.add(sName);
        } else if (!a_oPlugin.skipsUnknownColumns()) {
            return EResultCode::NoKey;
        }
    }
    if (a_lWanted.empty()) {
        for (const auto& [sName, eType] : lSchema) {
            lColumns.add(sName);
        }
    }
    a_pCursor = std::make_unique<NoRows>(std::move(lColumns));
    return eResult;
}

} // namespace

StatusInfoPlugin::StatusInfoPlugin(const std::vector<std::string>& a_lFiles, SystemBus& a_oBus, bool,
                                   configmanager::serverlib::ILogger* a_pLogger, BootClock a_oNow)
    : m_iModule(ZEL_Sysloglevel_registerModul("StatusInfo")),
      m_oNow(std::move(a_oNow)),
      m_oPppHelper(systema::ConfigDispatcher::instance()),
      m_oBus(a_oBus),
      m_oInterfaceStatus(a_oBus),
      m_oIPv4(a_oBus),
      m_oIPv6(a_oBus),
      m_oConfigMapper(systema::ConfigDispatcher::instance(), systema::ConfigDispatcher::instance()),
      m_oDnsMasq(a_oBus),
      m_oDomainNameServer(a_oBus),
      m_oSwitchInterfaceStatus(a_oBus),
      m_oNeighbour(a_oBus),
      m_oIPv4Route(a_oBus),
      m_oIPv6Route(a_oBus)
{
    // The order is that of the fan-out. A comment in between names what a board may add there.
    auto& oDispatcher = systema::ConfigDispatcher::instance();
    add(std::make_unique<DslStatus>());
    add(std::make_unique<Interfaces>(oDispatcher, oDispatcher, m_oInterfaceStatus, m_oIPv4, m_oIPv6));
    add(std::make_unique<InterfaceCounter>(oDispatcher, m_oInterfaceStatus, m_oIPv4, m_oIPv6));
    // LAN clients and neighbours, from m_oNeighbour; the shutdown event saves their changes
    add(std::make_unique<IPv6Addresses>());
    add(std::make_unique<WlanScan>(m_oNow));
    add(std::make_unique<DnsCache>(m_oDnsMasq, m_oNow));
    auto pLeases = std::make_unique<DhcpLeases>(oDispatcher, a_pLogger, c_iLeaseLimit);
    m_oDnsMasq.registerPlugin(pLeases.get());
    add(std::move(pLeases));
    // IPTV streams
    add(std::make_unique<Firewall>(oDispatcher));
    add(std::make_unique<PppStatus>(m_oPppHelper, systemPath("/etc/ppp/peers/"), oDispatcher, m_oNow));
    // switch ports, with the flag
    add(std::make_unique<IpConntrack>(oDispatcher, oDispatcher, m_oNow));
    auto pFiles = std::make_unique<FilePlugin>();
    for (const auto& sFile : a_lFiles) {
        pFiles->addFile(sFile, FilePlugin::createFile(sFile, ""));
    }
    add(std::move(pFiles));
    add(std::make_unique<Passwd>(m_oNow));
    // DNS client servers, from m_oDomainNameServer; switch, from m_oSwitchInterfaceStatus
    auto pRoutes = std::make_unique<IPRoute>();
    m_oIPv4Route.registerPlugin(pRoutes.get());
    m_oIPv6Route.registerPlugin(pRoutes.get());
    m_oIPv4Route.setOnMissed([&oRoutes = *pRoutes] { oRoutes.setChanged(); });
    m_oIPv6Route.setOnMissed([&oRoutes = *pRoutes] { oRoutes.setChanged(); });
    add(std::move(pRoutes));
}

StatusInfoPlugin::~StatusInfoPlugin()
{
    while (!m_oPluginList.empty()) {
        m_oPluginList.pop_front();
    }
    m_oEvents.clear();
}

IStatusInfoSubPlugin* StatusInfoPlugin::findPlugin(const std::string& a_sTable) const
{
    for (const auto& pPlugin : m_oPluginList) {
        if (pPlugin->hasTable(a_sTable)) {
            return pPlugin.get();
        }
    }
    return nullptr;
}

/// Calls every sub-plugin in order, the others also when one throws.
template<typename Operation>
void StatusInfoPlugin::callAll(const char* a_pName, Operation a_oOperation) const
{
    for (const auto& pPlugin : m_oPluginList) {
        try {
            a_oOperation(*pPlugin);
        } catch (...) {
            NameList lTables;
            pPlugin->getTableNames(lTables);
            ZEL_Sysloglevel_error(m_iModule, here(), "%s of %s failed: %s", a_pName,
                                  lTables.empty() ? "no table" : lTables[0].c_str(),
                                  error::describeException());
        }
    }
}

template<typename Operation>
EResultCode StatusInfoPlugin::route(const void* a_pHandle, const std::string& a_sTable,
                                    Operation a_oOperation, SourceTag a_oSource)
{
    assertCall(a_pHandle, a_oSource);
    IStatusInfoSubPlugin* pPlugin = findPlugin(a_sTable);
    return pPlugin == nullptr ? EResultCode(EResultCode::NoTable) : a_oOperation(*pPlugin);
}

void StatusInfoPlugin::getTables(NameList& a_lTables, const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& pPlugin : m_oPluginList) {
        pPlugin->getTableNames(a_lTables);
    }
}

EResultCode StatusInfoPlugin::getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                        const std::string& a_sTable)
{
    return route(a_pHandle, a_sTable,
                 [&](IStatusInfoSubPlugin& a_oPlugin) { return a_oPlugin.getSchema(a_lColumns, a_sTable); });
}

EResultCode StatusInfoPlugin::describe(systema::TableDescription& a_oDescription, const std::string& a_sTable)
{
    return route(this, a_sTable, [&](IStatusInfoSubPlugin& a_oPlugin) {
        if (!a_oPlugin.announces(a_sTable)) {
            systema::setUnannounced(a_oDescription);
        }
        return EResultCode();
    });
}

EResultCode StatusInfoPlugin::getSize(unsigned int& a_iSize, const void* a_pHandle,
                                      const std::string& a_sTable)
{
    return route(a_pHandle, a_sTable,
                 [&](IStatusInfoSubPlugin& a_oPlugin) { return a_oPlugin.getRowCount(a_sTable, a_iSize); });
}

EResultCode StatusInfoPlugin::selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                        const std::string& a_sTable, unsigned int a_iIndex,
                                        const NameList& a_lColumns)
{
    return route(a_pHandle, a_sTable, [&](IStatusInfoSubPlugin& a_oPlugin) {
        return a_oPlugin.getRow(a_sTable, a_lRow, a_iIndex, a_lColumns);
    });
}

EResultCode StatusInfoPlugin::selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                        const std::string& a_sTable, const std::string& a_sKeyColumn,
                                        const std::string& a_sKeyValue, const NameList& a_lColumns)
{
    return route(a_pHandle, a_sTable, [&](IStatusInfoSubPlugin& a_oPlugin) {
        return a_oPlugin.getRowByKey(a_sTable, a_lRow, a_sKeyColumn, a_sKeyValue, a_lColumns);
    });
}

EResultCode StatusInfoPlugin::openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, const void* a_pHandle,
                                       const std::string& a_sTable, unsigned int a_iFirst,
                                       unsigned int a_iCount, const NameList& a_lColumns)
{
    return route(a_pHandle, a_sTable, [&](IStatusInfoSubPlugin& a_oPlugin) {
        EResultCode eResult = a_oPlugin.openRows(a_pCursor, a_sTable, a_iFirst, a_iCount, a_lColumns);
        if (eResult != EResultCode::Success || a_pCursor) {
            return eResult;
        }
        unsigned int iSize = 0;
        eResult = a_oPlugin.getRowCount(a_sTable, iSize); // reads the source, before it is held
        if (eResult == EResultCode::Success && iSize == 0) {
            return openNoRows(a_pCursor, a_oPlugin, a_sTable, a_lColumns);
        }
        if (eResult == EResultCode::Success && a_oPlugin.announcesEveryChange()) {
            return eResult;
        }
        const Hold oHold(a_oPlugin);
        std::unique_ptr<systema::IRowCursor> pRows;
        if (eResult == EResultCode::Success) {
            eResult = systema::PositionCursor::open(pRows, *this, a_pHandle, a_sTable, a_iFirst, a_iCount,
                                                    a_lColumns, c_iNoVersion);
        }
        return eResult == EResultCode::Success ? systema::RowSnapshot::take(a_pCursor, *pRows) : eResult;
    });
}

void StatusInfoPlugin::tick(NameList& a_lChangedTables)
{
    const std::time_t iNow = m_oNow();
    if (iNow - m_iLastUpdate < c_iUpdateSeconds) {
        return;
    }
    m_oBus.iterate();
    callAll("update", [&](IStatusInfoSubPlugin& a_oPlugin) { a_oPlugin.update(a_lChangedTables); });
    m_iLastUpdate = iNow;
}

bool StatusInfoPlugin::initialize()
{
    if (!m_bStarted) {
        callAll("init", [](IStatusInfoSubPlugin& a_oPlugin) { a_oPlugin.init(); });
        m_bStarted = true;
    }
    return true;
}

EResultCode StatusInfoPlugin::startTransaction(const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& pPlugin : m_oPluginList) {
        const EResultCode eResult = pPlugin->startTransaction();
        if (eResult != EResultCode::Success) {
            return eResult;
        }
    }
    return EResultCode::Success;
}

EResultCode StatusInfoPlugin::commitTransaction(const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& pPlugin : m_oPluginList) {
        pPlugin->commitTransaction();
    }
    return EResultCode::Success;
}

EResultCode StatusInfoPlugin::rollbackTransaction(const void* a_pHandle)
{
    assertCall(a_pHandle);
    for (const auto& pPlugin : m_oPluginList) {
        pPlugin->rollbackTransaction();
    }
    return EResultCode::Success;
}

} // namespace zel

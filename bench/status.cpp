#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/network.h"
#include "bench/requests.h"
#include "bench/sqlite.h"
#include "bench/statuslimits.h"
#include "status/statusinfoplugin.h"
#include "storage/sqliteplugin.h"
#include "systema/configdispatcher.h"

#include <thread>

namespace bench {

namespace {

constexpr int c_iDevices = 8;
constexpr int c_iUpdates = 100;       // in a round
constexpr int c_iBursts = 5;          // in a round
constexpr unsigned c_iSignals = 1000; // in a burst
constexpr int c_iReads = 50;          // in a round
constexpr auto c_oLongestWait = std::chrono::seconds(10);
constexpr auto c_oRetryPause = std::chrono::milliseconds(10);

/// A signal without a receiver in the daemon, which yet is as long as StatusChange.
constexpr const char* c_pOtherService = "com.kestrane.network.SwitchPortStatus";
constexpr const char* c_pOtherSignal = "portStatusChanged";

std::string numbered(const char* a_pName, int a_iNumber)
{
    return a_pName + std::to_string(a_iNumber);
}

/// Makes the stored table of the devices whose status is watched.
void createDevices(const std::filesystem::path& a_oDirectory, const std::vector<std::string>& a_lDevices)
{
    const Sqlite oDatabase(a_oDirectory / c_pDatabase);
    oDatabase.run("CREATE TABLE StatusNetifConfig (Id INTEGER PRIMARY KEY, Name VARCHAR(16) NOT NULL)");
    const auto pInsert = oDatabase.prepare("INSERT INTO StatusNetifConfig (Name) VALUES (?)");
    for (const auto& sDevice : a_lDevices) {
        pInsert->bind(1, sDevice);
        pInsert->run();
    }
}

/// Eight devices in the kernel, each with an address of both families.
std::vector<std::string> makeDevices()
{
    std::vector<std::string> lDevices;
    std::string sCommands;
    for (int i = 0; i < c_iDevices; ++i) {
        const std::string sDevice = lDevices.emplace_back(numbered("port", i));
        sCommands += "link add " + sDevice + " type bridge\nlink set " + sDevice + " up\n";
        sCommands += "address add 192.0.2." + std::to_string(i + 1) + "/32 dev " + sDevice + "\n";
        sCommands += "address add 2001:db8::" + std::to_string(i + 1) + "/128 nodad dev " + sDevice + "\n";
    }
    Network::ip(sCommands);
    return lDevices;
}

/// The daemon's live-status tables in this process, with a clock of their own.
class Host
{
public:
    explicit Host(const std::vector<std::string>& a_lDevices)
    {
        createDevices(m_oWorkspace.path(), a_lDevices);
        m_oStored.emplace(m_oWorkspace.path(), c_pDatabase, true, true, true);
        m_oDispatcher.attachTables(*m_oStored);
        m_oDispatcher.attachTables(m_oPlugin);
        m_oDispatcher.initialize();
        update();
    }

    /// Returns the number of tables that changed.
    std::size_t update()
    {
        m_iNow += zel::StatusInfoPlugin::c_iUpdateSeconds;
        systema::NameList lChanged;
        m_oPlugin.tick(lChanged);
        return lChanged.size();
    }

    unsigned upCount(const std::string& a_sDevice)
    {
        systema::ValueList lRow;
        check(m_oPlugin.selectKey(lRow, this, "NetifCounter", "Name", a_sDevice, {"Up"}) ==
                  systema::EResultCode::Success,
              "a device is not counted");
        return lRow.getValue("Up").getUnsigned();
    }

private:
    const Workspace m_oWorkspace;
    systema::ConfigDispatcher& m_oDispatcher = systema::ConfigDispatcher::instance();
    std::optional<systema::SqlitePlugin> m_oStored;
    std::time_t m_iNow = 0;
    zel::SystemBus m_oBus;
    zel::StatusInfoPlugin m_oPlugin{{}, m_oBus, false, nullptr, [this] { return m_iNow; }};
};

// -------------------------------------------------------------------------------------------------------------
// Bulk reads

const char* nameOf(EStatusTable a_eTable)
{
    switch (a_eTable) {
    case EStatusTable::NetifCounter:
        return "NetifCounter";
    case EStatusTable::StatusNetifWatch:
        return "StatusNetifWatch";
    case EStatusTable::RouteIPv4:
        return "RouteIPv4";
    case EStatusTable::DhcpLeases:
        return "DhcpLeases";
    case EStatusTable::StatusNetIfIPv6Addresses:
        return "StatusNetIfIPv6Addresses";
    }
    return "";
}

std::string address(int a_iNumber)
{
    return "10.0." + std::to_string(a_iNumber / 256) + "." + std::to_string(a_iNumber % 256);
}

/// What the daemon reads at its start.
void fillKernel(EStatusTable a_eTable, int a_iRows)
{
    std::string sCommands;
    for (int i = 1; i <= a_iRows; ++i) {
        if (a_eTable == EStatusTable::RouteIPv4) {
            sCommands += "route add " + address(i) + " dev lo\n";
        } else if (a_eTable == EStatusTable::StatusNetIfIPv6Addresses && i > 1) { // the first is ::1
            sCommands += "address add fd00::" + std::to_string(i) + "/128 nodad dev lo\n";
        }
    }
    Network::ip(sCommands);
}

/// What the daemon is told while it runs.
void tell(Network& a_oNetwork, EStatusTable a_eTable, int a_iRows)
{
    for (int i = 1; i <= a_iRows; ++i) {
        if (a_eTable == EStatusTable::NetifCounter) {
            a_oNetwork.emit("StatusChange", {numbered("port", i), "true"});
        } else if (a_eTable == EStatusTable::DhcpLeases) {
            a_oNetwork.emit("DhcpLeaseAdded", {address(i), "02:00:5e:00:" + std::to_string(1000 + i),
                                               numbered("laptop-", i), "udhcp 1.36", "86400"});
        }
    }
}

void awaitRows(Connection& a_oConnection, const char* a_pTable, int a_iRows)
{
    const auto oEnd = Clock::now() + c_oLongestWait;
    unsigned iSize = 0;
    while ((iSize = *a_oConnection.call(request::GetSize{a_pTable})) != static_cast<unsigned>(a_iRows)) {
        check(Clock::now() < oEnd, std::string(a_pTable) + " has " + std::to_string(iSize) + " rows");
        std::this_thread::sleep_for(c_oRetryPause);
    }
}

/// Makes a stored table with these columns and cells.
void copyTable(const std::filesystem::path& a_oDirectory, const char* a_pTable,
               const systema::client::Rows& a_lRows)
{
    const Sqlite oDatabase(a_oDirectory / c_pDatabase);
    std::string sColumns;
    std::string sValues;
    for (std::size_t i = 0; i < a_lRows.columns().size(); ++i) {
        const bool bText = a_lRows[0].m_lCells[i].m_iType == systema::EDataType::Text;
        sColumns += (i > 0 ? ", " : "") + a_lRows.columns()[i] + (bText ? " TEXT" : " INTEGER") +
                    (i > 0 ? "" : " PRIMARY KEY");
        sValues += i > 0 ? ", ?" : "?";
    }
    const std::string sTable = a_pTable;
    oDatabase.run("BEGIN");
    oDatabase.run("CREATE TABLE " + sTable + " (" + sColumns + ")");
    const auto pInsert = oDatabase.prepare("INSERT INTO " + sTable + " VALUES (" + sValues + ")");
    for (std::size_t iRow = 0; iRow < a_lRows.size(); ++iRow) {
        int iParameter = 0;
        for (const auto& oCell : a_lRows[iRow].m_lCells) {
            if (oCell.m_iType == systema::EDataType::Text) {
                pInsert->bind(++iParameter, std::string(oCell.m_sText));
            } else {
                pInsert->bind(++iParameter, static_cast<int>(oCell.m_iNumber));
            }
        }
        pInsert->run();
    }
    oDatabase.run("COMMIT");
}

} // namespace

Outcome updateUnchanged(const Effort& a_oEffort)
{
    return measureInNetwork([&](Network&) {
        Host oHost(makeDevices());
        Kernel oKernel;
        const int iTimes = a_oEffort.times(c_iUpdates);
        return compare(
            a_oEffort, [&] { return medianTime(iTimes, [&] { oKernel.readIPv6Addresses(); }); },
            [&] { return medianTime(iTimes, [&] { check(oHost.update() == 0, "something changed"); }); });
    });
}

Outcome updateChanged(const Effort& a_oEffort)
{
    return measureInNetwork([&](Network& a_oNetwork) {
        const auto lDevices = makeDevices();
        Host oHost(lDevices);
        Kernel oKernel;
        PlainBus oBus;
        const auto askAll = [&] {
            for (const auto& sDevice : lDevices) {
                oBus.askLinkStatus(sDevice);
                oKernel.askLink(sDevice);
            }
            oKernel.readIPv6Addresses();
        };
        const auto timeOfUpdate = [&] {
            for (const auto& sDevice : lDevices) {
                a_oNetwork.emit("StatusChange", {sDevice, "true"});
            }
            return timeOf([&] { check(oHost.update() == 2, "not both tables changed"); });
        };
        const int iTimes = a_oEffort.times(c_iUpdates);
        return compare(
            a_oEffort, [&] { return medianTime(iTimes, askAll); },
            [&] { return medianOf(iTimes, timeOfUpdate); });
    });
}

Outcome signalBurst(const Effort& a_oEffort)
{
    return measureInNetwork([&](Network& a_oNetwork) {
        const std::string sDevice = "port0";
        Host oHost({sDevice});
        PlainBus oBus;
        oBus.listen(c_pOtherService);
        const auto timeOfReceiver = [&] {
            a_oNetwork.emit(c_pOtherSignal, {sDevice, "true"}, c_iSignals, "sb");
            return timeOf([&] { oBus.receive(c_pOtherSignal, c_iSignals); });
        };
        const auto timeOfHost = [&] {
            const unsigned iBefore = oHost.upCount(sDevice);
            a_oNetwork.emit("StatusChange", {sDevice, "true"}, c_iSignals);
            return timeOf([&] {
                oHost.update();
                check(oHost.upCount(sDevice) == iBefore + c_iSignals, "one update is not enough");
            });
        };
        const int iTimes = a_oEffort.times(c_iBursts);
        return compare(
            a_oEffort, [&] { return medianOf(iTimes, timeOfReceiver); },
            [&] { return medianOf(iTimes, timeOfHost); });
    });
}

Outcome readStatus(EStatusTable a_eTable, int a_iRows, const Effort& a_oEffort)
{
    return measureInNetwork([&](Network& a_oNetwork) {
        const char* pTable = nameOf(a_eTable);
        fillKernel(a_eTable, a_iRows);
        const Ledger oLive([&](const auto& a_oDirectory) {
            const bool bWatched = a_eTable == EStatusTable::StatusNetifWatch;
            createDevices(a_oDirectory, std::vector<std::string>(bWatched ? a_iRows : 0, "lo"));
        });
        const auto pLive = oLive.connect();
        tell(a_oNetwork, a_eTable, a_iRows);
        awaitRows(*pLive, pTable, a_iRows);
        const auto readAll = [&](Connection& a_oConnection) {
            auto oRows = a_oConnection.call(request::SelectRows{pTable});
            check(oRows.ok() && oRows->size() == static_cast<std::size_t>(a_iRows), "a bulk read fails");
            return std::move(*oRows);
        };
        const auto lRows = readAll(*pLive);
        const Ledger oStored([&](const auto& a_oDirectory) { copyTable(a_oDirectory, pTable, lRows); });
        const auto pStored = oStored.connect();
        const int iTimes = a_oEffort.times(c_iReads);
        return compare(
            a_oEffort, [&] { return medianTime(iTimes, [&] { readAll(*pStored); }) / a_iRows; },
            [&] { return medianTime(iTimes, [&] { readAll(*pLive); }) / a_iRows; });
    });
}

} // namespace bench

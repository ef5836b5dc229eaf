// The table "IpConntrack": the TCP and UDP connections that the LAN's clients have opened, as the kernel's
// connection tracker lists them.
//
// Owned by the status host. Main thread only. A count or a read reads the whole list, at most every six
// seconds. A list that takes longer than a slice is read in several: until it is whole the request is
// pending, and other clients are served in between. The list is kept while somebody reads it, and given back
// soon after. A bulk read shows the list that it began with, and ends with 2 once that was replaced. The
// addressing of the LAN is read when a change of "StatusNetifWatch" is notified, and is unknown before.
#pragma once

#include "status/connectionreading.h"
#include "status/istatusinfosubplugin.h"
#include "status/readinterval.h"
#include "systema/configpluginbase.h"
#include "systema/configpublisher.h"
#include "zel/memory.h"

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <string>

namespace zel {

class IpConntrack : public IStatusInfoSubPlugin, public systema::IConfigSubscriber, public Cache
{
public:
    using Connection = zel::Connection;

    static constexpr const char* c_pPath = "/proc/net/nf_conntrack";
    static constexpr std::time_t c_iReadSeconds = 5;
    /// How long the list is read at a stretch, and how long others are served before the next.
    static constexpr std::chrono::milliseconds c_oSlice{30};
    static constexpr std::chrono::milliseconds c_oPause{10};

    /// The configuration and the publisher must outlive it.
    IpConntrack(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
                BootClock a_oNow, std::string a_sPath = c_pPath,
                std::chrono::milliseconds a_oSlice = c_oSlice);
    ~IpConntrack() override;

    /// Subscribes to "StatusNetifWatch", once.
    void init() override;
    bool hasTable(const std::string& a_sTable) const override { return a_sTable == c_pTable; }
    void getTableNames(systema::NameList& a_lTables) const override { a_lTables.add(std::string(c_pTable)); }
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;

    // Each of the reads gives 1, which is logged, when the list cannot be read, and is pending until it was.
    /// 0.
    systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) override;
    /// 0; 9 for an unknown column; 10 past the end.
    systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                unsigned int a_iPosition, const systema::NameList& a_lColumns) override;
    /// Every column is a key, "Id" that of the position. 0; 9 for an unknown column, key or not; 10.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    /// 0; 9 for an unknown column.
    systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor,
                                  const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                                  const systema::NameList& a_lColumns) override;
    /// Gives back what nobody reads any more. Connections come and go all the time: no change is announced.
    void update(systema::NameList& a_lChangedTables) override;
    bool announces(const std::string&) const override { return false; }

    void notify(const systema::NameList& a_lChangedTables) override;
    /// The list is read anew when the table is.
    void dropCache() override;

private:
    static constexpr const char* c_pTable = "IpConntrack";

    systema::EResultCode refresh();
    void discardList();
    systema::EResultCode read(systema::ValueList& a_lRow, std::size_t a_iPosition,
                              const systema::NameList& a_lColumns) const;
    void getInterfaces();
    bool readRow(systema::ValueList& a_lRow, const char* a_pTable, const std::string& a_sName,
                 const systema::NameList& a_lColumns);

    systema::ConfigPluginBase& m_oConfig;
    systema::IConfigPublisher& m_oPublisher;
    const std::string m_sPath;
    const std::chrono::milliseconds m_oSlice;
    const int m_iModule;
    std::string m_sLanAddress;
    std::string m_sBroadcastAddress;
    std::string m_sNetmask;
    bool m_bSubscribed = false;
    ReadInterval m_oInterval;
    std::shared_ptr<ConnectionList> m_pList = std::make_shared<ConnectionList>(); // bulk reads have it, too
    std::unique_ptr<ConnectionReading> m_pReading;                                // of the next list
    ConnectionReading::Clock::time_point m_oNextSlice;
    bool m_bUsed = false;          // since the last update
    bool m_bCut = false;           // the last list, which was logged
    std::size_t m_iMostListed = 0; // since memory was given back
};

} // namespace zel

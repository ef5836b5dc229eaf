// The tables "RouteIPv4" and "RouteIPv6": the kernel's main routing tables, as the tool "ip" lists them.
//
// Owned by the status host, which registers it with the wrappers of both route services. Main thread only.
// A family is read once at the start and then at the first update after a signal about it; requests never
// run the tool. While it fails, the family's table is empty and every update tries again; while it hangs, an
// update now and then.
#pragma once

#include "dbus/idbusipv4route.h"
#include "dbus/idbusipv6route.h"
#include "status/istatusinfosubplugin.h"
#include "status/routelist.h"
#include "zel/tool.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

class IPRoute : public IStatusInfoSubPlugin, public IDBusIPv4Route, public IDBusIPv6Route
{
public:
    using RouteEntry = zel::RouteEntry;

    /// Bytes of a list that can be read.
    static constexpr std::size_t c_iLongestList = 10240;

    explicit IPRoute(Tool a_oTool = Tool());

    void init() override;
    bool hasTable(const std::string& a_sTable) const override;
    void getTableNames(systema::NameList& a_lTables) const override;
    // Every read: 8 for an unknown table.
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) override;
    systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                unsigned int a_iPosition, const systema::NameList& a_lColumns) override;
    /// 0; 9 for an unknown column; 10 for an unknown key column too.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    void update(systema::NameList& a_lChangedTables) override;
    /// Both families are read at the next update.
    void setChanged() { m_oIPv4.m_bChanged = m_oIPv6.m_bChanged = true; }

    // What a signal says does not matter, only that it came.
    void NewIPv4Route(const std::string& a_sFirst, std::uint8_t a_iNumber, const std::string& a_sSecond,
                      const std::string& a_sThird, const std::string& a_sFourth,
                      std::uint32_t a_iLast) override;
    void RemovedIPv4Route(const std::string& a_sFirst, std::uint8_t a_iNumber, const std::string& a_sSecond,
                          const std::string& a_sThird, const std::string& a_sFourth,
                          std::uint32_t a_iLast) override;
    void NewIPv6Route(const std::string& a_sFirst, std::uint8_t a_iNumber, const std::string& a_sSecond,
                      const std::string& a_sThird) override;
    void RemovedIPv6Route(const std::string& a_sFirst, std::uint8_t a_iNumber, const std::string& a_sSecond,
                          const std::string& a_sThird) override;

private:
    struct Family
    {
        std::string_view m_sTable; // a literal
        const char* m_pCommand;
        const char* m_pInitError;
        std::vector<RouteEntry> m_lRoutes{};
        bool m_bChanged = false;
        bool m_bTooLong = false; // which was logged
    };

    Family* find(const std::string& a_sTable);
    bool read(Family& a_oFamily);

    Tool m_oTool;
    const int m_iModule;
    std::array<Family, 2> m_aFamilies;
    Family& m_oIPv4;
    Family& m_oIPv6;
    std::size_t m_iFirst = 0; // the family that the next update reads first
};

} // namespace zel

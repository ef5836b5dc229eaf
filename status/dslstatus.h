// The tables "StatusDsl" and "StatusDslRealtime": the state of the DSL line, one row each.
//
// Owned by the status host. Main thread only. The line is read at each update; requests never touch it.
// "StatusDslRealtime" follows every state, "StatusDsl" only whether data flows, so that those who watch it
// are not woken while the line trains.
#pragma once

#include "device/dslapi.h"
#include "status/istatusinfosubplugin.h"

#include <cstdint>
#include <string>

namespace zel {

class DslStatus : public IStatusInfoSubPlugin
{
public:
    static constexpr const char* getTableName() { return "StatusDsl"; }
    static constexpr const char* getTableNameRealtime() { return "StatusDslRealtime"; }

    struct Row
    {
        std::uint32_t m_iLineState = 0;
        std::string m_sMode{};             // empty outside of showtime
        std::uint32_t m_iRateUpstream = 0; // kilobits per second, 0 outside of showtime
        std::uint32_t m_iRateDownstream = 0;

        bool isShowtime() const { return m_iLineState == c_iDslShowtime; }
        bool operator==(const Row&) const = default;
    };

    DslStatus();

    /// Reads the line, so that the first requests find current values.
    void init() override;
    bool hasTable(const std::string& a_sTable) const override;
    void getTableNames(systema::NameList& a_lTables) const override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) override;
    /// 0; 9 for an unknown column; 10 past the end.
    systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                unsigned int a_iPosition, const systema::NameList& a_lColumns) override;
    /// 0; 9 for an unknown column and every key but "Id"; 10 for an "Id" that is not exactly "1".
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    void update(systema::NameList& a_lChangedTables) override;

private:
    Row readLine();

    const ZEL_DSLAPI_Handle m_pLine;
    Row m_oReported; // of "StatusDsl"
    Row m_oCurrent;  // of "StatusDslRealtime"
};

} // namespace zel

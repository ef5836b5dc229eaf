#include "status/ipconntrack.h"

#include "status/ipfilter.h"
#include "zel/convert.h"
#include "zel/lines.h"
#include "zel/log.h"

#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;
using systema::NameList;
using systema::ValueList;

namespace {

const char* const c_pWatchTable = "StatusNetifWatch";
constexpr int c_iMostTries = 11;

constexpr Column<Connection> c_aColumns[] = {
    column<&Connection::m_iLine>("Id"),
    column<&Connection::m_sProtocol>("Protocol"),
    column<&Connection::m_iProtocolNumber>("ProtocolNumber"),
    column<&Connection::m_iExpires>("Expires"),
    column<&Connection::m_sState>("State"),
    column<&Connection::m_sSrcAddress>("SrcAddress"),
    column<&Connection::m_sDstAddress>("DstAddress"),
    column<&Connection::m_iSrcPort>("SrcPort"),
    column<&Connection::m_iDstPort>("DstPort"),
    column<&Connection::m_bUnreplied>("Unreplied"),
    column<&Connection::m_bAssured>("Assured"),
};

} // namespace

IpConntrack::IpConntrack(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
                         WallClock a_oNow, std::string a_sPath)
    : SingleTable("IpConntrack", c_aColumns),
      m_oConfig(a_oConfig),
      m_oPublisher(a_oPublisher),
      m_sPath(std::move(a_sPath)),
      m_iModule(ZEL_Sysloglevel_registerModul("IpConn")),
      m_oInterval(std::move(a_oNow), c_iReadSeconds)
{
}

IpConntrack::~IpConntrack()
{
    m_oPublisher.unsubscribeAll(*this);
}

void IpConntrack::init()
{
    if (!m_bSubscribed) {
        m_oPublisher.subscribe(*this, {c_pWatchTable});
        m_bSubscribed = true;
    }
}

EResultCode IpConntrack::getRowByKey(const std::string&, ValueList& a_row, const std::string& a_keyColumn,
                                     const std::string& a_keyValue, const NameList& a_columns)
{
    if (!refresh()) {
        return EResultCode::Failure;
    }
    if (configmanager::serverlib::findColumn(c_aColumns, a_keyColumn) == nullptr) {
        return EResultCode::NoKey;
    }
    if (a_keyColumn == "Id") {
        // The position in the table, though the column has the number of the line: clients rely on both.
        const auto iPosition = static_cast<unsigned>(lowest32Bits(a_keyValue.c_str()));
        return read(a_row, rowAt(m_lRows, iPosition - 1), a_columns); // of 0: past any end
    }
    return read(a_row, rowOf(m_lRows, c_aColumns, a_keyColumn, a_keyValue), a_columns);
}

void IpConntrack::notify(const NameList&)
{
    getInterfaces();
}

void IpConntrack::dropCache()
{
    m_lRows = {};
    m_oInterval.expire();
}

bool IpConntrack::refresh()
{
    if (!m_oInterval.isOver()) {
        return true;
    }
    m_lRows.clear();
    const IpFilter oFilter(m_sLanAddress, m_sBroadcastAddress, m_sNetmask);
    std::int32_t iLine = 0;
    const auto oAdd = [&](std::string_view a_sLine) {
        if (iLine < c_iMostLines) {
            Connection oConnection;
            oConnection.init(++iLine, splitConnection(a_sLine));
            if (!oFilter(oConnection)) {
                m_lRows.push_back(std::move(oConnection));
            }
        }
    };
    if (!readLines(m_sPath, c_iLineBufferSize, c_iMostBytes, oAdd)) {
        m_lRows.clear();
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not open file: %s", m_sPath.c_str());
        return false;
    }
    if (m_lRows.size() < m_lRows.capacity() / 4) {
        m_lRows.shrink_to_fit(); // gives back what a flood of connections took
    }
    m_oInterval.restart();
    return true;
}

void IpConntrack::getInterfaces()
{
    ValueList lLogical;
    ValueList lDevice;
    if (readRow(lLogical, "StatusNetifWatchLogical", "LocalLAN", {"Interface"}) &&
        readRow(lDevice, c_pWatchTable, lLogical.toText("Interface"), {"Addr", "BroadAddr", "Netmask"})) {
        m_sLanAddress = lDevice.toText("Addr");
        m_sBroadcastAddress = lDevice.toText("BroadAddr");
        m_sNetmask = lDevice.toText("Netmask");
    }
}

/// Reads the row of that name, again at once when that fails, for a while.
bool IpConntrack::readRow(ValueList& a_lRow, const char* a_pTable, const std::string& a_sName,
                          const NameList& a_lColumns)
{
    for (int i = 0; i < c_iMostTries; ++i) {
        a_lRow.clear();
        if (m_oConfig.selectKey(a_lRow, this, a_pTable, "Name", a_sName, a_lColumns) ==
            EResultCode::Success) {
            return true;
        }
    }
    return false;
}

} // namespace zel

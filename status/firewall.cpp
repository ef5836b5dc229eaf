#include "status/firewall.h"

#include "status/chainlisting.h"
#include "zel/lines.h"
#include "zel/log.h"

#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

namespace {

constexpr const char* c_pZonesTable = "FirewallZones";
constexpr std::size_t c_iLineBufferSize = 256;

constexpr Column<ChainCount> c_aColumns[] = {
    column<&ChainCount::m_iId>("Id"),
    column<&ChainCount::m_sChain>("Chain"),
    column<&ChainCount::m_iAccepted>("PktAccept"),
    column<&ChainCount::m_iDropped>("PktDrop"),
};

/// True when a shell takes the name for nothing but a word, and the tool for no option.
bool isPlain(const std::string& a_sName)
{
    constexpr const char* c_pPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    return a_sName.size() <= Firewall::c_iLongestName && !a_sName.starts_with('-') &&
           a_sName.find_first_not_of(c_pPlain) == std::string::npos;
}

} // namespace

Firewall::Firewall(systema::ConfigPluginBase& a_oDispatcher, Tool a_oTool)
    : SingleTable("FirewallStatistic", c_aColumns),
      m_oDispatcher(a_oDispatcher),
      m_oTool(std::move(a_oTool)),
      m_iModule(ZEL_Sysloglevel_registerModul("Firewall"))
{
}

void Firewall::init()
{
    if (m_oTool.beginAtStart()) {
        readChains();
    }
}

EResultCode Firewall::getSchema(systema::ColumnList& a_columns, const std::string& a_table)
{
    a_columns.clear();
    return SingleTable::getSchema(a_columns, a_table);
}

EResultCode Firewall::fill(ValueList& a_row, ChainCount& a_oRow, const NameList& a_columns)
{
    configmanager::serverlib::selectKnownColumns(a_row, a_oRow, c_aColumns, a_columns);
    return EResultCode::Success;
}

bool Firewall::refresh()
{
    m_lRows.clear();
    return m_oTool.begin() && readChains();
}

bool Firewall::readChains()
{
    const auto oZones = readZones();
    if (!oZones) {
        return false;
    }
    for (const auto& sZone : *oZones) {
        const int iResult = readChain(sZone + "Input");
        const bool bMissing = iResult == c_iExecuteFailed;
        if (bMissing && !m_bMissing) {
            ZEL_Sysloglevel_error(m_iModule, here(), "iptables cannot be run");
        }
        m_bMissing = bMissing;
        if (iResult == c_iExecuteTimedOut) {
            ZEL_Sysloglevel_error(m_iModule, here(), "iptables takes too long");
            m_lRows.clear();
            return false;
        }
        if (bMissing) {
            break; // and so it would be for the other zones
        }
    }
    return true;
}

/// The plain names among those of the zones, if the zones can be read. Any client can write the others: they
/// get near no shell.
std::optional<std::vector<std::string>> Firewall::readZones()
{
    std::vector<std::string> lZones;
    std::set<std::string> lRefused;
    for (unsigned i = 0; i < c_iMostZones; ++i) {
        ValueList lRow;
        const EResultCode eCode = m_oDispatcher.selectRow(lRow, this, c_pZonesTable, i, {"ZoneName"});
        if (eCode == EResultCode::NoRow || eCode == EResultCode::NoTable) {
            break;
        }
        if (eCode != EResultCode::Success) {
            return std::nullopt;
        }
        if (const Value* pName = lRow.find("ZoneName")) {
            const std::string& sName = pName->getText();
            if (isPlain(sName)) {
                lZones.push_back(sName);
            } else {
                lRefused.insert(sName);
            }
        }
    }
    for (const auto& sName : lRefused) {
        if (!m_lRefused.contains(sName)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "The zone name \"%s\" is not plain", sName.c_str());
        }
    }
    m_lRefused = std::move(lRefused);
    return lZones;
}

/// Appends the chain's row, if there is such a chain. The tool's exit status.
int Firewall::readChain(const std::string& a_sChain)
{
    ChainListing oListing(a_sChain);
    LineCutter oLines(c_iLineBufferSize, [&](std::string_view a_sLine) { oListing.add(a_sLine); });
    const int iResult = m_oTool.run("iptables -L " + a_sChain + " -v 2>/dev/null",
                                    [&](std::string_view a_sText) { oLines.add(a_sText); });
    oLines.finish();
    if (oListing.isOfChain()) {
        m_lRows.push_back({static_cast<std::int32_t>(m_lRows.size() + 1), a_sChain, oListing.getAccepted(),
                           oListing.getDropped()});
    }
    return iResult;
}

} // namespace zel

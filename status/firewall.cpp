#include "status/firewall.h"

#include "status/chainlisting.h"
#include "zel/lines.h"
#include "zel/log.h"

#include <algorithm>
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
    if (m_oTool.beginAtStart() && beginRound()) {
        readChains(false);
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

EResultCode Firewall::getRowCount(const std::string& a_table, unsigned int& a_count)
{
    return whenListed([&] { return SingleTable::getRowCount(a_table, a_count); });
}

EResultCode Firewall::getRow(const std::string& a_table, ValueList& a_row, unsigned int a_position,
                             const NameList& a_columns)
{
    return whenListed([&] { return SingleTable::getRow(a_table, a_row, a_position, a_columns); });
}

EResultCode Firewall::getRowByKey(const std::string& a_table, ValueList& a_row,
                                  const std::string& a_keyColumn, const std::string& a_keyValue,
                                  const NameList& a_columns)
{
    return whenListed(
        [&] { return SingleTable::getRowByKey(a_table, a_row, a_keyColumn, a_keyValue, a_columns); });
}

void Firewall::update(NameList&)
{
    if (!std::exchange(m_bUsed, false)) {
        m_bInRound = false; // nobody waits for it any more
        m_bAwaited = false;
    }
}

template<typename Operation>
EResultCode Firewall::whenListed(Operation a_oOperation)
{
    const EResultCode eResult = listZones();
    return eResult == EResultCode::Success ? a_oOperation() : eResult;
}

/// Lists all zones anew, or goes on with that. 0 when it is done; 1 when it cannot be.
EResultCode Firewall::listZones()
{
    m_bUsed = true;
    const bool bRunnable = m_oTool.begin();
    const auto oBegin = m_oTool.now();
    if (!m_bInRound && oBegin < m_oFreshUntil) {
        return EResultCode::Success;
    }
    if (!m_bInRound && oBegin < m_oNextRound) {
        m_bAwaited = true; // many readers are no reason to run the tool without a pause
        return EResultCode::Pending;
    }
    const bool bGoesOn = m_bInRound;
    if (!bRunnable || (!bGoesOn && !beginRound())) {
        m_lRows.clear();
        m_bInRound = false;
        return EResultCode::Failure;
    }
    const EResultCode eResult = readChains(true);
    if (eResult == EResultCode::Success) {
        const auto oEnd = m_oTool.now();
        m_oNextRound = oEnd + (oEnd - oBegin);
        if (bGoesOn) {
            m_oFreshUntil = oEnd + c_oFresh; // else a reader of many rows would wait for as many rounds
        } else if (std::exchange(m_bAwaited, false)) {
            m_oFreshUntil = m_oNextRound;
        }
    }
    return eResult;
}

/// False when the zones cannot be read.
bool Firewall::beginRound()
{
    m_lRows.clear();
    auto oZones = readZones();
    m_bInRound = oZones.has_value();
    if (m_bInRound) {
        m_lZones = *std::move(oZones);
        std::ranges::reverse(m_lZones); // the next one stands at the end
    }
    return m_bInRound;
}

EResultCode Firewall::readChains(bool a_bInTurns)
{
    while (!m_lZones.empty()) {
        const int iResult = readChain(m_lZones.back() + "Input");
        m_lZones.pop_back();
        const bool bMissing = iResult == c_iExecuteFailed;
        if (bMissing && !m_bMissing) {
            ZEL_Sysloglevel_error(m_iModule, here(), "iptables cannot be run");
        }
        m_bMissing = bMissing;
        if (iResult == c_iExecuteTimedOut) {
            ZEL_Sysloglevel_error(m_iModule, here(), "iptables takes too long");
            m_lRows.clear();
            m_bInRound = false;
            return EResultCode::Failure;
        }
        if (bMissing) {
            break; // and so it would be for the other zones
        }
        if (a_bInTurns && !m_lZones.empty() && m_oTool.isTurnOver()) {
            return EResultCode::Pending;
        }
    }
    m_bInRound = false;
    return EResultCode::Success;
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

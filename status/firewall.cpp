#include "status/firewall.h"

#include "systema/refusal.h"
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
constexpr const char* c_pNoList = "iptables fails or takes too long"; // the log says which
constexpr std::size_t c_iLineBufferSize = 256;
// The tool looks up the names of addresses, and a name server may be dead.
constexpr const char* c_pCommand = "RES_OPTIONS='timeout:1 attempts:1' iptables -L ";

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

Firewall::Listing::Listing(const std::string& a_sChain)
    : m_oChain(a_sChain),
      m_oLines(c_iLineBufferSize, [this](std::string_view a_sLine) { m_oChain.add(a_sLine); })
{
}

void Firewall::init()
{
    prepare();
    endRound(); // a request after the start lists the zones as they are then
    m_oNextRound = {};
}

EResultCode Firewall::getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable)
{
    a_lColumns.clear();
    return SingleTable::getSchema(a_lColumns, a_sTable);
}

EResultCode Firewall::fill(ValueList& a_lRow, ChainCount& a_oRow, const NameList& a_lColumns)
{
    configmanager::serverlib::selectKnownColumns(a_lRow, a_oRow, c_aColumns, a_lColumns);
    return EResultCode::Success;
}

void Firewall::update(NameList&)
{
    if (!std::exchange(m_bUsed, false)) {
        endRound();
        m_bAwaited = false;
    }
}

EResultCode Firewall::prepare()
{
    m_bUsed = true;
    if (!m_bInRound) {
        m_oRoundBegin = m_oTool.now();
        if (m_oRoundBegin < m_oFreshUntil) {
            return EResultCode::Success;
        }
        if (m_oRoundBegin < m_oNextRound) {
            m_bAwaited = true; // many readers are no reason to run the tool without a pause
            return EResultCode::Pending;
        }
        if (!m_oTool.begin() || !beginRound()) {
            m_lRows.clear();
            return systema::noteRefusal(EResultCode::Failure, c_pNoList);
        }
    }
    const EResultCode eResult = listChains();
    if (eResult != EResultCode::Pending) {
        endRound();
    }
    if (eResult == EResultCode::Success) {
        const auto oEnd = m_oTool.now();
        const Tool::Clock::duration oTook = oEnd - m_oRoundBegin;
        m_oNextRound = oEnd + std::min<Tool::Clock::duration>(oTook, Tool::c_oTurn);
        const bool bAwaited = std::exchange(m_bAwaited, false);
        if (oTook >= c_oSlow) {
            m_oFreshUntil = oEnd + c_oFresh; // else a reader of many rows would wait for as many rounds
        } else if (bAwaited) {
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

void Firewall::endRound()
{
    m_oTool.stop();
    m_bInRound = false;
}

/// Appends a row for each zone that has a chain.
EResultCode Firewall::listChains()
{
    for (; !m_lZones.empty(); m_lZones.pop_back()) {
        const std::string sChain = m_lZones.back() + "Input";
        if (!m_oTool.isRunning()) {
            m_oListing.emplace(sChain);
            m_oTool.start(c_pCommand + sChain + " -v 2>/dev/null",
                          [this](std::string_view a_sText) { m_oListing->m_oLines.add(a_sText); });
        }
        const auto oResult = m_oTool.finish();
        if (!oResult) {
            return EResultCode::Pending;
        }
        m_oListing->m_oLines.finish();
        const ChainListing& oChain = m_oListing->m_oChain;
        const bool bNoSuchChain = oResult == 1 && !oChain.isOfChain();
        if (oResult != 0 && !bNoSuchChain) {
            return failRound(*oResult);
        }
        m_iLoggedFailure = 0;
        if (oChain.isOfChain()) {
            m_lRows.push_back({static_cast<std::int32_t>(m_lRows.size() + 1), sChain, oChain.getAccepted(),
                               oChain.getDropped()});
        }
    }
    return EResultCode::Success;
}

/// Ends a round whose tool failed: half of a listing would give sums that are too small. A system without the
/// tool has an empty table.
EResultCode Firewall::failRound(int a_iResult)
{
    m_lRows.clear();
    const bool bLogged = std::exchange(m_iLoggedFailure, a_iResult) == a_iResult;
    if (a_iResult == c_iExecuteTimedOut) {
        ZEL_Sysloglevel_error(m_iModule, here(), "iptables takes too long");
    } else if (!bLogged && a_iResult == c_iExecuteFailed) {
        ZEL_Sysloglevel_error(m_iModule, here(), "iptables cannot be run");
    } else if (!bLogged) {
        ZEL_Sysloglevel_error(m_iModule, here(), "iptables fails with status %d", a_iResult);
    }
    return a_iResult == c_iExecuteFailed ? EResultCode::Success
                                         : systema::noteRefusal(EResultCode::Failure, c_pNoList);
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

} // namespace zel

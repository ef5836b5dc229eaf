#include "status/pppstatus.h"

#include "zel/fileparser.h"
#include "zel/log.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::NameList;
using systema::ValueList;

namespace {

constexpr Column<StatusEntry> c_aColumns[] = {
    column<&StatusEntry::m_iId>("Id"),
    column<&StatusEntry::m_sInterface>("Interface"),
    column<&StatusEntry::m_iStatus>("Status"),
    column<&StatusEntry::m_sStatusDesc>("StatusDesc"),
    column<&StatusEntry::m_sUser>("User"),
    column<&StatusEntry::m_sPassword>("Password"),
    column<&StatusEntry::m_sPostAuthMessage>("PostAuthMessage"),
    column<&StatusEntry::m_oPostAuthRates, &PostAuthRates::m_iUpstream>("PostAuthUpstream"),
    column<&StatusEntry::m_oPostAuthRates, &PostAuthRates::m_iDownstream>("PostAuthDownstream"),
};

/// The word after the key, without quotes. Words end at a blank, within quotes too.
std::string valueOf(const FileParser& a_oPeer, std::string_view a_sKey)
{
    const auto* pLine = a_oPeer.find(0, a_sKey);
    const std::string sValue = pLine == nullptr ? std::string() : FileParser::getToken(*pLine, 1);
    return sValue.starts_with('"') ? sValue.substr(1, sValue.find('"', 1) - 1) : sValue;
}

} // namespace

bool StatusEntry::operator==(const StatusEntry& a_oOther) const
{
    return m_sInterface == a_oOther.m_sInterface && m_iStatus == a_oOther.m_iStatus &&
           m_sStatusDesc == a_oOther.m_sStatusDesc;
}

void StatusEntry::setPppBandwidth(std::string a_sMessage)
{
    m_sPostAuthMessage = std::move(a_sMessage);
    m_oPostAuthRates = parsePostAuthMessage(m_sPostAuthMessage);
}

PppStatus::PppStatus(IPppHelper& a_oHelper, std::string a_sPeersDirectory,
                     const systema::IConfigPublisher& a_oPublisher, BootClock a_oNow)
    : FrozenTable("PppStatus", c_aColumns),
      m_oHelper(a_oHelper),
      m_sPeersDirectory(std::move(a_sPeersDirectory)),
      m_oPublisher(a_oPublisher),
      m_iModule(ZEL_Sysloglevel_registerModul("PppStatus")),
      m_oCheck(std::move(a_oNow), c_iCheckSeconds)
{
}

void PppStatus::init()
{
    const auto lInterfaces = m_oHelper.getPppInterfaces();
    m_lInterfaces.insert(m_lInterfaces.end(), lInterfaces.begin(), lInterfaces.end());
}

void PppStatus::update(NameList& a_lChangedTables)
{
    if (!m_oCheck.isOver()) {
        return;
    }
    m_oCheck.restart();
    const bool bSubscribed = m_oPublisher.hasSubscriber(getTableName());
    if (bSubscribed) {
        refresh();
    }
    if (std::exchange(m_bChanged, false) && bSubscribed) {
        a_lChangedTables.add(getTableName());
    }
}

/// Reads the sources, unless they were read in this transaction already. True.
bool PppStatus::refresh()
{
    if (m_oLock.isTaken()) {
        return true;
    }
    m_oLock.lock();
    for (const auto& sInterface : m_lInterfaces) {
        const StatusEntry oNow{.m_sInterface = sInterface,
                               .m_iStatus = m_oHelper.getPppStatus(sInterface),
                               .m_sStatusDesc = m_oHelper.getPppStatusString()};
        auto it = std::ranges::find(m_lRows, sInterface, &StatusEntry::m_sInterface);
        const bool bKnown = it != m_lRows.end();
        if (!bKnown || *it != oNow) {
            ZEL_Sysloglevel_info(m_iModule, here(), "%s: %s", bKnown ? "iface changed" : "Found new iface",
                                 sInterface.c_str());
            ZEL_Sysloglevel_info(m_iModule, here(), "iface: %s, status: %d, desc: %s", sInterface.c_str(),
                                 oNow.m_iStatus, oNow.m_sStatusDesc.c_str());
            if (!bKnown) {
                it = m_lRows.insert(it, oNow);
            } else {
                *it = oNow; // its number too, which is 0 until the next read by position
            }
            m_bChanged = true;
        }
        getPppCredentials(*it);
        it->setPppBandwidth(m_oHelper.getPostAuthMessage(sInterface));
    }
    return true;
}

/// Reads user and password from the link's peer file. What they are must never be logged.
void PppStatus::getPppCredentials(StatusEntry& a_oEntry) const
{
    FileParser oPeer;
    const bool bRead = oPeer.parse(FileParser::EMode::File,
                                   m_sPeersDirectory + "/pppoe" + pppUnit(a_oEntry.m_sInterface), "", ' ');
    a_oEntry.m_sUser = bRead ? valueOf(oPeer, "user") : std::string();
    a_oEntry.m_sPassword = bRead ? valueOf(oPeer, "password") : std::string();
}

} // namespace zel

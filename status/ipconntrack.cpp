#include "status/ipconntrack.h"

#include "configmanager/columntable.h"
#include "systema/refusal.h"
#include "zel/log.h"

#include <algorithm>
#include <malloc.h>
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

constexpr std::size_t c_iFewConnections = 4096; // whose memory is not worth while to give back

using Row = ConnectionRow;

constexpr Column<Row> c_aColumns[] = {
    column<&Row::getLine>("Id"),
    column<&Row::getProtocol>("Protocol"),
    column<&Row::getProtocolNumber>("ProtocolNumber"),
    column<&Row::getExpires>("Expires"),
    column<&Row::getState>("State"),
    column<&Row::getSrcAddress>("SrcAddress"),
    column<&Row::getDstAddress>("DstAddress"),
    column<&Row::getSrcPort>("SrcPort"),
    column<&Row::getDstPort>("DstPort"),
    column<&Row::isUnreplied>("Unreplied"),
    column<&Row::isAssured>("Assured"),
};

/// A bulk read of one list.
class Cursor : public systema::IRowCursor
{
public:
    Cursor(std::shared_ptr<const ConnectionList> a_pList, std::size_t a_iFirst, std::size_t a_iCount)
        : m_pList(std::move(a_pList)),
          m_iPosition(std::min(a_iFirst, m_pList->size())),
          m_iEnd(m_iPosition + std::min(a_iCount, m_pList->size() - m_iPosition))
    {
    }

    /// False when there is no such column.
    bool addColumn(const std::string& a_sName)
    {
        m_lNames.add(a_sName);
        m_lColumns.push_back(configmanager::serverlib::findColumn(c_aColumns, a_sName));
        return m_lColumns.back() != nullptr;
    }

    const NameList& getColumns() const override { return m_lNames; }
    EResultCode fetch(systema::IRowSink& a_oSink) override
    {
        if (m_pList->isGone()) {
            return EResultCode::Busy;
        }
        for (bool bRoom = true; bRoom && m_iPosition < m_iEnd; ++m_iPosition) {
            const Row oRow(*m_pList, m_iPosition);
            for (const auto* pColumn : m_lColumns) {
                a_oSink.addValue(pColumn->m_pGet(oRow));
            }
            bRoom = a_oSink.endRow();
        }
        return m_iPosition < m_iEnd ? EResultCode::Success : EResultCode::NoRow;
    }

private:
    const std::shared_ptr<const ConnectionList> m_pList;
    NameList m_lNames;
    std::vector<const Column<Row>*> m_lColumns;
    std::size_t m_iPosition;
    const std::size_t m_iEnd;
};

} // namespace

IpConntrack::IpConntrack(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
                         BootClock a_oNow, std::string a_sPath, std::chrono::milliseconds a_oSlice)
    : m_oConfig(a_oConfig),
      m_oPublisher(a_oPublisher),
      m_sPath(std::move(a_sPath)),
      m_oSlice(a_oSlice),
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

EResultCode IpConntrack::getSchema(systema::ColumnList& a_lColumns, const std::string&)
{
    configmanager::serverlib::appendSchema(a_lColumns, c_aColumns);
    return EResultCode::Success;
}

EResultCode IpConntrack::getRowCount(const std::string&, unsigned int& a_iCount)
{
    const EResultCode eResult = refresh();
    a_iCount = static_cast<unsigned>(m_pList->size());
    return eResult;
}

EResultCode IpConntrack::getRow(const std::string&, ValueList& a_lRow, unsigned int a_iPosition,
                                const NameList& a_lColumns)
{
    const EResultCode eResult = refresh();
    return eResult == EResultCode::Success ? read(a_lRow, a_iPosition, a_lColumns) : eResult;
}

EResultCode IpConntrack::getRowByKey(const std::string&, ValueList& a_lRow, const std::string& a_sKeyColumn,
                                     const std::string& a_sKeyValue, const NameList& a_lColumns)
{
    if (const EResultCode eResult = refresh(); eResult != EResultCode::Success) {
        return eResult;
    }
    const auto* pKey = configmanager::serverlib::findColumn(c_aColumns, a_sKeyColumn);
    if (pKey == nullptr) {
        return EResultCode::NoKey;
    }
    std::size_t iPosition = 0;
    while (iPosition < m_pList->size() &&
           !configmanager::serverlib::matchesKey(pKey->m_pGet(Row(*m_pList, iPosition)), a_sKeyValue)) {
        ++iPosition;
    }
    return read(a_lRow, iPosition, a_lColumns);
}

EResultCode IpConntrack::openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, const std::string&,
                                  unsigned int a_iFirst, unsigned int a_iCount, const NameList& a_lColumns)
{
    if (const EResultCode eResult = refresh(); eResult != EResultCode::Success) {
        return eResult;
    }
    auto pCursor = std::make_unique<Cursor>(m_pList, a_iFirst, a_iCount);
    if (a_lColumns.empty()) {
        for (const auto& oColumn : c_aColumns) {
            pCursor->addColumn(oColumn.m_pName);
        }
    }
    for (const auto& sName : a_lColumns) {
        if (!pCursor->addColumn(sName)) {
            return EResultCode::NoKey;
        }
    }
    a_pCursor = std::move(pCursor);
    return EResultCode::Success;
}

void IpConntrack::update(NameList&)
{
    if (!std::exchange(m_bUsed, false)) {
        m_pReading.reset();
        if (m_oInterval.isOver() && m_pList.use_count() == 1) {
            discardList();
        }
    }
    if (m_iMostListed > c_iFewConnections + 4 * m_pList->size() && !m_pReading) {
        ::malloc_trim(0);
        m_iMostListed = m_pList->size();
    }
}

void IpConntrack::notify(const NameList&)
{
    getInterfaces();
}

void IpConntrack::dropCache()
{
    m_pList->discard();
    m_pReading.reset();
    m_oInterval.expire();
}

/// Reads the list anew when it is time to, or goes on with that. 0 when there is one to serve.
EResultCode IpConntrack::refresh()
{
    using Clock = ConnectionReading::Clock;
    m_bUsed = true;
    if (m_pReading) {
        if (Clock::now() < m_oNextSlice) {
            return EResultCode::Pending; // many clients that wait are no reason to read without a pause
        }
    } else if (m_oInterval.isOver()) {
        discardList(); // before, so that there are never two
        m_pReading = std::make_unique<ConnectionReading>(
            m_sPath, IpFilter(m_sLanAddress, m_sBroadcastAddress, m_sNetmask));
    } else {
        return EResultCode::Success;
    }
    const auto eState = m_pReading->read(Clock::now() + m_oSlice);
    if (eState == ConnectionReading::EState::Unfinished) {
        m_oNextSlice = Clock::now() + c_oPause;
        return EResultCode::Pending;
    }
    const auto pReading = std::move(m_pReading);
    if (eState == ConnectionReading::EState::Failed) {
        ZEL_Sysloglevel_error(m_iModule, hereWithExtension(), "Could not open file: %s", m_sPath.c_str());
        return systema::noteRefusal(EResultCode::Failure, m_sPath + " cannot be read");
    }
    if (!std::exchange(m_bCut, pReading->isCut()) && m_bCut) {
        ZEL_Sysloglevel_error(m_iModule, hereWithExtension(),
                              "%s is too long, only its first %d lines are served", m_sPath.c_str(),
                              pReading->getLineCount());
    }
    m_pList = pReading->takeList();
    m_iMostListed = std::max(m_iMostListed, m_pList->size());
    m_oInterval.restart();
    return EResultCode::Success;
}

/// Frees the list, also for bulk reads that still have it.
void IpConntrack::discardList()
{
    m_pList->discard();
    m_pList = std::make_shared<ConnectionList>();
}

/// Appends the wanted columns of the row at a position. 0; 9 for an unknown column; 10 past the end.
EResultCode IpConntrack::read(ValueList& a_lRow, std::size_t a_iPosition, const NameList& a_lColumns) const
{
    return a_iPosition < m_pList->size() ? configmanager::serverlib::selectColumns(
                                               a_lRow, Row(*m_pList, a_iPosition), c_aColumns, a_lColumns)
                                         : EResultCode(EResultCode::NoRow);
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

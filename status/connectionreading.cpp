#include "status/connectionreading.h"

#include <utility>

namespace zel {

ConnectionReading::ConnectionReading(const std::string& a_sPath, IpFilter a_oFilter)
    : m_oFile(a_sPath, ELinks::Followed),
      m_oFilter(std::move(a_oFilter)),
      m_oCutter(c_iLineBufferSize, [this](std::string_view a_sLine) { addLine(a_sLine); })
{
}

ConnectionReading::EState ConnectionReading::read(Clock::time_point a_oEnd)
{
    if (!m_oFile.isOpen()) {
        return EState::Failed;
    }
    while (m_iBytesLeft > 0 && !m_bCut) {
        const auto oPiece = m_oFile.read(m_iBytesLeft);
        if (!oPiece) {
            return EState::Failed;
        }
        if (oPiece->empty()) {
            break;
        }
        m_iBytesLeft -= oPiece->size();
        m_oCutter.add(*oPiece);
        if (Clock::now() >= a_oEnd) {
            return EState::Unfinished;
        }
    }
    m_oCutter.finish();
    m_bCut = m_bCut || m_iBytesLeft == 0;
    return EState::Done;
}

void ConnectionReading::addLine(std::string_view a_sLine)
{
    if (m_iLine == c_iMostLines) {
        m_bCut = true;
        return;
    }
    Connection oConnection;
    oConnection.init(++m_iLine, splitConnection(a_sLine));
    if (!m_oFilter(oConnection)) {
        m_pList->add(oConnection);
    }
}

} // namespace zel

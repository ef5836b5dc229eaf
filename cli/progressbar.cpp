#include "cli/progressbar.h"

#include <string>

namespace systema::cli {

namespace {
constexpr std::size_t c_iWidth = 50;
constexpr const char* c_pClearLine = "\r\x1b[K";
} // namespace

ProgressBar::ProgressBar(std::ostream& a_oStream, bool a_bShown, std::size_t a_iTotal)
    : m_oStream(a_oStream),
      m_bShown(a_bShown && a_iTotal > 0),
      m_iTotal(a_iTotal)
{
    if (m_bShown) {
        draw();
    }
}

ProgressBar::~ProgressBar()
{
    if (m_bShown) {
        m_oStream << c_pClearLine << std::flush;
    }
}

void ProgressBar::advance()
{
    ++m_iDone;
    if (m_bShown && m_iDone * 100 / m_iTotal != m_iPercent) {
        m_iPercent = m_iDone * 100 / m_iTotal;
        draw();
    }
}

void ProgressBar::draw()
{
    const std::size_t iFilled = m_iPercent * c_iWidth / 100;
    m_oStream << "\r[" << std::string(iFilled, '#') << std::string(c_iWidth - iFilled, '.') << "] "
              << m_iPercent << '%' << std::flush;
}

} // namespace systema::cli

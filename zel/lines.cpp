#include "zel/lines.h"

#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace zel {

LineCutter::LineCutter(std::size_t a_iBufferSize, Receiver a_oReceiver)
    : m_iLongest(a_iBufferSize - 1),
      m_oReceiver(std::move(a_oReceiver))
{
}

void LineCutter::add(std::string_view a_sText)
{
    while (!a_sText.empty()) {
        const auto sFits = a_sText.substr(0, m_iLongest - m_sBegun.size());
        const auto iNewline = sFits.find('\n');
        const bool bEnds = iNewline != std::string_view::npos;
        const auto sPiece = sFits.substr(0, iNewline);
        m_sBegun += sPiece;
        a_sText.remove_prefix(sPiece.size() + (bEnds ? 1 : 0));
        if (bEnds || m_sBegun.size() == m_iLongest) {
            tell();
        }
    }
}

void LineCutter::finish()
{
    if (!m_sBegun.empty()) {
        tell();
    }
}

void LineCutter::tell()
{
    const std::string_view sLine = m_sBegun;
    m_oReceiver(sLine.substr(0, sLine.find('\0')));
    m_sBegun.clear();
}

bool readLines(const std::string& a_sPath, std::size_t a_iBufferSize, std::size_t a_iMostBytes,
               LineCutter::Receiver a_oReceiver)
{
    const UniqueFd oFile(::open(a_sPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat oStatus;
    if (!oFile || ::fstat(oFile.get(), &oStatus) != 0 || !S_ISREG(oStatus.st_mode)) {
        return false;
    }
    LineCutter oCutter(a_iBufferSize, std::move(a_oReceiver));
    std::array<char, 16384> aChunk;
    while (a_iMostBytes > 0) {
        const ssize_t iSize = ::read(oFile.get(), aChunk.data(), std::min(aChunk.size(), a_iMostBytes));
        if (iSize < 0 && errno == EINTR) {
            continue;
        }
        if (iSize < 0) {
            return false;
        }
        if (iSize == 0) {
            break;
        }
        a_iMostBytes -= static_cast<std::size_t>(iSize);
        oCutter.add({aChunk.data(), static_cast<std::size_t>(iSize)});
    }
    oCutter.finish();
    return true;
}

} // namespace zel

#include "zel/lines.h"

#include "zel/assert.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace zel {

LineCutter::LineCutter(std::size_t a_iBufferSize, Receiver a_oReceiver)
    : m_iLongest(a_iBufferSize - 1),
      m_oReceiver(std::move(a_oReceiver))
{
    error::Assert(a_iBufferSize >= 2, "a_iBufferSize >= 2");
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

namespace {

/// A descriptor to read a regular file. What the path leads to is looked at before it is opened.
UniqueFd openFile(const std::string& a_sPath, ELinks a_eLinks)
{
    const int iLinks = a_eLinks == ELinks::Refused ? O_NOFOLLOW : 0;
    const UniqueFd oPlace(::open(a_sPath.c_str(), O_PATH | O_CLOEXEC | iLinks));
    struct stat oStatus;
    if (!oPlace || ::fstat(oPlace.get(), &oStatus) != 0 || !S_ISREG(oStatus.st_mode)) {
        return UniqueFd();
    }
    // By its descriptor: there may be another at the path by now.
    return UniqueFd(::open(("/proc/self/fd/" + std::to_string(oPlace.get())).c_str(), O_RDONLY | O_CLOEXEC));
}

} // namespace

TextFile::TextFile(const std::string& a_sPath, ELinks a_eLinks) : m_oFile(openFile(a_sPath, a_eLinks)) {}

std::optional<std::string_view> TextFile::read(std::size_t a_iMostBytes)
{
    ssize_t iSize = 0;
    do {
        iSize = ::read(m_oFile.get(), m_aPiece.data(), std::min(m_aPiece.size(), a_iMostBytes));
    } while (iSize < 0 && errno == EINTR);
    return iSize < 0 ? std::nullopt
                     : std::optional(std::string_view(m_aPiece.data(), static_cast<std::size_t>(iSize)));
}

bool readText(const std::string& a_sPath, std::size_t a_iMostBytes, ELinks a_eLinks,
              const std::function<void(std::string_view)>& a_oReceiver)
{
    TextFile oFile(a_sPath, a_eLinks);
    bool bRead = oFile.isOpen();
    while (bRead && a_iMostBytes > 0) {
        const auto oPiece = oFile.read(a_iMostBytes);
        if (oPiece && oPiece->empty()) {
            break;
        }
        bRead = oPiece.has_value();
        if (bRead) {
            a_iMostBytes -= oPiece->size();
            a_oReceiver(*oPiece);
        }
    }
    return bRead;
}

std::optional<std::string> readFile(const std::string& a_sPath, std::size_t a_iMostBytes)
{
    std::string sText;
    const bool bRead = readText(a_sPath, a_iMostBytes, ELinks::Followed,
                                [&](std::string_view a_sText) { sText += a_sText; });
    return bRead ? std::optional(std::move(sText)) : std::nullopt;
}

std::optional<std::string> readFirstLine(const std::string& a_sPath, std::size_t a_iMostBytes)
{
    auto oText = readFile(a_sPath, a_iMostBytes);
    if (oText) {
        oText->resize(std::min(oText->find_first_of(std::string_view("\n\0", 2)), oText->size()));
    }
    return oText;
}

bool readLines(const std::string& a_sPath, std::size_t a_iBufferSize, std::size_t a_iMostBytes,
               LineCutter::Receiver a_oReceiver)
{
    LineCutter oCutter(a_iBufferSize, std::move(a_oReceiver));
    const bool bRead = readText(a_sPath, a_iMostBytes, ELinks::Followed,
                                [&](std::string_view a_sText) { oCutter.add(a_sText); });
    if (bRead) {
        oCutter.finish();
    }
    return bRead;
}

} // namespace zel

#include "restore/backuparchive.h"

#include "restore/dumpset.h"
#include "restore/regularfile.h"
#include "zel/execute.h"
#include "zel/lines.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fcntl.h>
#include <iterator>
#include <numeric>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace zel::cfg {

namespace {

constexpr std::array<unsigned char, 2> c_aZipped = {0x1f, 0x8b};
constexpr std::string_view c_sHere = "./"; // as "tar c ." has it
constexpr std::size_t c_iLineSize = 1024;
constexpr std::size_t c_iLongestShown = 120;
constexpr std::size_t c_iLeastWords = 6;  // of a line of the listing
constexpr std::size_t c_iSizeFromEnd = 4; // size, date, time, name

/// A line of a listing as it may be logged.
std::string shown(std::string a_sLine)
{
    std::ranges::replace_if(
        a_sLine, [](char a_cByte) { return a_cByte < ' ' || a_cByte > '~'; }, '?');
    return a_sLine.substr(0, c_iLongestShown);
}

const char* kindOf(char a_cType)
{
    switch (a_cType) {
    case '-':
        return "the file";
    case 'd':
        return "the directory";
    case 'l':
        return "the symbolic link";
    case 'h':
        return "the hard link";
    case 'p':
        return "the pipe";
    default:
        return "the device";
    }
}

/// What no backup holds, by kind and name. The name is what follows date and time, "2026-11-23 17:52"; tar
/// makes escapes of what a name may not show.
std::string nameInWords(const std::string& a_sLine)
{
    static const std::regex c_grTime(" [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{5,8} ");
    std::smatch oTime;
    const std::string sName = std::regex_search(a_sLine, oTime, c_grTime) ? oTime.suffix().str() : a_sLine;
    return std::string(kindOf(a_sLine[0])) + " \"" + shown(sName) + '"';
}

/// What is wrong when tar has ended with this result.
std::string faultOf(int a_iResult, const std::string& a_sComplaint)
{
    switch (a_iResult) {
    case c_iExecuteFailed:
        return "there is no tar to read it with";
    case c_iExecuteTimedOut:
        return "takes tar too long to read";
    default:
        return "not an archive that tar can read: " +
               (a_sComplaint.empty() ? "status " + std::to_string(a_iResult) : shown(a_sComplaint));
    }
}

} // namespace

BackupArchive::BackupArchive(UniqueFd a_oFile, const Limits& a_oLimits) : m_oFile(std::move(a_oFile))
{
    std::array<unsigned char, 2> aBegin{};
    if (::pread(m_oFile.get(), aBegin.data(), aBegin.size(), 0) < 0) {
        throwSystemError();
    }
    m_bZipped = aBegin == c_aZipped;

    std::string sComplaint;
    LineCutter oLines(c_iLineSize, [&](std::string_view a_sLine) {
        if (a_sLine.starts_with("tar: ") || a_sLine.starts_with("gzip: ")) {
            sComplaint = sComplaint.empty() ? a_sLine : sComplaint;
        } else if (!a_sLine.empty()) {
            add(std::string(a_sLine), a_oLimits);
        }
    });
    const int iResult =
        executeCommand(command("-tv") + " 2>&1", [&](std::string_view a_sText) { oLines.add(a_sText); });
    if (iResult != 0 || !sComplaint.empty()) {
        throw std::runtime_error(faultOf(iResult, sComplaint));
    }
    for (const std::string& sName : dumpNames()) {
        if (!m_mDumps.contains(sName)) {
            throw std::runtime_error("holds no " + sName);
        }
    }
}

/// The file is read by its descriptor, so that its name means nothing to the shell or to tar.
std::string BackupArchive::command(const std::string& a_sAction) const
{
    return "LC_ALL=C tar " + a_sAction + (m_bZipped ? "z" : "") + "f - < /proc/" +
           std::to_string(::getpid()) + "/fd/" + std::to_string(m_oFile.get());
}

/// A line like "-rw------- root/root 1234 2026-11-23 17:52 services.db.sql", whose owner may be any text.
void BackupArchive::add(const std::string& a_sLine, const Limits& a_oLimits)
{
    std::istringstream oWords(a_sLine);
    const std::vector<std::string> lWords(std::istream_iterator<std::string>(oWords), {});
    if (a_sLine[0] == 'd' && lWords.back() == c_sHere) {
        return;
    }
    const std::string& sMember = lWords.back();
    const std::string sName = sMember.substr(sMember.starts_with(c_sHere) ? c_sHere.size() : 0);
    if (a_sLine[0] != '-' || lWords.size() < c_iLeastWords || !isDumpName(sName)) {
        throw std::runtime_error("holds what is no dump of a database: " + nameInWords(a_sLine));
    }
    const std::string& sSize = lWords[lWords.size() - c_iSizeFromEnd];
    std::uint64_t iSize = 0;
    const char* const pEnd = sSize.data() + sSize.size();
    const auto oRead = std::from_chars(sSize.data(), pEnd, iSize);
    if (oRead.ec == std::errc::invalid_argument ||
        oRead.ptr != pEnd) { // as with a link, "h -> services.db.sql"
        throw std::runtime_error("holds what is no dump of a database: " + nameInWords(a_sLine));
    }
    if (oRead.ec != std::errc() || iSize > a_oLimits.dump()) {
        throw std::runtime_error(sName + " is larger than " + std::to_string(a_oLimits.dump() / c_iMiB) +
                                 " MiB");
    }
    if (!m_mDumps.emplace(sName, Member{sMember, iSize}).second) {
        throw std::runtime_error("holds " + sName + " twice");
    }
}

std::uint64_t BackupArchive::size() const
{
    return std::accumulate(
        m_mDumps.begin(), m_mDumps.end(), std::uint64_t(0),
        [](std::uint64_t a_iSum, const auto& a_oDump) { return a_iSum + a_oDump.second.m_iSize; });
}

void BackupArchive::unpack(const std::string& a_sDirectory) const
{
    for (const auto& [sName, oMember] : m_mDumps) {
        try {
            unpack(oMember, a_sDirectory + "/" + sName);
        } catch (const std::runtime_error& oError) {
            throw std::runtime_error(sName + ": " + oError.what());
        }
    }
}

void BackupArchive::unpack(const Member& a_oMember, const std::string& a_sFile) const
{
    const UniqueFd oFile(::open(a_sFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!oFile) {
        throwSystemError();
    }
    std::uint64_t iWritten = 0;
    const auto oWrite = [&](std::string_view a_sPiece) {
        if (a_sPiece.size() > a_oMember.m_iSize - iWritten) {
            throw std::runtime_error("longer than it is listed");
        }
        while (!a_sPiece.empty()) {
            const ssize_t iPart = ::write(oFile.get(), a_sPiece.data(), a_sPiece.size());
            if (iPart < 0) {
                throwSystemError();
            }
            a_sPiece.remove_prefix(static_cast<std::size_t>(iPart));
            iWritten += static_cast<std::uint64_t>(iPart);
        }
    };
    const int iResult = executeCommand(command("-xO") + " " + a_oMember.m_sName + " 2> /dev/null", oWrite);
    if (iResult != 0 || iWritten != a_oMember.m_iSize) {
        throw std::runtime_error(faultOf(iResult, {}));
    }
    if (::fsync(oFile.get()) != 0) {
        throwSystemError();
    }
}

} // namespace zel::cfg

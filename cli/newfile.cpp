#include "cli/newfile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace systema::cli {

NewFile::NewFile(const std::string& a_sTarget)
    : m_sTarget(a_sTarget),
      m_sPath(a_sTarget + ".XXXXXX"),
      m_oFile(::mkstemp(m_sPath.data()))
{
}

NewFile::~NewFile()
{
    if (m_oFile) {
        ::unlink(m_sPath.c_str());
    }
}

bool NewFile::isReplaceable(const std::string& a_sTarget)
{
    std::error_code oIgnored;
    const auto oStatus = fs::symlink_status(a_sTarget, oIgnored);
    return !fs::exists(oStatus) || fs::is_regular_file(oStatus);
}

bool NewFile::write(std::string_view a_sText)
{
    return writeAll(m_oFile.get(), a_sText);
}

bool NewFile::finish()
{
    // Whatever the umask: its owner may read it.
    if (::fchmod(m_oFile.get(), S_IRUSR | S_IWUSR) != 0 || ::fsync(m_oFile.get()) != 0 ||
        std::rename(m_sPath.c_str(), m_sTarget.c_str()) != 0) {
        return false;
    }
    m_oFile.reset();
    // Some file systems cannot sync a directory, and the file is there already: no failure.
    const auto oParent = fs::path(m_sTarget).parent_path();
    const zel::UniqueFd oDirectory(
        ::open(oParent.empty() ? "." : oParent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (oDirectory) {
        ::fsync(oDirectory.get());
    }
    return true;
}

void protectRedirection(int a_iOutput)
{
    struct stat oStatus
    {
    };
    if (::fstat(a_iOutput, &oStatus) == 0 && S_ISREG(oStatus.st_mode) && oStatus.st_uid == ::geteuid()) {
        ::fchmod(a_iOutput, S_IRUSR | S_IWUSR);
    }
}

bool writeAll(int a_iFile, std::string_view a_sText)
{
    while (!a_sText.empty()) {
        const ssize_t iWritten = ::write(a_iFile, a_sText.data(), a_sText.size());
        if (iWritten < 0 && errno != EINTR) {
            return false;
        }
        a_sText.remove_prefix(iWritten > 0 ? static_cast<std::size_t>(iWritten) : 0);
    }
    return true;
}

} // namespace systema::cli

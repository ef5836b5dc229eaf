#include "restore/backup.h"

#include "restore/backuparchive.h"
#include "restore/dumpset.h"
#include "restore/generations.h"
#include "restore/regularfile.h"
#include "restore/saveclaim.h"
#include "zel/stopflag.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

constexpr std::size_t c_iPieceSize = 65536;
constexpr std::uint64_t c_iHighestNumber = 999'999'999'999'999'999; // see findGenerations()

/// Nothing has changed as long as this is asked; what was made so far goes with its objects.
void requireNoStop()
{
    if (isStopRequested()) {
        throw std::runtime_error("interrupted by a signal");
    }
}

void syncDirectory(const std::string& a_sDirectory)
{
    const UniqueFd oDirectory(::open(a_sDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!oDirectory || ::fsync(oDirectory.get()) != 0) {
        throw std::system_error(errno, std::generic_category(), a_sDirectory);
    }
}

/// True when the dumps of the generations are equal. Their lists may differ: the save command sorts its own,
/// and a generation of older firmware has none.
bool isSame(const std::string& a_sOne, const std::string& a_sOther)
{
    return std::ranges::all_of(dumpNames(), [&](const std::string& a_sName) {
        std::ifstream oOne(fs::path(a_sOne) / a_sName, std::ios::binary);
        std::ifstream oOther(fs::path(a_sOther) / a_sName, std::ios::binary);
        using Bytes = std::istreambuf_iterator<char>;
        return oOne && oOther && std::equal(Bytes(oOne), Bytes(), Bytes(oOther), Bytes());
    });
}

/// The directory of a generation that is not complete yet, as the save command makes it. Removed with its
/// object.
class NewGeneration
{
public:
    explicit NewGeneration(const std::string& a_sStore) : m_sStore(a_sStore), m_sDirectory(a_sStore + "/new")
    {
        fs::remove_all(m_sDirectory); // of one that was killed
        makePrivateDirectory(m_sDirectory);
    }
    ~NewGeneration()
    {
        std::error_code oIgnored;
        fs::remove_all(m_sDirectory, oIgnored);
    }
    NewGeneration(const NewGeneration&) = delete;
    NewGeneration& operator=(const NewGeneration&) = delete;

    const std::string& directory() const { return m_sDirectory; }

    /// Makes it the current generation, unless it equals that, and returns the number of the current one.
    /// Removes all but the one before.
    std::uint64_t finish() const
    {
        syncDirectory(m_sDirectory);
        const auto lGenerations = findGenerations(m_sStore);
        if (!lGenerations.empty() && isSame(m_sDirectory, lGenerations.front().m_sDirectory)) {
            return lGenerations.front().m_iNumber;
        }
        std::uint64_t iNumber = lGenerations.empty() ? 1 : lGenerations.front().m_iNumber + 1;
        while (fs::exists(fs::symlink_status(nameOf(iNumber)))) { // no directory
            ++iNumber;
        }
        if (iNumber > c_iHighestNumber) {
            throw std::runtime_error("there is no number left for a generation in " + m_sStore);
        }
        fs::rename(m_sDirectory, nameOf(iNumber));
        syncDirectory(m_sStore);
        syncDirectory(m_sStore + "/..");
        for (std::size_t i = 1; i < lGenerations.size(); ++i) {
            fs::remove_all(lGenerations[i].m_sDirectory);
        }
        return iNumber;
    }

private:
    std::string nameOf(std::uint64_t a_iNumber) const
    {
        return m_sStore + "/generation." + std::to_string(a_iNumber);
    }

    const std::string m_sStore;
    const std::string m_sDirectory;
};

void requireSpace(const std::string& a_sStore, std::uint64_t a_iSize)
{
    if (const auto iFree = fs::space(a_sStore).available; a_iSize > iFree) {
        throw std::runtime_error("takes " + std::to_string(a_iSize / 1024) + " KiB, and " + a_sStore +
                                 " has room for " + std::to_string(iFree / 1024));
    }
}

/// tar reads an archive several times, which no pipe allows. The copy has no name, so that it goes with this
/// process however that ends, and it is in RAM: it may take what a database may.
UniqueFd copyInput(const std::string& a_sScratch, const Limits& a_oLimits)
{
    if (::isatty(STDIN_FILENO) == 1) {
        throw std::runtime_error("a terminal");
    }
    std::string sName = a_sScratch + "/backup.XXXXXX";
    UniqueFd oCopy(::mkostemp(sName.data(), O_CLOEXEC));
    if (!oCopy || ::unlink(sName.c_str()) != 0) {
        throw std::runtime_error("no copy of it in " + a_sScratch + ": " + std::strerror(errno));
    }
    std::vector<char> lPiece(c_iPieceSize);
    for (std::uint64_t iCopied = 0;;) {
        const ssize_t iRead = ::read(STDIN_FILENO, lPiece.data(), lPiece.size());
        requireNoStop();
        if (iRead < 0 && errno != EINTR) {
            throwSystemError();
        }
        if (iRead == 0) {
            return oCopy;
        }
        for (ssize_t iWritten = 0; iWritten < iRead;) {
            const ssize_t iPart =
                ::write(oCopy.get(), lPiece.data() + iWritten, static_cast<std::size_t>(iRead - iWritten));
            if (iPart < 0) {
                throw std::runtime_error("no copy of it in " + a_sScratch + ": " + std::strerror(errno));
            }
            iWritten += iPart;
        }
        iCopied += static_cast<std::uint64_t>(std::max<ssize_t>(iRead, 0));
        if (iCopied > a_oLimits.m_iDatabase) {
            throw std::runtime_error("larger than " + std::to_string(a_oLimits.m_iDatabase / c_iMiB) +
                                     " MiB");
        }
    }
}

/// Has the list of the dumps on disk; see c_pContents.
void writeContents(const std::string& a_sDirectory)
{
    std::string sNames;
    for (const std::string& sName : dumpNames()) {
        sNames += sName + "\n";
    }
    const UniqueFd oFile(::open((a_sDirectory + "/" + c_pContents).c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!oFile || ::write(oFile.get(), sNames.data(), sNames.size()) != static_cast<ssize_t>(sNames.size()) ||
        ::fsync(oFile.get()) != 0) {
        throw std::runtime_error(std::string("cannot write ") + c_pContents + ": " + std::strerror(errno));
    }
}

} // namespace

std::uint64_t storeBackup(const std::string& a_sFile, const std::string& a_sStore,
                          const std::string& a_sScratch, const Limits& a_oLimits,
                          const std::function<void(const std::string&)>& a_oCheck)
{
    const BackupArchive oArchive(
        a_sFile == "-" ? copyInput(a_sScratch, a_oLimits) : openRegularFile(a_sFile).m_oFile, a_oLimits);
    makePrivateDirectory(a_sStore);
    const SaveClaim oClaim;
    oClaim.requireAlone();
    const NewGeneration oNew(a_sStore);
    requireSpace(a_sStore, oArchive.size());
    oArchive.unpack(oNew.directory());
    for (const auto& oDump : fs::directory_iterator(oNew.directory())) {
        requireNoStop();
        try {
            a_oCheck(oDump.path());
        } catch (const std::runtime_error& oError) {
            throw std::runtime_error(oDump.path().filename().string() + ": " + oError.what());
        }
    }
    writeContents(oNew.directory());
    requireNoStop();
    return oNew.finish();
}

void makePrivateDirectory(const std::string& a_sDirectory)
{
    if (fs::create_directories(a_sDirectory)) {
        fs::permissions(a_sDirectory, fs::perms::owner_all);
    }
}

} // namespace zel::cfg

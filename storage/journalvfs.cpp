#include "storage/journalvfs.h"

#include "zel/log.h"
#include "zel/uniquefd.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <utility>

namespace systema {

namespace {

constexpr int c_iBufferSize = 64 * 1024;
constexpr int c_iZeroedHeaderSize = 28; // a header that is written is at least a sector

struct File : sqlite3_file
{
    sqlite3_file* m_pReal = nullptr;
};

struct Journal;

struct Database final : File
{
    Journal* m_pJournal = nullptr; // while it is open
    bool m_bLacksSpace = false;    // seen since it was asked for last

    int write(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset);
    /// Must succeed before the file is changed.
    int flushJournal();
};

struct Journal final : File
{
    int write(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset);
    int read(void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset) const;
    int truncate(sqlite3_int64 a_iSize);
    int getSize(sqlite3_int64* a_pSize) const;
    /// Keeps the bytes when it fails: pages in SQLite's cache may have to be restored from them.
    int flush();
    void discard();
    /// Brings the file to a size that it may keep: it grows with a large transaction, and can be too small
    /// when the disk was full. Errors change nothing for SQLite.
    void settle();

    Database* m_pDatabase = nullptr; // while it is open
    const char* m_pPath = nullptr;
    sqlite3_int64 m_iFileSize = 0;
    std::unique_ptr<char[]> m_pBuffer;
    int m_iSize = 0;             // of what waits
    sqlite3_int64 m_iStart = 0;  // its place in the file
    bool m_bRollingBack = false; // the database file was not changed, since the journal could not be written

private:
    sqlite3_int64 getEnd() const { return m_iStart + m_iSize; }
    int writeReal(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset);
};

/// True when the file has its reserve.
bool reserve(const char* a_pPath)
{
    const zel::UniqueFd oFile(::open(a_pPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    return oFile && ::posix_fallocate(oFile.get(), 0, c_iJournalReserve) == 0;
}

int Database::write(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset)
{
    int iCode = flushJournal();
    if (iCode == SQLITE_OK) {
        iCode = m_pReal->pMethods->xWrite(m_pReal, a_pBytes, a_iSize, a_iOffset);
        m_bLacksSpace = m_bLacksSpace || iCode == SQLITE_FULL;
    }
    return iCode;
}

int Database::flushJournal()
{
    // After a failure SQLite only restores pages. Those whose journal record still waits were never changed
    // in the file, so the record is not needed there.
    if (m_pJournal == nullptr || m_pJournal->m_bRollingBack) {
        return SQLITE_OK;
    }
    const int iCode = m_pJournal->flush();
    m_pJournal->m_bRollingBack = iCode != SQLITE_OK;
    return iCode;
}

int Journal::writeReal(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset)
{
    const int iCode = m_pReal->pMethods->xWrite(m_pReal, a_pBytes, a_iSize, a_iOffset);
    if (iCode == SQLITE_OK) {
        m_iFileSize = std::max(m_iFileSize, a_iOffset + a_iSize);
    } else if (iCode == SQLITE_FULL && m_pDatabase != nullptr) {
        m_pDatabase->m_bLacksSpace = true;
    }
    return iCode;
}

void Journal::settle()
{
    if (m_iFileSize > c_iMostJournal && m_pReal->pMethods->xTruncate(m_pReal, c_iMostJournal) == SQLITE_OK) {
        m_iFileSize = c_iMostJournal;
    } else if (m_iFileSize < c_iJournalReserve && reserve(m_pPath)) {
        m_iFileSize = c_iJournalReserve;
    }
}

int Journal::flush()
{
    const int iCode = m_iSize > 0 ? writeReal(m_pBuffer.get(), m_iSize, m_iStart) : SQLITE_OK;
    if (iCode == SQLITE_OK) {
        m_iSize = 0;
    }
    return iCode;
}

void Journal::discard()
{
    m_pBuffer.reset();
    m_iSize = 0;
    m_bRollingBack = false;
}

int Journal::write(const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset)
{
    if (a_iOffset == 0 && a_iSize == c_iZeroedHeaderSize) {
        discard(); // the transaction is over
        const int iCode = writeReal(a_pBytes, a_iSize, a_iOffset);
        if (iCode == SQLITE_OK) {
            settle();
        }
        return iCode;
    }
    m_bRollingBack = false;
    if (a_iOffset != getEnd() || a_iSize > c_iBufferSize - m_iSize) {
        if (const int iCode = flush(); iCode != SQLITE_OK) {
            return iCode;
        }
    }
    if (m_pBuffer == nullptr) {
        m_pBuffer.reset(new (std::nothrow) char[c_iBufferSize]);
    }
    if (m_pBuffer == nullptr || a_iSize > c_iBufferSize) {
        return writeReal(a_pBytes, a_iSize, a_iOffset);
    }
    if (m_iSize == 0) {
        m_iStart = a_iOffset;
    }
    std::memcpy(m_pBuffer.get() + m_iSize, a_pBytes, static_cast<std::size_t>(a_iSize));
    m_iSize += a_iSize;
    return SQLITE_OK;
}

int Journal::read(void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset) const
{
    // What waits lies over what the file holds; behind its end a short read has put zeros.
    const int iCode = m_pReal->pMethods->xRead(m_pReal, a_pBytes, a_iSize, a_iOffset);
    const sqlite3_int64 iFrom = std::max(a_iOffset, m_iStart);
    const sqlite3_int64 iTo = std::min(a_iOffset + a_iSize, getEnd());
    if (iFrom >= iTo || (iCode != SQLITE_OK && iCode != SQLITE_IOERR_SHORT_READ)) {
        return iCode;
    }
    std::memcpy(static_cast<char*>(a_pBytes) + (iFrom - a_iOffset), m_pBuffer.get() + (iFrom - m_iStart),
                static_cast<std::size_t>(iTo - iFrom));
    return a_iOffset + a_iSize <= getEnd() ? SQLITE_OK : iCode;
}

int Journal::truncate(sqlite3_int64 a_iSize)
{
    if (a_iSize == 0) {
        discard();
    }
    int iCode = flush();
    if (iCode == SQLITE_OK) {
        iCode = m_pReal->pMethods->xTruncate(m_pReal, a_iSize);
    }
    if (iCode == SQLITE_OK) {
        m_iFileSize = a_iSize;
    }
    return iCode;
}

int Journal::getSize(sqlite3_int64* a_pSize) const
{
    const int iCode = m_pReal->pMethods->xFileSize(m_pReal, a_pSize);
    if (iCode == SQLITE_OK && m_iSize > 0) {
        *a_pSize = std::max(*a_pSize, getEnd());
    }
    return iCode;
}

Database& database(sqlite3_file* a_pFile)
{
    return *static_cast<Database*>(a_pFile);
}

Journal& journal(sqlite3_file* a_pFile)
{
    return *static_cast<Journal*>(a_pFile);
}

template<auto c_pMethod>
struct Pass;

/// Calls the method of the real file.
template<typename Result, typename... Arguments,
         Result (*sqlite3_io_methods::*c_pMethod)(sqlite3_file*, Arguments...)>
struct Pass<c_pMethod>
{
    static Result call(sqlite3_file* a_pFile, Arguments... a_oArguments)
    {
        sqlite3_file* pReal = static_cast<File*>(a_pFile)->m_pReal;
        return (pReal->pMethods->*c_pMethod)(pReal, a_oArguments...);
    }

    /// The same on a database, after its journal.
    static Result callInOrder(sqlite3_file* a_pFile, Arguments... a_oArguments)
    {
        const int iCode = database(a_pFile).flushJournal();
        return iCode == SQLITE_OK ? call(a_pFile, a_oArguments...) : iCode;
    }
};

template<auto c_pMethod>
constexpr auto c_pPass = Pass<c_pMethod>::call;

template<auto c_pMethod>
constexpr auto c_pInOrder = Pass<c_pMethod>::callInOrder;

int closeDatabase(sqlite3_file* a_pFile)
{
    Database& oDatabase = database(a_pFile);
    if (oDatabase.m_pJournal != nullptr) {
        oDatabase.m_pJournal->m_pDatabase = nullptr;
    }
    const int iCode = c_pPass<&sqlite3_io_methods::xClose>(a_pFile);
    oDatabase.~Database();
    return iCode;
}

/// Nothing in the database file depends on what still waits.
int closeJournal(sqlite3_file* a_pFile)
{
    Journal& oJournal = journal(a_pFile);
    if (oJournal.m_pDatabase != nullptr) {
        oJournal.m_pDatabase->m_pJournal = nullptr;
    }
    const int iCode = c_pPass<&sqlite3_io_methods::xClose>(a_pFile);
    oJournal.~Journal();
    return iCode;
}

constexpr sqlite3_io_methods makeDatabaseMethods(int a_iVersion)
{
    using Io = sqlite3_io_methods;
    Io oMethods{};
    oMethods.iVersion = a_iVersion;
    oMethods.xClose = closeDatabase;
    oMethods.xRead = c_pPass<&Io::xRead>;
    oMethods.xWrite = [](sqlite3_file* a_pFile, const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset) {
        return database(a_pFile).write(a_pBytes, a_iSize, a_iOffset);
    };
    oMethods.xTruncate = c_pInOrder<&Io::xTruncate>;
    oMethods.xSync = c_pInOrder<&Io::xSync>;
    oMethods.xFileSize = c_pPass<&Io::xFileSize>;
    oMethods.xLock = c_pPass<&Io::xLock>;
    oMethods.xUnlock = c_pPass<&Io::xUnlock>;
    oMethods.xCheckReservedLock = c_pPass<&Io::xCheckReservedLock>;
    oMethods.xFileControl = c_pPass<&Io::xFileControl>;
    oMethods.xSectorSize = c_pPass<&Io::xSectorSize>;
    oMethods.xDeviceCharacteristics = c_pPass<&Io::xDeviceCharacteristics>;
    if (a_iVersion >= 2) {
        oMethods.xShmMap = c_pPass<&Io::xShmMap>;
        oMethods.xShmLock = c_pPass<&Io::xShmLock>;
        oMethods.xShmBarrier = c_pPass<&Io::xShmBarrier>;
        oMethods.xShmUnmap = c_pPass<&Io::xShmUnmap>;
    }
    if (a_iVersion >= 3) {
        oMethods.xFetch = c_pPass<&Io::xFetch>;
        oMethods.xUnfetch = c_pPass<&Io::xUnfetch>;
    }
    return oMethods;
}

constexpr sqlite3_io_methods makeJournalMethods()
{
    // Memory is mapped from databases only.
    sqlite3_io_methods oMethods = makeDatabaseMethods(1);
    oMethods.xClose = closeJournal;
    oMethods.xRead = [](sqlite3_file* a_pFile, void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset) {
        return journal(a_pFile).read(a_pBytes, a_iSize, a_iOffset);
    };
    oMethods.xWrite = [](sqlite3_file* a_pFile, const void* a_pBytes, int a_iSize, sqlite3_int64 a_iOffset) {
        return journal(a_pFile).write(a_pBytes, a_iSize, a_iOffset);
    };
    oMethods.xTruncate = [](sqlite3_file* a_pFile, sqlite3_int64 a_iSize) {
        return journal(a_pFile).truncate(a_iSize);
    };
    oMethods.xSync = [](sqlite3_file* a_pFile, int a_iFlags) {
        const int iCode = journal(a_pFile).flush();
        return iCode == SQLITE_OK ? c_pPass<&sqlite3_io_methods::xSync>(a_pFile, a_iFlags) : iCode;
    };
    oMethods.xFileSize = [](sqlite3_file* a_pFile, sqlite3_int64* a_pSize) {
        return journal(a_pFile).getSize(a_pSize);
    };
    return oMethods;
}

constexpr sqlite3_io_methods c_aDatabaseMethods[] = {makeDatabaseMethods(1), makeDatabaseMethods(2),
                                                     makeDatabaseMethods(3)};
constexpr sqlite3_io_methods c_oJournalMethods = makeJournalMethods();

struct Vfs final : sqlite3_vfs
{
    sqlite3_vfs* m_pReal = nullptr;

    /// Opens the real file in the memory behind ours.
    template<typename Kind>
    int openReal(Kind& a_oFile, const char* a_pName, int a_iFlags, int* a_pFlags)
    {
        a_oFile.m_pReal = reinterpret_cast<sqlite3_file*>(&a_oFile + 1);
        a_oFile.m_pReal->pMethods = nullptr;
        const int iCode = m_pReal->xOpen(m_pReal, a_pName, a_oFile.m_pReal, a_iFlags, a_pFlags);
        if (iCode != SQLITE_OK && a_oFile.m_pReal->pMethods != nullptr) {
            a_oFile.m_pReal->pMethods->xClose(a_oFile.m_pReal);
        }
        return iCode;
    }
};

int openFile(sqlite3_vfs* a_pVfs, const char* a_pName, sqlite3_file* a_pFile, int a_iFlags, int* a_pFlags)
{
    Vfs& oVfs = *static_cast<Vfs*>(a_pVfs);
    if ((a_iFlags & SQLITE_OPEN_MAIN_DB) != 0) {
        auto& oDatabase = *new (a_pFile) Database();
        const int iCode = oVfs.openReal(oDatabase, a_pName, a_iFlags, a_pFlags);
        const int iVersion = iCode == SQLITE_OK ? std::min(oDatabase.m_pReal->pMethods->iVersion, 3) : 0;
        oDatabase.pMethods = iCode == SQLITE_OK ? &c_aDatabaseMethods[iVersion - 1] : nullptr;
        return iCode;
    }
    if ((a_iFlags & SQLITE_OPEN_MAIN_JOURNAL) != 0) {
        auto& oJournal = *new (a_pFile) Journal();
        const int iCode = oVfs.openReal(oJournal, a_pName, a_iFlags, a_pFlags);
        if (iCode == SQLITE_OK) {
            oJournal.m_pDatabase = &database(sqlite3_database_file_object(a_pName));
            oJournal.m_pDatabase->m_pJournal = &oJournal;
            oJournal.m_pPath = a_pName;
            oJournal.m_pReal->pMethods->xFileSize(oJournal.m_pReal, &oJournal.m_iFileSize);
        }
        oJournal.pMethods = iCode == SQLITE_OK ? &c_oJournalMethods : nullptr;
        return iCode;
    }
    return oVfs.m_pReal->xOpen(oVfs.m_pReal, a_pName, a_pFile, a_iFlags, a_pFlags);
}

const char* registerVfs(Vfs& a_oVfs)
{
    sqlite3_vfs* pReal = sqlite3_vfs_find(nullptr);
    if (pReal == nullptr) {
        return nullptr;
    }
    static_cast<sqlite3_vfs&>(a_oVfs) = *pReal;
    a_oVfs.m_pReal = pReal;
    a_oVfs.zName = "journal";
    a_oVfs.szOsFile += static_cast<int>(std::max(sizeof(Journal), sizeof(Database)));
    a_oVfs.xOpen = openFile;
    return sqlite3_vfs_register(&a_oVfs, 0) == SQLITE_OK ? a_oVfs.zName : nullptr;
}

} // namespace

const char* getJournalVfs()
{
    static Vfs s_oVfs;
    static const char* s_pName = registerVfs(s_oVfs);
    return s_pName;
}

void reserveJournal(sqlite3* a_pDatabase)
{
    const char* pPath = sqlite3_filename_journal(sqlite3_db_filename(a_pDatabase, "main"));
    if (!reserve(pPath)) {
        static const int c_iModule = ZEL_Sysloglevel_registerModul("SQLiteWrap");
        ZEL_Sysloglevel_error(c_iModule, zel::here(), "%s: no space for what keeps %d KiB for a full disk",
                              pPath, c_iJournalReserve / 1024);
    }
}

bool takeLackOfSpace(sqlite3* a_pDatabase)
{
    sqlite3_file* pFile = nullptr;
    sqlite3_file_control(a_pDatabase, "main", SQLITE_FCNTL_FILE_POINTER, &pFile);
    const bool bOurs = pFile != nullptr &&
                       std::ranges::any_of(c_aDatabaseMethods, [&](const sqlite3_io_methods& a_oMethods) {
                           return pFile->pMethods == &a_oMethods;
                       });
    return bOurs && std::exchange(database(pFile).m_bLacksSpace, false);
}

} // namespace systema

// A file that is said to be made by `ledgerctl backup`: a tar archive of the dumps of the persistent
// databases, zipped or not. Its content is not trusted.
//
// tar lists the archive and writes the content of each dump to a pipe; it makes no file, so that no name,
// link or device in the archive can have an effect. Owned by the restore, used on one thread. Every failure
// is a std::runtime_error with what is wrong in one line without the file's name.
#pragma once

#include "restore/limits.h"
#include "zel/uniquefd.h"

#include <cstdint>
#include <map>
#include <string>

namespace zel::cfg {

class BackupArchive
{
public:
    /// Lists the file, which is read from its begin. Throws unless it holds each dump once, as a file of a
    /// bounded size, and nothing else but the directory "./".
    BackupArchive(UniqueFd a_oFile, const Limits& a_oLimits);

    /// The bytes of all dumps.
    std::uint64_t size() const;
    /// Makes the files of all dumps in an empty directory, for their owner alone, and has them on disk. Those
    /// that were made are left after a failure.
    void unpack(const std::string& a_sDirectory) const;

private:
    struct Member
    {
        std::string m_sName; // in the archive: the dump's, or "./" and that
        std::uint64_t m_iSize;
    };

    std::string command(const std::string& a_sAction) const;
    void add(const std::string& a_sLine, const Limits& a_oLimits);
    void unpack(const Member& a_oMember, const std::string& a_sFile) const;

    UniqueFd m_oFile;
    bool m_bZipped = false;
    std::map<std::string, Member> m_mDumps; // by the name of the dump
};

} // namespace zel::cfg

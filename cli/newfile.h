// A file for secrets: only its owner may read it, and it appears under its name when it is complete. Until
// then it has another name beside that.
//
// Owned by the command that writes it, and removed with its object unless it was finished. A file of the name
// is replaced, with whatever rights it had, so that nobody who has it open sees what is written. Failures are
// reported by the result, with errno.
#pragma once

#include "zel/uniquefd.h"

#include <string>
#include <string_view>

namespace systema::cli {

class NewFile
{
public:
    explicit NewFile(const std::string& a_sTarget);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Only a regular file can be replaced: false for a directory, a device or a link.
    static bool isReplaceable(const std::string& a_sTarget);

    /// False when it could not be made.
    bool ok() const { return static_cast<bool>(m_oFile); }
    const std::string& path() const { return m_sPath; }
    /// Appends the text. False when not all of it could be written.
    bool write(std::string_view a_sText);
    /// Puts it in the place of the target, on disk. False when that fails.
    bool finish();

private:
    const std::string m_sTarget;
    std::string m_sPath;
    zel::UniqueFd m_oFile;
};

/// Has only its owner read the file of a redirection, which the shell makes as readable as any. Nothing
/// happens to what is no file of the process's own user.
void protectRedirection(int a_iOutput);

/// Writes all of it. False, with errno, when that fails.
bool writeAll(int a_iFile, std::string_view a_sText);

} // namespace systema::cli

// What the tests of the server share: commands of their own first on the path.
#pragma once

#include "tests/logof.h"
#include "tests/unit/zel/tempdir.h"

#include <cstdlib>
#include <string>

namespace tests {

/// A directory of a test's own that is the first on the path for as long as it lives.
class CommandPath : public TempDir
{
public:
    CommandPath() : m_sPath(std::getenv("PATH")) { ::setenv("PATH", (path() + ":" + m_sPath).c_str(), 1); }
    ~CommandPath() { ::setenv("PATH", m_sPath.c_str(), 1); }

    /// Puts a shell script there, in whose text $HERE is the directory.
    void add(const std::string& a_sName, const std::string& a_sScript) const
    {
        writeFile(file(a_sName), "#!/bin/sh\nHERE=" + path() + "\n" + a_sScript + "\n");
        std::filesystem::permissions(file(a_sName), std::filesystem::perms::owner_all);
    }

private:
    const std::string m_sPath;
};

} // namespace tests

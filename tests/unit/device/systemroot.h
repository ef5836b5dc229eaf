// A system of the test's own that the fixed paths lead to.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <cstdlib>

class SystemRoot
{
public:
    SystemRoot() { ::setenv("LEDGERD_ROOT", m_oDir.path().c_str(), 1); }
    ~SystemRoot() { ::unsetenv("LEDGERD_ROOT"); }
    SystemRoot(const SystemRoot&) = delete;
    SystemRoot& operator=(const SystemRoot&) = delete;

    /// Where the system's path is, for instance "/etc/TZ".
    std::string path(std::string_view a_sPath) const { return m_oDir.path() + std::string(a_sPath); }
    /// Makes or replaces the file at the system's path.
    void write(const std::string& a_sPath, std::string_view a_sText) const
    {
        const std::filesystem::path oPath(path(a_sPath));
        std::filesystem::create_directories(oPath.parent_path());
        writeFile(oPath, a_sText);
    }

private:
    const TempDir m_oDir;
};

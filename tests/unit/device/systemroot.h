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

    /// Makes or replaces the file, for instance "/etc/TZ".
    void write(const std::string& a_sPath, std::string_view a_sText)
    {
        const std::filesystem::path oPath(m_oDir.path() + a_sPath);
        std::filesystem::create_directories(oPath.parent_path());
        writeFile(oPath, a_sText);
    }

private:
    const TempDir m_oDir;
};

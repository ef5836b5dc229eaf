// What the tests of the server share: commands of their own first on the path, and the log.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

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

/// What is logged while the action runs, without the times; a shell's own complaints are left out.
template<typename Action>
std::vector<std::string> logOf(Action a_oAction)
{
    constexpr std::size_t c_iTimeSize = 24;
    testing::internal::CaptureStderr();
    a_oAction();
    std::istringstream oLog(testing::internal::GetCapturedStderr());
    std::vector<std::string> lLines;
    for (std::string sLine; std::getline(oLog, sLine);) {
        if (sLine.starts_with("20") && sLine.size() > c_iTimeSize) {
            lLines.push_back(sLine.substr(c_iTimeSize));
        }
    }
    return lLines;
}

} // namespace tests

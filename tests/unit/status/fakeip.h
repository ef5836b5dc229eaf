// Takes the place of the tool "ip" while it lives, and counts how often it is run.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <cstdlib>
#include <string>

class FakeIp
{
public:
    /// Prints an empty list for both families.
    FakeIp()
    {
        ::setenv("PATH", (m_oDir.path() + ":" + m_sPath).c_str(), 1);
        lists("-4", "[]");
        lists("-6", "[]");
    }
    ~FakeIp() { ::setenv("PATH", m_sPath.c_str(), 1); }
    FakeIp(const FakeIp&) = delete;
    FakeIp& operator=(const FakeIp&) = delete;

    /// From now on the tool prints the text for the family, "-4" or "-6".
    void lists(const std::string& a_sFamily, const std::string& a_sText)
    {
        writeFile(m_oDir.file("list" + a_sFamily), a_sText);
        behaves("cat " + m_oDir.file("list") + "$1");
    }
    /// From now on the tool does what the shell's command does.
    void behaves(const std::string& a_sCommand)
    {
        writeFile(m_oDir.file("ip"),
                  "#!/bin/sh\necho \"$*\" >> " + m_oDir.file("runs") + "\n" + a_sCommand + "\n");
        std::filesystem::permissions(m_oDir.file("ip"), std::filesystem::perms::owner_all);
    }
    /// The arguments of each run since the last call, a line each.
    std::string takeRuns()
    {
        const std::string sRuns = readFile(m_oDir.file("runs"));
        writeFile(m_oDir.file("runs"), "");
        return sRuns;
    }

private:
    const TempDir m_oDir;
    const std::string m_sPath = std::getenv("PATH");
};

// Takes the place of a tool while it lives, and counts how often that is run.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <cstdlib>
#include <string>
#include <utility>

class FakeTool
{
public:
    /// Does nothing, successfully.
    explicit FakeTool(std::string a_sName) : m_sName(std::move(a_sName))
    {
        ::setenv("PATH", (m_oDir.path() + ":" + m_sPath).c_str(), 1);
        behaves("");
    }
    ~FakeTool() { ::setenv("PATH", m_sPath.c_str(), 1); }
    FakeTool(const FakeTool&) = delete;
    FakeTool& operator=(const FakeTool&) = delete;

    /// From now on the tool does what the shell's command does.
    void behaves(const std::string& a_sCommand)
    {
        writeFile(m_oDir.file(m_sName),
                  "#!/bin/sh\necho \"$*\" >> " + m_oDir.file("runs") + "\n" + a_sCommand + "\n");
        std::filesystem::permissions(m_oDir.file(m_sName), std::filesystem::perms::owner_all);
    }
    /// The arguments of each run since the last call, a line each.
    std::string takeRuns()
    {
        const std::string sRuns = readFile(m_oDir.file("runs"));
        writeFile(m_oDir.file("runs"), "");
        return sRuns;
    }

protected:
    const TempDir m_oDir;

private:
    const std::string m_sName;
    const std::string m_sPath = std::getenv("PATH");
};

// A directory that stands for "/" in one test: the eight databases of the factory, enlarged by tables of the
// tests' own, the settings of the device, and the places for sockets, PID file and dumps. Removed with its
// object.
#pragma once

#include "tests/unit/zel/tempdir.h"

#include <string>
#include <utility>
#include <vector>

namespace e2e {

class Sandbox
{
public:
    Sandbox();

    /// The path of something below the directory.
    std::string path(const std::string& a_sBelow) const { return m_oDir.file(a_sBelow); }
    std::string socket() const { return path("tmp/ledgerd.socket"); }
    std::string pidFile() const { return path("var/run/ledgerd.pid"); }
    std::string database(const std::string& a_sName) const { return path("tmp/db/" + a_sName); }

    /// Where our programs look for everything that they are not told otherwise, the only bus there is, and
    /// first of all places for programs the one of setProgram.
    std::vector<std::pair<std::string, std::string>> environment() const;
    /// Puts a program in front of the system's, in place of the one that is there.
    void setProgram(const std::string& a_sName, const std::string& a_sShellScript) const;

    /// Adds a table "Large" of so many rows to a database that no daemon has open: the Id, and as text the
    /// same number of so many digits.
    void addLargeTable(std::size_t a_iRows, std::size_t a_iTextSize) const;
    /// Runs statements on a database that no daemon has open; gives the cells of the first column.
    std::vector<std::string> sql(const std::string& a_sDatabase, const std::string& a_sStatements) const;

private:
    const TempDir m_oDir;
};

/// The names of the databases, in the order in which they are attached.
const std::vector<std::string>& databaseNames();

} // namespace e2e

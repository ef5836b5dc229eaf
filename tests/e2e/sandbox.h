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

    /// Where ledgerd and ledgerctl look for everything that they are not told otherwise, and the only bus
    /// there is.
    std::vector<std::pair<std::string, std::string>> environment() const
    {
        return {{"LEDGERD_ROOT", m_oDir.path()}, {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path("bus")}};
    }

    /// Runs statements on a database that no daemon has open; gives the cells of the first column.
    std::vector<std::string> sql(const std::string& a_sDatabase, const std::string& a_sStatements) const;

private:
    const TempDir m_oDir;
};

/// The names of the databases, in the order in which they are attached.
const std::vector<std::string>& databaseNames();

} // namespace e2e

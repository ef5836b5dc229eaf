// Counts the rows of other tables that a deletion takes with it, by the references with "on delete cascade".
//
// Made by a command, which counts within the transaction of the deletion, so that no other client's writes
// are in the difference.
#pragma once

#include "cli/arguments.h"
#include "client/connection.h"

#include <cstdint>
#include <map>
#include <string>

namespace systema::cli {

class Cascade
{
public:
    explicit Cascade(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// Whether the write is a deletion that may take rows with it. Reads the schemas of all stored tables.
    bool concerns(const Arguments& a_oArguments);
    /// Counts the rows that there are before the deletion.
    void start();
    /// The rows that have gone since, "2 rows of FirewallRule, 1 row of X"; empty when none has, or when
    /// their number cannot be determined.
    std::string describe();

private:
    client::Connection& m_oConnection;
    std::string m_sTable;
    std::map<std::string, std::uint32_t>
        m_mRows; // by table; the table itself if its rows refer to each other
};

} // namespace systema::cli

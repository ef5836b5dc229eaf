// What may be read: the tables that the daemon serves at the start of the run, whichever these are, and with
// which results. Constant once it is made; any thread.
#pragma once

#include "soak/tally.h"
#include "soak/world.h"

#include <string>
#include <vector>

namespace soak {

constexpr const char* c_pCommonTable = "TR069Transfer"; // all change its rows
constexpr const char* c_pLargeTable = "CallLog";        // whose rows take many frames

struct Table
{
    std::string m_sName;
    bool m_bStored;
    systema::ColumnList m_lColumns;
};

/// Asks for all tables and their columns. Throws std::runtime_error when they cannot be had.
std::vector<Table> readTables(Connection& a_oConnection);

// Results that a read of an existing table can have.
Codes codesOfSize(const Table& a_oTable);
Codes codesOfPosition(const Table& a_oTable);
Codes codesOfKey(const Table& a_oTable, const std::string& a_sValue);
Codes codesOfBulk(const Table& a_oTable);

} // namespace soak

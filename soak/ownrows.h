// The rows of stored tables that one client alone writes, and what must stand in them. Plain data.
#pragma once

#include "systema/value.h"

#include <optional>
#include <string>
#include <vector>

namespace soak {

/// A table in which each client has so many rows of its own.
struct OwnTable
{
    const char* m_pName;
    const char* m_pKeyColumn;
    const char* m_pValueColumn;
    unsigned m_iValueType;
    bool m_bUseTransactions;
    int m_iRows;
};

struct OwnRow
{
    const OwnTable* m_pTable;
    std::string m_sKey;
    std::optional<std::string> m_oValue{}; // nothing when there is no such row
};

/// All rows of the client, none of which is there yet.
std::vector<OwnRow> makeOwnRows(int a_iClient);

/// What a rollback makes of them: as they were before, where it has any effect.
void rollBack(std::vector<OwnRow>& a_lRows, const std::vector<OwnRow>& a_lBefore);

} // namespace soak

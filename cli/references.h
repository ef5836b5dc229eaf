// Which stored tables refer to which, by the facts of their schemas. Free functions over what the daemon
// says; a daemon too old to describe tables has no references.
#pragma once

#include "client/connection.h"
#include "systema/tabledescription.h"

#include <string>
#include <vector>

namespace systema::cli {

struct Reference
{
    std::string m_sTable;      // that refers
    NameList m_lColumns;       // of it
    std::string m_sTarget;     // the table referred to
    NameList m_lTargetColumns; // in the order of m_lColumns; empty for the primary key
    std::string m_sActions;    // for example " on delete cascade"

    /// What happens to a referring row when its target is deleted or changed: "cascade", "set null",
    /// "restrict"; empty when that is refused.
    std::string onDelete() const { return action(" on delete "); }
    std::string onUpdate() const { return action(" on update "); }
    /// For example FirewallRule.ZoneId, or T(A, B) for columns that are meant together.
    std::string name() const;

private:
    std::string action(const std::string& a_sEvent) const;
};

/// Whether the column is the key by whose number others refer to the rows, all different; a new row gets one
/// when it is left out.
bool isNumbered(const std::string& a_sColumn, const TableDescription& a_oDescription);

/// The references of a table to others and to itself.
std::vector<Reference> referencesOf(const std::string& a_sTable, const TableDescription& a_oDescription);

/// Those of every stored table, with one round of requests.
std::vector<Reference> readReferences(client::Connection& a_oConnection);
/// Those of them to the table.
std::vector<Reference> referrersTo(const std::string& a_sTable, const std::vector<Reference>& a_lAll);

/// Names with ", " between them.
std::string joined(const NameList& a_lNames);

} // namespace systema::cli

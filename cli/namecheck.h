// Says which name is wrong when the daemon refuses a request with a code alone: it asks for the names of the
// tables and for the schema, only then. Made by a command after a failure; uses its connection.
#pragma once

#include "cli/arguments.h"
#include "cli/outcome.h"
#include "cli/session.h"
#include "client/connection.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace systema::cli {

/// What a request names.
struct Names
{
    std::string m_sTable;
    std::vector<std::string> m_lColumns{};    // the key's column before those read or written
    std::optional<std::string> m_oKeyValue{}; // nothing without a key, and for NULL
    bool m_bWrite = false;
    bool m_bAdd = false; // the write of a new row
    std::optional<std::uint32_t> m_oRow{};
    std::vector<Assignment> m_lValues{};
    NameList m_lUndone{}; // tables written before in the same transaction, which was rolled back
};

/// Those of a get, set, add or del.
Names namesOf(const Arguments& a_oArguments);

class NameCheck
{
public:
    explicit NameCheck(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// The failure with a text that names the wrong table or column, its code unchanged. Success stays
    /// as it is, and so does a failure that has a text of its own, that no name causes, or whose cause the
    /// daemon cannot tell.
    client::Status explain(client::Status a_oStatus, const Names& a_oNames);
    /// The same for a request that names several tables.
    client::Status explain(client::Status a_oStatus, const NameList& a_lTables);
    /// For tables that skip columns they do not know: 9 for the first wanted one that is neither in the row
    /// nor in the schema.
    client::Status checkColumns(const std::string& a_sTable, const NameList& a_lWanted,
                                const NameList& a_lGiven);

private:
    /// A text for the first of the columns that the table does not have, empty when it has all.
    std::string describeUnknown(const Names& a_oNames, const std::vector<std::string>& a_lSchema);
    /// Why a request with a key that names nothing unknown fails, empty where that cannot be said.
    std::string describeKey(const client::Status& a_oStatus, const Names& a_oNames);
    std::string describeReadOnly(const Names& a_oNames);
    bool isStored(const std::string& a_sTable);
    bool isShown(const std::string& a_sTable, const std::string& a_sColumn);

    client::Connection& m_oConnection;
};

/// The failure, if it is one, with the name that is wrong; the context stands in front of the text.
Outcome explained(Session& a_oSession, const client::Status& a_oStatus, const Arguments& a_oArguments,
                  std::string_view a_sContext = {}, NameList a_lUndone = {});

} // namespace systema::cli

// Says more about a violated constraint than the daemon's text does: it reads the schema and the rows that
// the write names, after the refusal. Made by NameCheck; uses its connection.
#pragma once

#include "cli/namecheck.h"
#include "cli/references.h"
#include "client/connection.h"

#include <optional>
#include <string>
#include <vector>

namespace systema::cli {

class ConstraintCheck
{
public:
    ConstraintCheck(client::Connection& a_oConnection, const Names& a_oNames)
        : m_oConnection(a_oConnection),
          m_oNames(a_oNames)
    {
    }

    /// What there is to add to the daemon's text, beginning with "; "; empty where there is nothing.
    std::string describe(const std::string& a_sText);

private:
    const Assignment* findGiven(const std::string& a_sColumn) const;
    std::string describeUnique(const std::string& a_sText);
    std::string describeNeeded(const std::string& a_sText);
    std::string describeMissing();
    /// The references that keep the row from being deleted or changed.
    std::string describeReferrers();
    bool isInTheWay(const Reference& a_oReferrer, const NameList& a_lTarget);
    /// The values that the refused row has in the columns; nullopt if one is NULL or cannot be determined.
    std::optional<std::vector<std::string>> valuesOf(const NameList& a_lColumns,
                                                     const TableDescription& a_oDescription);
    std::optional<std::string> valueOf(const std::string& a_sColumn, const TableDescription& a_oDescription);
    std::optional<std::string> storedValue(const std::string& a_sColumn);
    bool lacksValue(const std::string& a_sTable, const std::string& a_sColumn, const std::string& a_sValue);
    bool lacksRow(const Reference& a_oReference, const NameList& a_lTarget,
                  const std::vector<std::string>& a_lValues);
    NameList targetColumns(const Reference& a_oReference);

    client::Connection& m_oConnection;
    const Names& m_oNames;
};

} // namespace systema::cli

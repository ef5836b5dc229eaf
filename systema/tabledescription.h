// The description of a table beyond its columns and their types: where its rows come from, whether it can be
// written, and the constraints and defaults of its columns. Plain data.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace systema {

enum class ETableKind : std::uint8_t
{
    Stored = 1, // in a database
    Live = 2,   // computed from the running system
    View = 3,   // made of other tables
};

/// A constraint or default that the schema gives to columns.
struct ColumnFact
{
    enum class EKind : std::uint8_t
    {
        PrimaryKey = 1,
        NotNull = 2,
        Default = 3,   // the text is the expression, as in SQL
        Unique = 4,    // the columns together; the text, if any, limits it to some rows
        Check = 5,     // the text is the condition, after "name: " if the constraint has a name
        Reference = 6, // the text is the table and columns referred to, and the actions on a change there
        Immediate = 7, // of no column: each write to the table holds at once, and no rollback undoes it
    };

    EKind m_eKind;
    NameList m_lColumns; // that the fact applies to
    std::string m_sText;

    bool operator==(const ColumnFact&) const = default;
};

struct TableDescription
{
    ETableKind m_eKind = ETableKind::Live;
    bool m_bWritable = false;
    std::vector<ColumnFact> m_lFacts;
};

/// Whether each write to the table holds at once, and no rollback undoes it.
inline bool isImmediate(const TableDescription& a_oDescription)
{
    return std::ranges::any_of(a_oDescription.m_lFacts, [](const ColumnFact& a_oFact) {
        return a_oFact.m_eKind == ColumnFact::EKind::Immediate;
    });
}

/// Offered by plugins whose tables are not all live, read-only and without facts.
class IDescribedTables
{
public:
    virtual ~IDescribedTables() = default;

    /// Corrects a description, which comes as that of a stored writable table if the plugin's tables are
    /// stored, else as that of a live read-only one. 0, or the code that getSchema would give.
    virtual EResultCode describe(TableDescription& a_oDescription, const std::string& a_sTable) = 0;
};

/// Offered by plugins whose tables are all live and writable.
class WritableTables : public IDescribedTables
{
public:
    EResultCode describe(TableDescription& a_oDescription, const std::string&) override
    {
        a_oDescription.m_bWritable = true;
        return EResultCode::Success;
    }
};

} // namespace systema

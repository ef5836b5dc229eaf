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
        // Of no column:
        Immediate = 7,   // each write to the table holds at once, and no rollback undoes it
        Unannounced = 8, // no change of the table is ever announced
        Database = 9,    // the text is the name of the database file that holds the table
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

/// The first fact of the kind, null when there is none; lives as long as the description.
inline const ColumnFact* findFact(const TableDescription& a_oDescription, ColumnFact::EKind a_eKind)
{
    const auto it = std::ranges::find(a_oDescription.m_lFacts, a_eKind, &ColumnFact::m_eKind);
    return it == a_oDescription.m_lFacts.end() ? nullptr : &*it;
}

/// Whether each write to the table holds at once, and no rollback undoes it.
inline bool isImmediate(const TableDescription& a_oDescription)
{
    return findFact(a_oDescription, ColumnFact::EKind::Immediate) != nullptr;
}

/// Whether no change of the table is ever announced.
inline bool isUnannounced(const TableDescription& a_oDescription)
{
    return findFact(a_oDescription, ColumnFact::EKind::Unannounced) != nullptr;
}

inline void setUnannounced(TableDescription& a_oDescription)
{
    a_oDescription.m_lFacts.push_back({ColumnFact::EKind::Unannounced, {}, {}});
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

/// Offered by plugins whose tables are all live and read-only, and do not change while the daemon runs.
class UnannouncedTables : public IDescribedTables
{
public:
    EResultCode describe(TableDescription& a_oDescription, const std::string&) override
    {
        setUnannounced(a_oDescription);
        return EResultCode::Success;
    }
};

} // namespace systema

// What a table is, beyond its columns and their types: where its rows come from, whether they can be written,
// and what its columns demand of them. Plain data.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

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

/// Something that the schema says of columns.
struct ColumnFact
{
    enum class EKind : std::uint8_t
    {
        PrimaryKey = 1,
        NotNull = 2,
        Default = 3,   // the text is the expression, as in SQL
        Unique = 4,    // the columns together; a text says of which rows
        Check = 5,     // the text is the condition, behind the constraint's name and ": " if it has one
        Reference = 6, // the text is the table and the columns referred to, and what a change there does
    };

    EKind m_eKind;
    NameList m_lColumns; // those it is about
    std::string m_sText;

    bool operator==(const ColumnFact&) const = default;
};

struct TableDescription
{
    ETableKind m_eKind = ETableKind::Live;
    bool m_bWritable = false;
    std::vector<ColumnFact> m_lFacts;
};

/// Offered by plugins whose tables are not all live, read-only and without facts.
class IDescribedTables
{
public:
    virtual ~IDescribedTables() = default;

    /// Changes what is not so in the description, which is that of a live read-only table, or of a writable
    /// one where the plugin's tables are stored. 0, or the code that getSchema would give.
    virtual EResultCode describe(TableDescription& a_oDescription, const std::string& a_table) = 0;
};

} // namespace systema

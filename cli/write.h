// The one request that a set, add or del comes to. Free functions.
#pragma once

#include "cli/arguments.h"
#include "client/connection.h"

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace systema::cli {

using WriteRequest =
    std::variant<client::request::UpdateRow, client::request::UpdateKey, client::request::InsertKey,
                 client::request::DeleteRow, client::request::DeleteKey, client::request::DeleteAll>;

/// The request of a set, add or del with its typed values; it refers to the arguments. For NULL as a key it
/// has an empty text: the rows are to be found by KeyCheck.
WriteRequest makeWrite(const Arguments& a_oArguments, ValueList a_lValues);

/// Whether the answer to a deletion, other than the first of several rows', says that the row is not there:
/// it went with one that was deleted before.
inline bool isGoneBefore(const Arguments& a_oArguments, const client::Status& a_oAnswer)
{
    return a_oArguments.m_eWrite == EWrite::Del && a_oAnswer.code() == EResultCode::NoRow;
}

/// The ids that an answer gives: one for a new row, none for any other write.
template<typename Answer>
void addId(std::vector<std::int32_t>& a_lIds, const Answer& a_oAnswer)
{
    if constexpr (!std::is_same_v<Answer, client::Status>) {
        a_lIds.push_back(*a_oAnswer);
    }
}

/// The schemas and descriptions of tables, each asked for once.
class Schemas
{
public:
    explicit Schemas(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// The typed values of the arguments. 7, and those of the request for the schema.
    client::Result<ValueList> typedValues(const Arguments& a_oArguments);
    /// Whether each write to the table holds at once, and no rollback undoes it; false when the daemon does
    /// not say.
    bool isImmediate(const std::string& a_sTable);

private:
    client::Connection& m_oConnection;
    std::map<std::string, ColumnList> m_mSchemas;
    std::map<std::string, bool> m_mImmediate;
};

} // namespace systema::cli

#include "cli/wholetable.h"

#include <utility>

namespace systema::cli {

namespace request = client::request;

namespace {

/// The row with Id 0, which no position and no bulk read shows; nothing when there is none.
client::Result<std::optional<ValueList>> readZeroRow(client::Connection& a_oConnection,
                                                     const std::string& a_sTable)
{
    auto oRow = a_oConnection.call(request::SelectKey{a_sTable, "Id", "0"});
    if (oRow.ok()) {
        return {client::Status(), std::move(*oRow)};
    }
    const bool bNone = oRow.code() == EResultCode::NoRow || oRow.code() == EResultCode::NoKey;
    return bNone ? client::Status() : client::Status(oRow);
}

} // namespace

client::Status readTable(client::Connection& a_oConnection, const std::string& a_sTable, WholeTable& a_oTable)
{
    auto oSchema = a_oConnection.call(request::GetSchema{a_sTable});
    if (!oSchema.ok()) {
        return oSchema;
    }
    a_oTable.m_lSchema = std::move(*oSchema);
    auto oRows = a_oConnection.call(request::SelectRows{a_sTable});
    if (!oRows.ok()) {
        return oRows;
    }
    a_oTable.m_oRows = std::move(*oRows);
    if (a_oTable.m_lSchema.getColumn("Id") == nullptr) {
        return {};
    }
    auto oZeroRow = readZeroRow(a_oConnection, a_sTable);
    a_oTable.m_oZeroRow = std::move(*oZeroRow);
    return oZeroRow;
}

std::string tableContext(const std::string& a_sTable)
{
    return "table \"" + a_sTable + "\": ";
}

} // namespace systema::cli

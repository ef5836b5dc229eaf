#include "cli/write.h"

#include <utility>

namespace systema::cli {

WriteRequest makeWrite(const Arguments& a_oArguments, ValueList a_lValues)
{
    namespace request = client::request;
    const std::string& sTable = a_oArguments.m_sTable;
    const bool bDelete = a_oArguments.m_eWrite == EWrite::Del;
    if (a_oArguments.m_eWrite == EWrite::Add) {
        return request::InsertKey{sTable, std::move(a_lValues)};
    }
    if (a_oArguments.m_oRow) {
        const std::uint32_t iRow = *a_oArguments.m_oRow;
        return bDelete ? WriteRequest(request::DeleteRow{sTable, iRow})
                       : WriteRequest(request::UpdateRow{sTable, iRow, std::move(a_lValues)});
    }
    if (a_oArguments.m_oKey) {
        const auto& [sColumn, oText] = *a_oArguments.m_oKey;
        const std::string_view sText = oText ? std::string_view(*oText) : std::string_view();
        return bDelete ? WriteRequest(request::DeleteKey{sTable, sColumn, sText})
                       : WriteRequest(request::UpdateKey{sTable, sColumn, sText, std::move(a_lValues)});
    }
    return request::DeleteAll{sTable};
}

client::Result<ValueList> Schemas::typedValues(const Arguments& a_oArguments)
{
    if (a_oArguments.m_lAssignments.empty()) {
        return {client::Status()};
    }
    auto it = m_mSchemas.find(a_oArguments.m_sTable);
    if (it == m_mSchemas.end()) {
        auto oSchema = m_oConnection.call(client::request::GetSchema{a_oArguments.m_sTable});
        if (!oSchema.ok()) {
            return client::Status(oSchema);
        }
        it = m_mSchemas.emplace(a_oArguments.m_sTable, std::move(*oSchema)).first;
    }
    return cli::typedValues(a_oArguments.m_lAssignments, it->second);
}

bool Schemas::isImmediate(const std::string& a_sTable)
{
    auto it = m_mImmediate.find(a_sTable);
    if (it == m_mImmediate.end()) {
        const auto oDescription = m_oConnection.call(client::request::Describe{a_sTable});
        const bool bImmediate = oDescription.ok() && systema::isImmediate(*oDescription);
        it = m_mImmediate.emplace(a_sTable, bImmediate).first;
    }
    return it->second;
}

} // namespace systema::cli

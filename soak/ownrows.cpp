#include "soak/ownrows.h"

namespace soak {

namespace {

using systema::EDataType;

constexpr OwnTable c_aOwnTables[] = {
    {"LoginFailure", "RemoteAddress", "Failures", EDataType::Unsigned, true, 4},
    {"NtpServer", "Address", "Rank", EDataType::Integer, true, 4},
    {"UserGroup", "Name", "Rights", EDataType::Unsigned, true, 2},
    {"DhcpServerConfig", "Interface", "Domain", EDataType::Text, true, 2},
    {"DhcpClientConfig", "Interface", "ACSURL", EDataType::Text, true, 2},
    {"StatusNetifConfig", "Name", "Description", EDataType::Text, true, 1},
    {"CallBlock", "Number", "Reason", EDataType::Text, true, 8},
    {"TR069Parameter", "Name", "SourceTable", EDataType::Text, true, 4},
    {"WebPage", "Path", "Title", EDataType::Text, true, 4},
    {"ScheduledTask", "Name", "Command", EDataType::Text, false, 4},
    {"Area", "Code", "Name", EDataType::Text, false, 4},
};

} // namespace

std::vector<OwnRow> makeOwnRows(int a_iClient)
{
    std::vector<OwnRow> lRows;
    for (const auto& oTable : c_aOwnTables) {
        for (int i = 0; i < oTable.m_iRows; ++i) {
            lRows.push_back({&oTable, "soak" + std::to_string(a_iClient) + "." + std::to_string(i)});
        }
    }
    return lRows;
}

void rollBack(std::vector<OwnRow>& a_lRows, const std::vector<OwnRow>& a_lBefore)
{
    for (std::size_t i = 0; i < a_lRows.size(); ++i) {
        if (a_lRows[i].m_pTable->m_bUseTransactions) {
            a_lRows[i] = a_lBefore[i];
        }
    }
}

} // namespace soak

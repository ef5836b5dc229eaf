#include "cli/cascade.h"

#include "cli/references.h"

#include <algorithm>
#include <vector>

namespace systema::cli {

namespace request = client::request;

bool Cascade::concerns(const Arguments& a_oArguments)
{
    if (a_oArguments.m_eWrite != EWrite::Del) {
        return false;
    }
    m_sTable = a_oArguments.m_sTable;
    const std::vector<Reference> lAll = readReferences(m_oConnection);
    std::vector<std::string> lDeleting{m_sTable}; // and what goes with their rows
    for (std::size_t i = 0; i < lDeleting.size(); ++i) {
        for (const Reference& oReferrer : referrersTo(lDeleting[i], lAll)) {
            const bool bNew =
                oReferrer.onDelete() == "cascade" && m_mRows.emplace(oReferrer.m_sTable, 0).second;
            if (bNew && oReferrer.m_sTable != m_sTable) {
                lDeleting.push_back(oReferrer.m_sTable);
            }
        }
    }
    // Rows of the table itself that a cascade deletes are counted only if one row was to be deleted.
    if (a_oArguments.m_bAll || a_oArguments.m_bAllMatching) {
        m_mRows.erase(m_sTable);
    }
    return !m_mRows.empty();
}

void Cascade::start()
{
    for (auto& [sTable, iRows] : m_mRows) {
        iRows = *m_oConnection.call(request::GetSize{sTable});
    }
}

std::string Cascade::describe()
{
    std::string sGone;
    for (const auto& [sTable, iBefore] : m_mRows) {
        const auto oAfter = m_oConnection.call(request::GetSize{sTable});
        const std::uint32_t iKept = *oAfter + (sTable == m_sTable ? 1 : 0);
        if (oAfter.ok() && iKept < iBefore) {
            const std::uint32_t iGone = iBefore - iKept;
            sGone += (sGone.empty() ? "" : ", ") + std::to_string(iGone) +
                     (iGone == 1 ? " row of " : " rows of ") + sTable;
        }
    }
    return sGone;
}

} // namespace systema::cli

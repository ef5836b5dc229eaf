#include "cli/references.h"

#include "options/nearest.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

namespace systema::cli {

namespace request = client::request;

namespace {

NameList splitNames(const std::string& a_sNames)
{
    NameList lNames;
    for (std::size_t iBegin = 0; iBegin < a_sNames.size();) {
        const std::size_t iEnd = std::min(a_sNames.find(", ", iBegin), a_sNames.size());
        lNames.add(a_sNames.substr(iBegin, iEnd - iBegin));
        iBegin = iEnd + 2;
    }
    return lNames;
}

/// The text of the fact is TABLE, TABLE(COLUMN, ...), and the actions.
Reference parse(const std::string& a_sTable, const ColumnFact& a_oFact)
{
    const std::string& sText = a_oFact.m_sText;
    const std::size_t iActions =
        std::min({sText.find(" on update "), sText.find(" on delete "), sText.size()});
    std::string sTarget = sText.substr(0, iActions);
    NameList lColumns;
    if (const std::size_t iOpen = sTarget.find('('); iOpen != std::string::npos && sTarget.ends_with(')')) {
        lColumns = splitNames(sTarget.substr(iOpen + 1, sTarget.size() - iOpen - 2));
        sTarget.resize(iOpen);
    }
    return {a_sTable, a_oFact.m_lColumns, std::move(sTarget), std::move(lColumns), sText.substr(iActions)};
}

} // namespace

std::string joined(const NameList& a_lNames)
{
    std::ostringstream oNames;
    a_lNames.put(oNames);
    return oNames.str();
}

std::string Reference::name() const
{
    return m_sTable + (m_lColumns.size() == 1 ? "." + m_lColumns[0] : "(" + joined(m_lColumns) + ")");
}

std::string Reference::action(const std::string& a_sEvent) const
{
    const std::size_t iEvent = m_sActions.find(a_sEvent);
    if (iEvent == std::string::npos) {
        return {};
    }
    const std::size_t iBegin = iEvent + a_sEvent.size();
    return m_sActions.substr(iBegin, m_sActions.find(" on ", iBegin) - iBegin);
}

bool isNumbered(const std::string& a_sColumn, const TableDescription& a_oDescription)
{
    const ColumnFact* pKey = findFact(a_oDescription, ColumnFact::EKind::PrimaryKey);
    return pKey != nullptr && pKey->m_lColumns.size() == 1 && sameIgnoringCase(a_sColumn, "Id") &&
           sameIgnoringCase(pKey->m_lColumns[0], a_sColumn);
}

std::vector<Reference> referencesOf(const std::string& a_sTable, const TableDescription& a_oDescription)
{
    std::vector<Reference> lReferences;
    for (const ColumnFact& oFact : a_oDescription.m_lFacts) {
        if (oFact.m_eKind == ColumnFact::EKind::Reference && !oFact.m_lColumns.empty()) {
            lReferences.push_back(parse(a_sTable, oFact));
        }
    }
    return lReferences;
}

std::vector<Reference> readReferences(client::Connection& a_oConnection)
{
    std::vector<Reference> lAll;
    const auto oStored = a_oConnection.call(request::GetTables{wire::ETableFilter::Stored});
    for (const std::string& sTable : *oStored) {
        const client::Status oSubmitted =
            a_oConnection.submit<request::Describe>(request::Describe{sTable}, [&](auto a_oDescription) {
                std::ranges::move(referencesOf(sTable, *a_oDescription), std::back_inserter(lAll));
            });
        if (!oSubmitted.ok()) {
            break;
        }
    }
    static_cast<void>(a_oConnection.wait());
    return lAll;
}

std::vector<Reference> referrersTo(const std::string& a_sTable, const std::vector<Reference>& a_lAll)
{
    std::vector<Reference> lReferrers;
    std::ranges::copy_if(a_lAll, std::back_inserter(lReferrers), [&](const Reference& a_oReference) {
        return sameIgnoringCase(a_oReference.m_sTarget, a_sTable);
    });
    return lReferrers;
}

} // namespace systema::cli

#include "cli/constraintcheck.h"

#include "cli/cell.h"
#include "cli/keycheck.h"
#include "options/nearest.h"
#include "systema/storedkey.h"

#include <algorithm>

namespace systema::cli {

namespace request = client::request;
using EKind = ColumnFact::EKind;

namespace {

bool hasFact(const TableDescription& a_oDescription, EKind a_eKind, const std::string& a_sColumn)
{
    return std::ranges::any_of(a_oDescription.m_lFacts, [&](const ColumnFact& a_oFact) {
        return a_oFact.m_eKind == a_eKind && a_oFact.m_lColumns.hasName(a_sColumn);
    });
}

/// The value of a default in SQL; nothing for NULL and for an expression.
std::optional<std::string> literal(const std::string& a_sSql)
{
    if (!a_sSql.empty() && a_sSql.find_first_not_of("0123456789") == std::string::npos) {
        return a_sSql;
    }
    const bool bText =
        a_sSql.size() > 1 && a_sSql.front() == '\'' && a_sSql.find('\'', 1) + 1 == a_sSql.size();
    return bText ? std::optional(a_sSql.substr(1, a_sSql.size() - 2)) : std::nullopt;
}

} // namespace

std::string ConstraintCheck::describe(const std::string& a_sText)
{
    if (a_sText.find("UNIQUE constraint failed") != std::string::npos) {
        return describeUnique(a_sText);
    }
    if (a_sText.find("NOT NULL constraint failed") != std::string::npos) {
        return describeNeeded(a_sText);
    }
    if (a_sText.find("FOREIGN KEY constraint failed") == std::string::npos) {
        return {};
    }
    const std::string sMissing = m_oNames.m_lValues.empty() ? std::string() : describeMissing();
    return sMissing.empty() && !m_oNames.m_bAdd ? describeReferrers() : sMissing;
}

const Assignment* ConstraintCheck::findGiven(const std::string& a_sColumn) const
{
    const auto it = std::ranges::find_if(m_oNames.m_lValues, [&](const Assignment& a_oAssignment) {
        return sameIgnoringCase(a_oAssignment.m_sColumn, a_sColumn);
    });
    return it == m_oNames.m_lValues.end() ? nullptr : &*it;
}

std::string ConstraintCheck::describeUnique(const std::string& a_sText)
{
    const std::string& sTable = m_oNames.m_sTable;
    const auto oHidden = m_oConnection.call(request::SelectKey{sTable, "Id", "0"});
    for (const auto& [sColumn, oText] : m_oNames.m_lValues) {
        const Value* pValue = oHidden->find(sColumn);
        if (oText && pValue != nullptr && pValue->toText() == *oText &&
            a_sText.ends_with(sTable + "." + sColumn)) {
            return "; the row with Id 0, which holds defaults, has " + sColumn + "=" + *oText;
        }
    }
    return {};
}

/// The database names the first column without a value, and stops there.
std::string ConstraintCheck::describeNeeded(const std::string& a_sText)
{
    const auto oDescription = m_oConnection.call(request::Describe{m_oNames.m_sTable});
    NameList lNeeded;
    bool bNamed = false; // else a trigger was refused, in a table of its own
    for (const ColumnFact& oFact : oDescription->m_lFacts) {
        if (oFact.m_eKind != EKind::NotNull || oFact.m_lColumns.empty()) {
            continue;
        }
        const std::string& sColumn = oFact.m_lColumns[0];
        const Assignment* pGiven = findGiven(sColumn);
        const bool bLeftOut = pGiven == nullptr && m_oNames.m_bAdd &&
                              !hasFact(*oDescription, EKind::Default, sColumn) &&
                              !isNumbered(sColumn, *oDescription);
        if (bLeftOut || (pGiven != nullptr && !pGiven->m_oText)) {
            lNeeded.add(sColumn);
            bNamed = bNamed || a_sText.ends_with("." + sColumn);
        }
    }
    return bNamed && lNeeded.size() > 1 ? "; values are needed for " + joined(lNeeded) : "";
}

std::string ConstraintCheck::describeMissing()
{
    const auto oDescription = m_oConnection.call(request::Describe{m_oNames.m_sTable});
    std::string sMissing;
    for (const Reference& oReference : referencesOf(m_oNames.m_sTable, *oDescription)) {
        const bool bGiven = std::ranges::any_of(
            oReference.m_lColumns, [&](const auto& a_sColumn) { return findGiven(a_sColumn) != nullptr; });
        if ((!bGiven && !m_oNames.m_bAdd) || m_oNames.m_lUndone.hasName(oReference.m_sTarget)) {
            continue;
        }
        const auto oValues = valuesOf(oReference.m_lColumns, *oDescription);
        if (oValues && lacksRow(oReference, targetColumns(oReference), *oValues)) {
            sMissing += (sMissing.empty() ? "; " : ", ") + oReference.name() + "=" +
                        joined(NameList(*oValues)) + ": no such row in " + oReference.m_sTarget;
        }
    }
    return sMissing;
}

std::string ConstraintCheck::describeReferrers()
{
    std::string sReferrers;
    for (const Reference& oReferrer : referrersTo(m_oNames.m_sTable, readReferences(m_oConnection))) {
        if (isInTheWay(oReferrer, targetColumns(oReferrer))) {
            sReferrers += (sReferrers.empty() ? "; referred to by " : ", ") + oReferrer.name();
        }
    }
    return sReferrers;
}

/// Also true if the rows that refer to the written row cannot be determined.
bool ConstraintCheck::isInTheWay(const Reference& a_oReferrer, const NameList& a_lTarget)
{
    const bool bDelete = m_oNames.m_lValues.empty();
    const std::string sAction = bDelete ? a_oReferrer.onDelete() : a_oReferrer.onUpdate();
    const bool bConcerned = bDelete || std::ranges::any_of(a_lTarget, [&](const auto& a_sColumn) {
                                return findGiven(a_sColumn) != nullptr;
                            });
    if (!bConcerned || (!sAction.empty() && sAction != "restrict")) {
        return false;
    }
    const auto oValue = a_lTarget.size() == 1 ? storedValue(a_lTarget[0]) : std::nullopt;
    return !oValue || !lacksValue(a_oReferrer.m_sTable, a_oReferrer.m_lColumns[0], *oValue);
}

std::optional<std::vector<std::string>> ConstraintCheck::valuesOf(const NameList& a_lColumns,
                                                                  const TableDescription& a_oDescription)
{
    std::vector<std::string> lValues;
    for (const std::string& sColumn : a_lColumns) {
        const auto oValue = valueOf(sColumn, a_oDescription);
        if (!oValue) {
            return std::nullopt;
        }
        lValues.push_back(*oValue);
    }
    return lValues;
}

std::optional<std::string> ConstraintCheck::valueOf(const std::string& a_sColumn,
                                                    const TableDescription& a_oDescription)
{
    if (const Assignment* pGiven = findGiven(a_sColumn)) {
        return pGiven->m_oText;
    }
    if (m_oNames.m_bAdd) {
        for (const ColumnFact& oFact : a_oDescription.m_lFacts) {
            if (oFact.m_eKind == EKind::Default && oFact.m_lColumns.hasName(a_sColumn)) {
                return literal(oFact.m_sText);
            }
        }
        return std::nullopt;
    }
    return storedValue(a_sColumn);
}

/// The value of the column in the written row; nullopt for NULL and if the row cannot be determined.
std::optional<std::string> ConstraintCheck::storedValue(const std::string& a_sColumn)
{
    const std::string& sTable = m_oNames.m_sTable;
    if (!m_oNames.m_oRow && !m_oNames.m_oKeyValue) {
        return std::nullopt;
    }
    const auto oRow =
        m_oNames.m_oRow
            ? m_oConnection.call(request::SelectRow{sTable, *m_oNames.m_oRow, {a_sColumn}})
            : m_oConnection.call(request::SelectKey{
                  sTable, m_oNames.m_lColumns.front(), storedKey(*m_oNames.m_oKeyValue), {a_sColumn}});
    const bool bThere = oRow.ok() && !oRow->empty() && oRow->begin()->second.getType() != EDataType::Null;
    return bThere ? std::optional(oRow->begin()->second.toText()) : std::nullopt;
}

NameList ConstraintCheck::targetColumns(const Reference& a_oReference)
{
    if (!a_oReference.m_lTargetColumns.empty()) {
        return a_oReference.m_lTargetColumns;
    }
    const auto oTarget = m_oConnection.call(request::Describe{a_oReference.m_sTarget});
    const ColumnFact* pKey = findFact(*oTarget, EKind::PrimaryKey);
    return pKey != nullptr ? pKey->m_lColumns : NameList();
}

/// False also where that cannot be told. The rows with the first value are searched for the others.
bool ConstraintCheck::lacksRow(const Reference& a_oReference, const NameList& a_lTarget,
                               const std::vector<std::string>& a_lValues)
{
    if (a_lTarget.size() != a_lValues.size()) {
        return false;
    }
    const std::string& sTarget = a_oReference.m_sTarget;
    if (a_lTarget.size() == 1) {
        return lacksValue(sTarget, a_lTarget[0], a_lValues[0]);
    }
    const auto oRows = m_oConnection.call(request::SelectRows{sTarget, a_lTarget});
    const auto isIt = [&](const auto& a_lCells) {
        return std::ranges::equal(a_lCells, a_lValues, &showsText);
    };
    for (std::size_t i = 0; i < oRows->size(); ++i) {
        if (isIt((*oRows)[i].m_lCells)) {
            return false;
        }
    }
    return oRows.ok() &&
           m_oConnection.call(request::SelectKey{sTarget, "Id", "0"}).code() == EResultCode::NoRow;
}

/// Whether no row has the value, not even the one with Id 0, which only its Id finds. False also where that
/// cannot be told.
bool ConstraintCheck::lacksValue(const std::string& a_sTable, const std::string& a_sColumn,
                                 const std::string& a_sValue)
{
    const bool bZero = !a_sValue.empty() && a_sValue.find_first_not_of('0') == std::string::npos;
    const std::string sKey = bZero ? "0" : storedKey(a_sValue);
    if (m_oConnection.call(request::SelectKey{a_sTable, a_sColumn, sKey, {a_sColumn}}).code() !=
        EResultCode::NoRow) {
        return false;
    }
    const auto oHidden = m_oConnection.call(request::SelectKey{a_sTable, "Id", "0", {a_sColumn}});
    return !oHidden.ok() || oHidden->empty() ||
           !sameIgnoringCase(oHidden->begin()->second.toText(), a_sValue);
}

} // namespace systema::cli

#include "cli/schemaform.h"

#include "cli/cell.h"
#include "cli/json.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace systema::cli {

namespace {

using EKind = ColumnFact::EKind;

Value text(std::string a_sText)
{
    return Value(EDataType::Text, std::move(a_sText));
}

/// " (A, B)" for columns that are meant together.
std::string together(const NameList& a_lColumns)
{
    std::string sNames;
    for (const std::string& sColumn : a_lColumns) {
        sNames += (sNames.empty() ? " (" : ", ") + sColumn;
    }
    return a_lColumns.size() > 1 ? sNames + ")" : std::string();
}

/// A constraint as a person reads it; nothing for what is none.
std::string constraintText(const ColumnFact& a_oFact)
{
    switch (a_oFact.m_eKind) {
    case EKind::PrimaryKey:
        return "primary key" + together(a_oFact.m_lColumns);
    case EKind::NotNull:
        return "not null";
    case EKind::Unique:
        return "unique" + together(a_oFact.m_lColumns) +
               (a_oFact.m_sText.empty() ? "" : " " + a_oFact.m_sText);
    case EKind::Check:
        return "check (" + a_oFact.m_sText + ")";
    case EKind::Reference:
        return "references " + a_oFact.m_sText + (a_oFact.m_lColumns.size() > 1 ? " by" : "") +
               together(a_oFact.m_lColumns);
    case EKind::Default:
    case EKind::Immediate:
    case EKind::Unannounced:
    case EKind::Database:
        break;
    }
    return {};
}

bool refersTo(const Reference& a_oReferrer, const std::string& a_sColumn,
              const TableDescription& a_oDescription)
{
    if (!a_oReferrer.m_lTargetColumns.empty()) {
        return a_oReferrer.m_lTargetColumns.hasName(a_sColumn);
    }
    const ColumnFact* pKey = findFact(a_oDescription, EKind::PrimaryKey);
    return pKey != nullptr && pKey->m_lColumns.hasName(a_sColumn);
}

/// The columns that refer to the column, and what happens to their rows on a change.
std::vector<std::string> referrersOf(const std::string& a_sColumn, const TableSchema& a_oSchema)
{
    std::vector<std::string> lReferrers;
    for (const Reference& oReferrer : a_oSchema.m_lReferrers) {
        if (refersTo(oReferrer, a_sColumn, *a_oSchema.m_oDescription)) {
            lReferrers.push_back(oReferrer.name() + oReferrer.m_sActions);
        }
    }
    return lReferrers;
}

/// What there is about one column.
struct ColumnTexts
{
    std::optional<std::string> m_oDefault;
    std::string m_sConstraints;
};

ColumnTexts textsOf(const std::string& a_sColumn, const TableSchema& a_oSchema)
{
    ColumnTexts oTexts;
    if (!a_oSchema.m_oDescription) {
        return oTexts;
    }
    const auto add = [&](const std::string& a_sConstraint) {
        oTexts.m_sConstraints += (oTexts.m_sConstraints.empty() ? "" : ", ") + a_sConstraint;
    };
    for (const ColumnFact& oFact : a_oSchema.m_oDescription->m_lFacts) {
        if (!oFact.m_lColumns.hasName(a_sColumn)) {
            continue;
        }
        if (oFact.m_eKind == EKind::Default) {
            oTexts.m_oDefault = oFact.m_sText;
        } else if (const std::string sText = constraintText(oFact); !sText.empty()) {
            add(sText);
        }
    }
    for (const std::string& sReferrer : referrersOf(a_sColumn, a_oSchema)) {
        add("referred to by " + sReferrer);
    }
    return oTexts;
}

JsonPtr jsonNames(const NameList& a_lNames)
{
    JsonPtr oNames(json_object_new_array());
    for (const std::string& sName : a_lNames) {
        addElement(oNames, jsonText(sName));
    }
    return oNames;
}

/// Adds an element to a member that is an array; makes it when it is not there.
void addTo(const JsonPtr& a_oColumn, const char* a_pMember, JsonPtr a_oElement)
{
    json_object* pArray = nullptr;
    if (!json_object_object_get_ex(a_oColumn.get(), a_pMember, &pArray)) {
        pArray = json_object_new_array();
        addMember(a_oColumn, a_pMember, JsonPtr(pArray));
    }
    json_object_array_add(pArray, a_oElement.release());
}

void addFact(const JsonPtr& a_oColumn, const ColumnFact& a_oFact)
{
    switch (a_oFact.m_eKind) {
    case EKind::PrimaryKey:
        return addMember(a_oColumn, "primaryKey", jsonNames(a_oFact.m_lColumns));
    case EKind::NotNull:
        return addMember(a_oColumn, "notNull", JsonPtr(json_object_new_boolean(1)));
    case EKind::Default:
        return addMember(a_oColumn, "default", jsonText(a_oFact.m_sText));
    case EKind::Unique:
        return addTo(a_oColumn, a_oFact.m_sText.empty() ? "unique" : "partlyUnique",
                     jsonNames(a_oFact.m_lColumns));
    case EKind::Check:
        return addTo(a_oColumn, "check", jsonText(a_oFact.m_sText));
    case EKind::Reference:
        return addTo(a_oColumn, "references", jsonText(a_oFact.m_sText));
    case EKind::Immediate: // of no column
    case EKind::Unannounced:
    case EKind::Database:
        break;
    }
}

/// What a row of CSV says of the table.
std::vector<Value> tableCells(const TableDescription& a_oDescription)
{
    const ColumnFact* pDatabase = findFact(a_oDescription, EKind::Database);
    return {text(kindName(a_oDescription)), text(accessName(a_oDescription)),
            pDatabase != nullptr ? text(pDatabase->m_sText) : Value(EDataType::Null),
            isUnannounced(a_oDescription) ? text("never announced") : Value(EDataType::Null)};
}

/// The members that each column has about its table.
void addTable(const JsonPtr& a_oColumn, const TableDescription& a_oDescription)
{
    addMember(a_oColumn, "table", jsonText(kindName(a_oDescription)));
    addMember(a_oColumn, "writable", JsonPtr(json_object_new_boolean(a_oDescription.m_bWritable)));
    if (const ColumnFact* pDatabase = findFact(a_oDescription, EKind::Database)) {
        addMember(a_oColumn, "database", jsonText(pDatabase->m_sText));
    }
    if (isUnannounced(a_oDescription)) {
        addMember(a_oColumn, "neverAnnounced", JsonPtr(json_object_new_boolean(1)));
    }
}

} // namespace

const char* kindName(const TableDescription& a_oDescription)
{
    return a_oDescription.m_eKind == ETableKind::Stored ? "stored"
           : a_oDescription.m_eKind == ETableKind::View ? "view"
                                                        : "live";
}

const char* accessName(const TableDescription& a_oDescription)
{
    return a_oDescription.m_bWritable ? "writable" : "read-only";
}

std::string tableText(const TableDescription& a_oDescription)
{
    const ColumnFact* pDatabase = findFact(a_oDescription, EKind::Database);
    return kindName(a_oDescription) + (pDatabase != nullptr ? " in " + pDatabase->m_sText : "") + ", " +
           accessName(a_oDescription) +
           (isUnannounced(a_oDescription) ? ", changes are never announced" : "");
}

client::Rows schemaRows(const TableSchema& a_oSchema, bool a_bEveryColumn)
{
    const bool bTable = a_bEveryColumn && a_oSchema.m_oDescription;
    bool bDefaults = bTable;
    bool bConstraints = bTable;
    std::vector<ColumnTexts> lTexts;
    for (const auto& [sName, eType] : a_oSchema.m_lColumns) {
        lTexts.push_back(textsOf(sName, a_oSchema));
        bDefaults = bDefaults || lTexts.back().m_oDefault;
        bConstraints = bConstraints || !lTexts.back().m_sConstraints.empty();
    }
    NameList lHead{"name", "type"};
    for (const auto& [bWanted, pName] : {std::pair(bDefaults, "default"),
                                         {bConstraints, "constraints"},
                                         {bTable, "table"},
                                         {bTable, "access"},
                                         {bTable, "database"},
                                         {bTable, "changes"}}) {
        if (bWanted) {
            lHead.add(pName);
        }
    }
    client::Rows oRows(std::move(lHead));
    std::size_t i = 0;
    for (const auto& [sName, eType] : a_oSchema.m_lColumns) {
        const ColumnTexts& oTexts = lTexts[i++];
        std::vector<Value> lCells{text(sName), text(typeName(eType))};
        if (bDefaults) {
            const bool bNull = a_bEveryColumn && !oTexts.m_oDefault;
            lCells.push_back(bNull ? Value(EDataType::Null) : text(oTexts.m_oDefault.value_or("")));
        }
        if (bConstraints) {
            lCells.push_back(text(oTexts.m_sConstraints));
        }
        if (bTable) {
            std::ranges::move(tableCells(*a_oSchema.m_oDescription), std::back_inserter(lCells));
        }
        oRows.add(lCells);
    }
    return oRows;
}

void writeSchemaJson(std::ostream& a_oStream, const TableSchema& a_oSchema)
{
    a_oStream << '[';
    const char* pSeparator = "\n ";
    for (const auto& [sName, eType] : a_oSchema.m_lColumns) {
        JsonPtr oColumn(json_object_new_object());
        addMember(oColumn, "name", jsonText(sName));
        addMember(oColumn, "type", jsonText(typeName(eType)));
        if (a_oSchema.m_oDescription) {
            for (const ColumnFact& oFact : a_oSchema.m_oDescription->m_lFacts) {
                if (oFact.m_lColumns.hasName(sName)) {
                    addFact(oColumn, oFact);
                }
            }
            for (const std::string& sReferrer : referrersOf(sName, a_oSchema)) {
                addTo(oColumn, "referredToBy", jsonText(sReferrer));
            }
            addTable(oColumn, *a_oSchema.m_oDescription);
        }
        a_oStream << std::exchange(pSeparator, ",\n ") << oColumn;
    }
    a_oStream << (a_oSchema.m_lColumns.empty() ? "]\n" : "\n]\n");
}

} // namespace systema::cli

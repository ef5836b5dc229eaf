#include "cli/schemaform.h"

#include "cli/cell.h"
#include "cli/json.h"

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
        break;
    }
    return {};
}

/// What there is about one column.
struct ColumnTexts
{
    std::optional<std::string> m_oDefault;
    std::string m_sConstraints;
};

ColumnTexts textsOf(const std::string& a_sColumn, const TableDescription& a_oDescription)
{
    ColumnTexts oTexts;
    for (const ColumnFact& oFact : a_oDescription.m_lFacts) {
        if (!oFact.m_lColumns.hasName(a_sColumn)) {
            continue;
        }
        if (oFact.m_eKind == EKind::Default) {
            oTexts.m_oDefault = oFact.m_sText;
        } else if (const std::string sText = constraintText(oFact); !sText.empty()) {
            oTexts.m_sConstraints += (oTexts.m_sConstraints.empty() ? "" : ", ") + sText;
        }
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
        break;
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

client::Rows schemaRows(const ColumnList& a_lSchema, const std::optional<TableDescription>& a_oDescription,
                        bool a_bEveryColumn)
{
    const TableDescription oDescription = a_oDescription.value_or(TableDescription());
    bool bDefaults = a_bEveryColumn && a_oDescription;
    bool bConstraints = bDefaults;
    std::vector<ColumnTexts> lTexts;
    for (const auto& [sName, eType] : a_lSchema) {
        lTexts.push_back(textsOf(sName, oDescription));
        bDefaults = bDefaults || lTexts.back().m_oDefault;
        bConstraints = bConstraints || !lTexts.back().m_sConstraints.empty();
    }
    const bool bTable = a_bEveryColumn && a_oDescription;
    NameList lHead{"name", "type"};
    for (const auto& [bWanted, pName] : {std::pair(bDefaults, "default"),
                                         {bConstraints, "constraints"},
                                         {bTable, "table"},
                                         {bTable, "access"}}) {
        if (bWanted) {
            lHead.add(pName);
        }
    }
    client::Rows oRows(std::move(lHead));
    std::size_t i = 0;
    for (const auto& [sName, eType] : a_lSchema) {
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
            lCells.push_back(text(kindName(oDescription)));
            lCells.push_back(text(accessName(oDescription)));
        }
        oRows.add(lCells);
    }
    return oRows;
}

void writeSchemaJson(std::ostream& a_oStream, const ColumnList& a_lSchema,
                     const std::optional<TableDescription>& a_oDescription)
{
    a_oStream << '[';
    const char* pSeparator = "\n ";
    for (const auto& [sName, eType] : a_lSchema) {
        JsonPtr oColumn(json_object_new_object());
        addMember(oColumn, "name", jsonText(sName));
        addMember(oColumn, "type", jsonText(typeName(eType)));
        if (a_oDescription) {
            for (const ColumnFact& oFact : a_oDescription->m_lFacts) {
                if (oFact.m_lColumns.hasName(sName)) {
                    addFact(oColumn, oFact);
                }
            }
            addMember(oColumn, "table", jsonText(kindName(*a_oDescription)));
            addMember(oColumn, "writable", JsonPtr(json_object_new_boolean(a_oDescription->m_bWritable)));
        }
        a_oStream << std::exchange(pSeparator, ",\n ") << oColumn;
    }
    a_oStream << (a_lSchema.empty() ? "]\n" : "\n]\n");
}

} // namespace systema::cli

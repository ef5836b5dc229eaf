#include "storage/schemafacts.h"

#include "storage/sqlitestring.h"
#include "storage/sqlitewrapper.h"
#include "storage/sqltokens.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <map>
#include <ranges>
#include <utility>

namespace systema {

namespace {

using EKind = ColumnFact::EKind;

bool isSameName(const std::string& a_sOne, const std::string& a_sOther)
{
    return sqlite3_stricmp(a_sOne.c_str(), a_sOther.c_str()) == 0;
}

// ---------------------------------------------------------------------------------------------------------
// CHECK constraints

using Tokens = std::vector<SqlToken>;

/// The index of the bracket that closes the one at a_iOpening.
std::size_t findClosing(const Tokens& a_lTokens, std::size_t a_iOpening)
{
    std::size_t iDepth = 0;
    for (std::size_t i = a_iOpening; i < a_lTokens.size(); ++i) {
        iDepth += a_lTokens[i].is('(') ? 1 : 0;
        iDepth -= a_lTokens[i].is(')') ? 1 : 0;
        if (iDepth == 0) {
            return i;
        }
    }
    return a_lTokens.size();
}

/// True for a keyword that begins a constraint of the whole table instead of the definition of a column.
bool isTableConstraint(const SqlToken& a_oToken)
{
    constexpr std::array<std::string_view, 5> c_aKeywords = {"CONSTRAINT", "CHECK", "UNIQUE", "PRIMARY",
                                                             "FOREIGN"};
    return std::ranges::any_of(c_aKeywords,
                               [&](std::string_view a_sWord) { return a_oToken.isKeyword(a_sWord); });
}

/// The condition in the tokens from a_iBegin up to a_iEnd, with the columns that it names.
ColumnFact readCondition(const Tokens& a_lTokens, std::size_t a_iBegin, std::size_t a_iEnd,
                         const NameList& a_lColumns)
{
    ColumnFact oCheck{EKind::Check, {}, {}};
    NameList lNames;
    for (std::size_t i = a_iBegin; i < a_iEnd; ++i) {
        const SqlToken& oToken = a_lTokens[i];
        oCheck.m_sText += oToken.m_bApart && i > a_iBegin ? " " : "";
        oCheck.m_sText += oToken.m_sText;
        const bool bCalled = i + 1 < a_iEnd && a_lTokens[i + 1].is('(') && !a_lTokens[i + 1].m_bApart;
        if (oToken.m_eKind == SqlToken::EKind::Name && !bCalled) {
            lNames.add(oToken.name());
        }
    }
    for (const std::string& sColumn : a_lColumns) {
        if (std::ranges::any_of(lNames, [&](const auto& a_sName) { return isSameName(a_sName, sColumn); })) {
            oCheck.m_lColumns.add(sColumn);
        }
    }
    return oCheck;
}

} // namespace

std::vector<ColumnFact> findChecks(std::string_view a_sCreate, const NameList& a_lColumns)
{
    const Tokens lTokens = splitSql(a_sCreate);
    const auto itOpening =
        std::ranges::find_if(lTokens, [](const auto& a_oToken) { return a_oToken.is('('); });
    std::vector<ColumnFact> lChecks;
    if (lTokens.size() < 2 || !lTokens[1].isKeyword("TABLE") || itOpening == lTokens.end()) {
        return lChecks; // a view or a virtual table
    }
    std::size_t i = static_cast<std::size_t>(itOpening - lTokens.begin());
    const std::size_t iEnd = findClosing(lTokens, i);
    std::size_t iDefinition = ++i; // start of the current column definition or table constraint
    while (i < iEnd) {
        if (lTokens[i].is(',')) {
            iDefinition = i + 1;
        } else if (lTokens[i].is('(')) {
            const std::size_t iClosing = findClosing(lTokens, i);
            if (lTokens[i - 1].isKeyword("CHECK")) {
                ColumnFact oCheck = readCondition(lTokens, i + 1, iClosing, a_lColumns);
                if (oCheck.m_lColumns.empty() && !isTableConstraint(lTokens[iDefinition])) {
                    oCheck.m_lColumns.add(lTokens[iDefinition].name());
                }
                if (i >= iDefinition + 3 && lTokens[i - 3].isKeyword("CONSTRAINT")) {
                    oCheck.m_sText.insert(0, lTokens[i - 2].name() + ": ");
                }
                lChecks.push_back(std::move(oCheck));
            }
            i = iClosing;
        }
        ++i;
    }
    return lChecks;
}

// ---------------------------------------------------------------------------------------------------------
// Facts that pragmas list

namespace {

/// Runs a query and calls the function for each row of the result.
EResultCode forEachRow(SqliteWrapper& a_oDatabase, const std::string& a_sSql,
                       const std::function<void(SqliteStatement&)>& a_oTake)
{
    sqlite3_stmt* pPrepared = nullptr;
    int iCode = a_oDatabase.query(a_sSql.c_str(), &pPrepared);
    SqliteStatement oStatement(pPrepared);
    if (iCode == SQLITE_OK) {
        const auto oDeadline = SqliteStatement::Clock::now() + SqliteStatement::c_oDeadline;
        while ((iCode = oStatement.step(oDeadline)) == SQLITE_ROW) {
            a_oTake(oStatement);
        }
    }
    return a_oDatabase.getResultCode(iCode, "describe");
}

std::string quoted(const std::string& a_sText, char a_cQuote)
{
    const std::string sQuote(1, a_cQuote);
    return sQuote + SqliteString::replace(a_sText, sQuote, sQuote + sQuote) + sQuote;
}

/// A pragma about a table or index. Its table-valued function would give the same, but the guard of the
/// database refuses the virtual table that SQLite makes for it.
std::string pragma(const char* a_pPragma, const std::string& a_sName)
{
    return std::string("PRAGMA ") + a_pPragma + "(" + quoted(a_sName, '"') + ")";
}

std::string join(const NameList& a_lNames)
{
    std::string sJoined;
    for (const std::string& sName : a_lNames) {
        sJoined += (sJoined.empty() ? "" : ", ") + sName;
    }
    return sJoined;
}

/// For example " on delete cascade"; empty for NO ACTION.
std::string actionText(const char* a_pEvent, const std::string& a_sAction)
{
    std::string sText = a_sAction == "NO ACTION" ? "" : std::string(" on ") + a_pEvent + " " + a_sAction;
    std::ranges::transform(sText, sText.begin(), [](char a_c) {
        return a_c >= 'A' && a_c <= 'Z' ? static_cast<char>(a_c + 32) : a_c;
    });
    return sText;
}

EResultCode readColumns(SqliteWrapper& a_oDatabase, const std::string& a_sTable, NameList& a_lColumns,
                        std::vector<ColumnFact>& a_lFacts)
{
    enum
    {
        Name = 1,
        NotNull = 3,
        Default = 4,
        Key = 5
    };
    std::map<int, std::string> mKey; // by position in the key
    std::vector<ColumnFact> lOthers;
    const EResultCode eCode =
        forEachRow(a_oDatabase, pragma("table_xinfo", a_sTable), [&](SqliteStatement& a_oRow) {
            const std::string sName = a_oRow.readText(Name);
            a_lColumns.add(sName);
            if (const int iPosition = std::atoi(a_oRow.readText(Key).c_str()); iPosition > 0) {
                mKey[iPosition] = sName;
            }
            if (a_oRow.readText(NotNull) != "0") {
                lOthers.push_back({EKind::NotNull, {sName}, {}});
            }
            if (std::string sDefault = a_oRow.readText(Default); !sDefault.empty()) {
                lOthers.push_back({EKind::Default, {sName}, std::move(sDefault)});
            }
        });
    if (!mKey.empty()) {
        ColumnFact oKey{EKind::PrimaryKey, {}, {}};
        for (const auto& [iPosition, sName] : mKey) {
            oKey.m_lColumns.add(sName);
        }
        a_lFacts.push_back(std::move(oKey));
    }
    std::ranges::move(lOthers, std::back_inserter(a_lFacts));
    return eCode;
}

EResultCode readUniques(SqliteWrapper& a_oDatabase, const std::string& a_sTable,
                        std::vector<ColumnFact>& a_lFacts)
{
    enum
    {
        Name = 1,
        IsUnique = 2,
        Origin = 3,
        IsPartial = 4
    };
    std::vector<std::pair<std::string, ColumnFact>> lIndexes;
    EResultCode eCode = forEachRow(a_oDatabase, pragma("index_list", a_sTable), [&](SqliteStatement& a_oRow) {
        if (a_oRow.readText(IsUnique) != "0" && a_oRow.readText(Origin) != "pk") {
            lIndexes.push_back(
                {a_oRow.readText(Name),
                 {EKind::Unique, {}, a_oRow.readText(IsPartial) == "0" ? "" : "among some rows"}});
        }
    });
    for (auto& [sIndex, oUnique] : lIndexes | std::views::reverse) { // SQLite lists the newest first
        if (eCode == EResultCode::Success) {
            constexpr int c_iColumn = 2;
            eCode = forEachRow(a_oDatabase, pragma("index_info", sIndex), [&](SqliteStatement& a_oRow) {
                const std::string sColumn = a_oRow.readText(c_iColumn);
                oUnique.m_lColumns.add(sColumn.empty() ? "an expression" : sColumn);
            });
            a_lFacts.push_back(std::move(oUnique));
        }
    }
    return eCode;
}

EResultCode readReferences(SqliteWrapper& a_oDatabase, const std::string& a_sTable,
                           std::vector<ColumnFact>& a_lFacts)
{
    enum
    {
        Id = 0,
        Table = 2,
        From = 3,
        To = 4,
        OnUpdate = 5,
        OnDelete = 6
    };
    struct Reference
    {
        std::string m_sId;
        std::string m_sTable;
        std::string m_sActions;
        NameList m_lFrom{};
        NameList m_lTo{};
    };
    std::vector<Reference> lReferences;
    const EResultCode eCode =
        forEachRow(a_oDatabase, pragma("foreign_key_list", a_sTable), [&](SqliteStatement& a_oRow) {
            std::string sId = a_oRow.readText(Id);
            if (lReferences.empty() || lReferences.back().m_sId != sId) {
                lReferences.push_back({std::move(sId), a_oRow.readText(Table),
                                       actionText("update", a_oRow.readText(OnUpdate)) +
                                           actionText("delete", a_oRow.readText(OnDelete))});
            }
            lReferences.back().m_lFrom.add(a_oRow.readText(From));
            if (std::string sTo = a_oRow.readText(To); !sTo.empty()) { // else it is the primary key
                lReferences.back().m_lTo.add(std::move(sTo));
            }
        });
    for (auto& oReference : lReferences | std::views::reverse) {
        const std::string sTo = oReference.m_lTo.empty() ? "" : "(" + join(oReference.m_lTo) + ")";
        a_lFacts.push_back({EKind::Reference, std::move(oReference.m_lFrom),
                            oReference.m_sTable + sTo + oReference.m_sActions});
    }
    return eCode;
}

} // namespace

EResultCode describeTable(TableDescription& a_oDescription, SqliteWrapper& a_oDatabase,
                          const std::string& a_sTable)
{
    std::string sType;
    std::string sCreate;
    bool bTriggers = false;
    EResultCode eCode = forEachRow(
        a_oDatabase, "SELECT type, sql FROM sqlite_master WHERE tbl_name = " + quoted(a_sTable, '\''),
        [&](SqliteStatement& a_oRow) {
            const std::string sRowType = a_oRow.readText();
            bTriggers = bTriggers || sRowType == "trigger";
            if (sRowType == "table" || sRowType == "view") {
                sType = sRowType;
                sCreate = a_oRow.readText(1);
            }
        });
    if (eCode != EResultCode::Success) {
        return eCode;
    }
    if (sType.empty()) {
        return a_oDatabase.logError("describe", EResultCode::NoTable);
    }
    if (sType == "view") {
        a_oDescription.m_eKind = ETableKind::View;
        a_oDescription.m_bWritable = bTriggers; // INSTEAD OF triggers make a view writable
        return EResultCode::Success;
    }
    NameList lColumns;
    auto& lFacts = a_oDescription.m_lFacts;
    eCode = readColumns(a_oDatabase, a_sTable, lColumns, lFacts);
    for (const auto pRead : {readUniques, readReferences}) {
        if (eCode == EResultCode::Success) {
            eCode = pRead(a_oDatabase, a_sTable, lFacts);
        }
    }
    std::ranges::move(findChecks(sCreate, lColumns), std::back_inserter(lFacts));
    return eCode;
}

} // namespace systema

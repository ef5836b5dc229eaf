#include "cli/commands.h"

#include "cli/cell.h"
#include "cli/commandline.h"
#include "cli/input.h"
#include "cli/keycheck.h"
#include "cli/namecheck.h"
#include "cli/nearest.h"
#include "cli/readerwatch.h"
#include "cli/schemaform.h"
#include "cli/utf8.h"
#include "cli/words.h"
#include "cli/write.h"
#include "cli/writebatch.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace systema::cli {

namespace request = client::request;

namespace {

/// The rows that reading the table gives: some tables give their size as 0 whatever they hold.
client::Result<std::uint32_t> countRows(client::Connection& a_oConnection, const std::string& a_sTable)
{
    const auto oRows = a_oConnection.call(request::SelectRows{a_sTable, {}});
    return {client::Status(oRows), oRows.ok() ? static_cast<std::uint32_t>(oRows->size()) : 0};
}

} // namespace

Outcome runTables(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    const auto oTables = oConnection.call(request::GetTables{});
    if (oTables.ok() && a_oArguments.m_bLong) {
        client::Rows oRows(NameList{"table", "kind", "access"});
        for (const std::string& sTable : *oTables) {
            const auto oDescription = oConnection.call(request::Describe{sTable});
            if (!oDescription.ok()) {
                return oDescription;
            }
            oRows.add({Value(EDataType::Text, sTable), Value(EDataType::Text, kindName(*oDescription)),
                       Value(EDataType::Text, accessName(*oDescription))});
        }
        a_oSession.m_oPrinter.printRows(oRows);
    } else if (oTables.ok()) {
        a_oSession.m_oPrinter.printNames("table", *oTables);
    }
    return oTables;
}

Outcome runSchema(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    auto oColumns = oConnection.call(request::GetSchema{a_oArguments.m_sTable});
    if (!oColumns.ok()) {
        return explained(a_oSession, oColumns, a_oArguments);
    }
    TableSchema oSchema{std::move(*oColumns)};
    auto oDescription = oConnection.call(request::Describe{a_oArguments.m_sTable});
    if (!oDescription.ok() && oDescription.code() != EResultCode::Protocol) {
        return oDescription;
    }
    if (oDescription.ok()) {
        if (oDescription->m_eKind == ETableKind::Stored) {
            oSchema.m_lReferrers = referrersTo(a_oArguments.m_sTable, readReferences(oConnection));
        }
        oSchema.m_oDescription = std::move(*oDescription);
    }
    a_oSession.m_oPrinter.printSchema(oSchema);
    return {};
}

Outcome runCount(Session& a_oSession, const Arguments& a_oArguments)
{
    auto oCount = a_oSession.m_oConnection.call(request::GetSize{a_oArguments.m_sTable});
    if (oCount.ok() && *oCount == 0) {
        oCount = countRows(a_oSession.m_oConnection, a_oArguments.m_sTable);
    }
    if (oCount.ok()) {
        a_oSession.m_oPrinter.printCount(*oCount);
    }
    const Outcome oOutcome = explained(a_oSession, oCount, a_oArguments);
    return oOutcome.ok() || oOutcome.m_sText != oCount.text()
               ? oOutcome
               : Outcome(oCount, "table \"" + a_oArguments.m_sTable + "\": ");
}

namespace {

constexpr std::size_t c_iAllRows = std::numeric_limits<std::size_t>::max();

/// The rows that show the value of the key, with the wanted columns; found here, not by the daemon.
client::Result<client::Rows> readMatchingRows(client::Connection& a_oConnection,
                                              const Arguments& a_oArguments, std::size_t a_iMost = c_iAllRows)
{
    const std::string& sTable = a_oArguments.m_sTable;
    const auto& [sKey, oText] = *a_oArguments.m_oKey;
    NameList lRead(a_oArguments.m_lNames);
    if (!lRead.empty()) {
        lRead.add(sKey);
    }
    const auto oRows = a_oConnection.call(request::SelectRows{sTable, lRead});
    if (!oRows.ok()) {
        return client::Status(oRows);
    }
    const NameList& lColumns = oRows->columns();
    const auto itKey =
        std::ranges::find_if(lColumns, [&](const auto& a_sName) { return sameIgnoringCase(a_sName, sKey); });
    if (itKey == lColumns.end()) { // the daemon says with which code the table refuses it
        const client::Status oRefused = a_oConnection.call(request::SelectRows{sTable, {sKey}});
        return oRefused.ok() ? client::Status::refused(EResultCode::NoKey) : oRefused;
    }
    const auto iKey = static_cast<std::size_t>(itKey - lColumns.begin());
    const std::size_t iWanted = lRead.empty() ? lColumns.size() : lColumns.size() - 1;
    client::Rows oFound(NameList(std::vector(lColumns.begin(), lColumns.begin() + std::ptrdiff_t(iWanted))));
    for (std::size_t i = 0; i < oRows->size() && oFound.size() < a_iMost; ++i) {
        const auto lCells = (*oRows)[i].m_lCells;
        if (showsKey(lCells[iKey], oText)) {
            std::vector<Value> lValues;
            std::ranges::transform(lCells.first(iWanted), std::back_inserter(lValues), &wire::Cell::toValue);
            oFound.add(lValues);
        }
    }
    if (oFound.empty()) {
        return client::Status::refused(EResultCode::NoRow, oText ? std::string()
                                                                 : "no row of " + sTable + " has " +
                                                                       textOf(*a_oArguments.m_oKey));
    }
    return {client::Status(), std::move(oFound)};
}

client::Result<client::Rows> readWantedRows(client::Connection& a_oConnection, const Arguments& a_oArguments)
{
    const std::string& sTable = a_oArguments.m_sTable;
    const NameList lColumns(a_oArguments.m_lNames);
    if (a_oArguments.m_bAllMatching || KeyCheck(a_oConnection).needsRows(a_oArguments)) {
        return readMatchingRows(a_oConnection, a_oArguments, a_oArguments.m_bAllMatching ? c_iAllRows : 1);
    }
    if (!a_oArguments.m_oRow && !a_oArguments.m_oKey) {
        return a_oConnection.call(request::SelectRows{sTable, lColumns});
    }
    const auto oRow = a_oArguments.m_oRow
                          ? a_oConnection.call(request::SelectRow{sTable, *a_oArguments.m_oRow, lColumns})
                          : a_oConnection.call(request::SelectKey{sTable, a_oArguments.m_oKey->m_sColumn,
                                                                  *a_oArguments.m_oKey->m_oText, lColumns});
    return {client::Status(oRow), oRow.ok() ? client::Rows(*oRow) : client::Rows()};
}

/// Says that a read by key has left rows out. An Id is taken for that of one row.
void warnOfOthers(Session& a_oSession, const Arguments& a_oArguments)
{
    if (!a_oArguments.m_oKey || a_oArguments.m_bAllMatching ||
        sameIgnoringCase(a_oArguments.m_oKey->m_sColumn, "Id")) {
        return;
    }
    Arguments oAll = a_oArguments;
    oAll.m_lNames = {oAll.m_oKey->m_sColumn};
    const std::size_t iRows = readMatchingRows(a_oSession.m_oConnection, oAll)->size();
    if (iRows > 1) {
        a_oSession.m_oErrors << "ledgerctl: the first of " << iRows << " rows with "
                             << printable(textOf(*oAll.m_oKey)) << "; --all-matching shows them all"
                             << std::endl;
    }
}

Outcome printRows(Printer& a_oPrinter, const Arguments& a_oArguments, const client::Rows& a_oRows)
{
    if (a_oArguments.m_bValues) {
        return a_oPrinter.printValues(a_oRows);
    }
    a_oPrinter.printRows(a_oRows);
    return {};
}

} // namespace

Outcome runGet(Session& a_oSession, const Arguments& a_oArguments)
{
    const ReaderWatch oReader(a_oSession.m_iOutput);
    auto& oConnection = a_oSession.m_oConnection;
    const auto oRows = readWantedRows(oConnection, a_oArguments);
    if (!oRows.ok()) {
        return explained(a_oSession, oRows, a_oArguments);
    }
    const auto oColumns =
        NameCheck(oConnection)
            .checkColumns(a_oArguments.m_sTable, NameList(a_oArguments.m_lNames), oRows->columns());
    if (!oColumns.ok()) {
        return oColumns;
    }
    warnOfOthers(a_oSession, a_oArguments);
    return printRows(a_oSession.m_oPrinter, a_oArguments, *oRows);
}

Outcome runInfo(Session& a_oSession, const Arguments&)
{
    const auto oInfo = a_oSession.m_oConnection.call(request::Info{});
    if (oInfo.ok()) {
        a_oSession.m_oPrinter.printRecord(*oInfo);
    }
    return oInfo;
}

// ---------------------------------------------------------------------------------------------------------
// batch

namespace {

struct Line
{
    std::string m_sContext; // "line 3: "
    Arguments m_oArguments;
    ValueList m_lValues{};
    bool m_bImmediate = false; // the write holds at once, and no rollback undoes it
};

/// The words of the next command, which may go over several lines. False at the end of the input.
bool readCommand(std::istream& a_oInput, unsigned& a_iLines, WordSplitter& a_oWords, std::string& a_sFault)
{
    std::string sLine;
    auto eState = WordSplitter::EState::WantsLine;
    bool bAny = false;
    while (eState == WordSplitter::EState::WantsLine && std::getline(a_oInput, sLine)) {
        bAny = true;
        if (++a_iLines == 1 && sLine.starts_with("\xef\xbb\xbf")) { // which some editors put there
            sLine.erase(0, 3);
        }
        if (sLine.ends_with('\r')) {
            sLine.pop_back();
        }
        if (sLine.find('\0') != std::string::npos) {
            a_sFault = "it holds a NUL byte";
            return true;
        }
        eState = a_oWords.add(sLine);
    }
    if (eState == WordSplitter::EState::Operator) {
        a_sFault = "\"" + a_oWords.words().back() +
                   "\": a line has one command; quote what belongs to a value, like ';'";
    } else if (eState == WordSplitter::EState::BadEscape) {
        a_sFault = "$'text' is not closed, or has an escape that is not known";
    } else if (bAny && eState == WordSplitter::EState::WantsLine) {
        a_sFault = "a quote is not closed, or nothing follows a backslash";
    }
    return bAny;
}

Outcome parseLines(std::istream& a_oInput, std::ostream& a_oErrors, std::vector<Line>& a_lLines)
{
    CommandLine oGrammar(CommandLine::EGrammar::BatchLine);
    unsigned iLines = 0;
    for (;;) {
        const std::string sContext = "line " + std::to_string(iLines + 1) + ": ";
        WordSplitter oWords;
        std::string sFault;
        if (!readCommand(a_oInput, iLines, oWords, sFault)) {
            return {};
        }
        if (sFault.empty() && oWords.words().empty()) {
            continue;
        }
        if (sFault.empty() && oWords.words().front() == "ledgerctl") { // which the grammar would skip
            sFault = R"("ledgerctl" is no command of a batch, which has set, add, del)";
        }
        const Outcome oParsed =
            sFault.empty() ? oGrammar.parse(oWords.words(), a_oErrors) : Outcome::usage(sFault);
        if (!oParsed.ok()) {
            return Outcome::usage(sContext + oParsed.m_sText);
        }
        a_lLines.push_back({sContext, oGrammar.arguments()});
    }
}

Outcome typeLines(Session& a_oSession, std::vector<Line>& a_lLines)
{
    Schemas oSchemas(a_oSession.m_oConnection);
    for (Line& oLine : a_lLines) {
        auto oValues = oSchemas.typedValues(oLine.m_oArguments);
        if (!oValues.ok()) {
            return explained(a_oSession, oValues, oLine.m_oArguments, oLine.m_sContext);
        }
        oLine.m_lValues = std::move(*oValues);
        oLine.m_bImmediate = oSchemas.isImmediate(oLine.m_oArguments.m_sTable);
    }
    return {};
}

/// The first line that has failed, and why.
struct FailedLine
{
    const Line* m_pLine = nullptr; // null while none has
    client::Status m_oStatus;

    /// Notes what became of a line. False when it has failed.
    bool take(const Line& a_oLine, const client::Status& a_oStatus)
    {
        if (!a_oStatus.ok() && m_pLine == nullptr) {
            m_pLine = &a_oLine;
            m_oStatus = a_oStatus;
        }
        return a_oStatus.ok();
    }
};

/// The tables of the lines before one.
NameList tablesBefore(const std::vector<Line>& a_lLines, const Line& a_oLine)
{
    NameList lTables;
    for (auto it = a_lLines.begin(); &*it != &a_oLine; ++it) {
        lTables.add(it->m_oArguments.m_sTable);
    }
    return lTables;
}

/// Submits the request for each of the keys, or as it is when there are none to be found.
template<typename Request, typename Submit>
void submitByKeys(Request a_oRequest, const std::vector<Assignment>* a_pKeys, const Submit& a_oSubmit)
{
    if constexpr (requires { a_oRequest.m_sKeyColumn; }) {
        if (a_pKeys != nullptr) {
            for (const auto& [sColumn, oText] : *a_pKeys) {
                a_oRequest.m_sKeyColumn = sColumn;
                a_oRequest.m_sKeyValue = *oText;
                a_oSubmit(a_oRequest);
            }
            return;
        }
    }
    a_oSubmit(a_oRequest);
}

/// Submits the writes of the lines until one has failed. The lines, and what is written to, must outlive the
/// batch's answers. Around a write that holds at once, the answers are awaited: it is not made after a
/// failure.
void submitLines(client::Connection& a_oConnection, WriteBatch& a_oBatch, std::vector<Line>& a_lLines,
                 FailedLine& a_oFailed, std::vector<std::int32_t>& a_lIds,
                 std::vector<const Line*>& a_lStaying)
{
    KeyCheck oKeys(a_oConnection);
    for (auto it = a_lLines.begin(); it != a_lLines.end() && a_oFailed.m_pLine == nullptr; ++it) {
        const Arguments& oArguments = it->m_oArguments;
        const bool bByKeys = oKeys.concerns(oArguments);
        const auto oFound =
            bByKeys ? oKeys.find(oArguments) : client::Result<std::vector<Assignment>>(client::Status());
        if (!a_oFailed.take(*it, oFound)) {
            a_oBatch.fail(client::Status(oFound));
            break;
        }
        oKeys.forget(oArguments);
        if (it->m_bImmediate && !a_oBatch.wait()) {
            break;
        }
        const auto submit = [&](const auto& a_oRequest) {
            a_oBatch.add(a_oRequest, it->m_sContext, [&, pLine = &*it](const auto& a_oAnswer) {
                if (a_oAnswer.ok()) {
                    addId(a_lIds, a_oAnswer);
                }
                if (a_oAnswer.ok() && pLine->m_bImmediate) {
                    a_lStaying.push_back(pLine);
                }
                return a_oFailed.take(*pLine, a_oAnswer);
            });
        };
        std::visit([&](auto a_oRequest) { submitByKeys(a_oRequest, bByKeys ? &*oFound : nullptr, submit); },
                   makeWrite(oArguments, std::move(it->m_lValues)));
    }
}

} // namespace

Outcome runBatch(Session& a_oSession, const Arguments& a_oArguments)
{
    InputFile oInput(a_oSession.m_oInput, a_oArguments.m_sFile);
    std::vector<Line> lLines;
    Outcome oOutcome = parseLines(oInput.stream(), a_oSession.m_oErrors, lLines);
    if (!oInput.ok()) {
        return Outcome::usage(oInput.error());
    }
    if (oOutcome.ok()) {
        oOutcome = typeLines(a_oSession, lLines);
    }
    if (!oOutcome.ok()) {
        return oOutcome;
    }
    WriteBatch oBatch(a_oSession.m_oConnection);
    if (const auto oBegun = beginForReader(oBatch, a_oArguments.m_oWait, a_oSession.m_iOutput);
        !oBegun.ok()) {
        return explainBusy(oBegun, a_oArguments.m_oWait, "--wait");
    }
    FailedLine oFailed;
    std::vector<std::int32_t> lIds;
    std::vector<const Line*> lStaying;
    submitLines(a_oSession.m_oConnection, oBatch, lLines, oFailed, lIds, lStaying);
    oOutcome = oBatch.finish();
    if (oFailed.m_pLine != nullptr) {
        oOutcome = explained(a_oSession, oFailed.m_oStatus, oFailed.m_pLine->m_oArguments,
                             oFailed.m_pLine->m_sContext, tablesBefore(lLines, *oFailed.m_pLine));
    }
    if (!oOutcome.ok() && !lStaying.empty()) {
        oOutcome.m_sText += "; written for good, in tables that no rollback undoes:";
        for (const Line* pLine : lStaying) {
            oOutcome.m_sText += (pLine == lStaying.front() ? " " : ", ") +
                                pLine->m_sContext.substr(0, pLine->m_sContext.find(':'));
        }
        oOutcome.m_sText += "; nothing else is";
    }
    if (oOutcome.ok() && !lIds.empty()) {
        a_oSession.m_oPrinter.printIds(lIds);
    }
    return oOutcome;
}

} // namespace systema::cli

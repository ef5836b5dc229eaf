#include "cli/commands.h"

#include "cli/commandline.h"
#include "cli/input.h"
#include "cli/words.h"
#include "cli/write.h"
#include "cli/writebatch.h"
#include "client/transaction.h"

#include <type_traits>

namespace systema::cli {

namespace request = client::request;

namespace {

/// The ids that an answer gives: one for a new row, none for any other write.
template<typename Answer>
void addId(std::vector<std::int32_t>& a_lIds, const Answer& a_oAnswer)
{
    if constexpr (!std::is_same_v<Answer, client::Status>) {
        a_lIds.push_back(*a_oAnswer);
    }
}

/// Makes a write. When the transaction of another client is in the way, waits for its end and makes the write
/// in one of its own; what was refused so has changed nothing. A write that nothing is in the way of needs
/// none, and it would be wrong there: some tables can be written at any time, and the end of a transaction
/// resets its time-out.
template<typename Request>
client::ResultOf<Request> write(client::Connection& a_oConnection, const Request& a_oRequest,
                                std::chrono::milliseconds a_oWait)
{
    auto oAnswer = a_oConnection.call(a_oRequest);
    if (oAnswer.code() != EResultCode::Busy) {
        return oAnswer;
    }
    client::Transaction oTransaction(a_oConnection); // rolls back unless it is committed
    if (auto oBegun = oTransaction.begin(a_oWait); !oBegun.ok()) {
        return oBegun;
    }
    oAnswer = a_oConnection.call(a_oRequest);
    if (oAnswer.ok()) {
        if (auto oCommitted = oTransaction.commit(); !oCommitted.ok()) {
            return oCommitted;
        }
    }
    return oAnswer;
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

Outcome runTables(Session& a_oSession, const Arguments&)
{
    const auto oTables = a_oSession.m_oConnection.call(request::GetTables{});
    if (oTables.ok()) {
        a_oSession.m_oPrinter.printNames("table", *oTables);
    }
    return oTables;
}

Outcome runSchema(Session& a_oSession, const Arguments& a_oArguments)
{
    const auto oSchema = a_oSession.m_oConnection.call(request::GetSchema{a_oArguments.m_sTable});
    if (!oSchema.ok()) {
        return oSchema;
    }
    const auto oDescription = a_oSession.m_oConnection.call(request::Describe{a_oArguments.m_sTable});
    const bool bTooOld = oDescription.code() == EResultCode::Protocol;
    if (!oDescription.ok() && !bTooOld) {
        return oDescription;
    }
    a_oSession.m_oPrinter.printSchema(*oSchema, bTooOld ? std::nullopt : std::optional(*oDescription));
    return {};
}

Outcome runCount(Session& a_oSession, const Arguments& a_oArguments)
{
    const auto oCount = a_oSession.m_oConnection.call(request::GetSize{a_oArguments.m_sTable});
    if (oCount.ok()) {
        a_oSession.m_oPrinter.printCount(*oCount);
    }
    return oCount;
}

Outcome runGet(Session& a_oSession, const Arguments& a_oArguments)
{
    auto& oConnection = a_oSession.m_oConnection;
    const std::string& sTable = a_oArguments.m_sTable;
    const NameList lColumns(a_oArguments.m_lNames);
    if (!a_oArguments.m_oRow && !a_oArguments.m_oKey) {
        const auto oRows = oConnection.call(request::SelectRows{sTable, lColumns});
        return oRows.ok() ? printRows(a_oSession.m_oPrinter, a_oArguments, *oRows) : Outcome(oRows);
    }
    const auto oRow = a_oArguments.m_oRow
                          ? oConnection.call(request::SelectRow{sTable, *a_oArguments.m_oRow, lColumns})
                          : oConnection.call(request::SelectKey{sTable, a_oArguments.m_oKey->m_sColumn,
                                                                *a_oArguments.m_oKey->m_oText, lColumns});
    return oRow.ok() ? printRows(a_oSession.m_oPrinter, a_oArguments, client::Rows(*oRow)) : Outcome(oRow);
}

Outcome runInfo(Session& a_oSession, const Arguments&)
{
    const auto oInfo = a_oSession.m_oConnection.call(request::Info{});
    if (oInfo.ok()) {
        a_oSession.m_oPrinter.printRecord(*oInfo);
    }
    return oInfo;
}

Outcome runWrite(Session& a_oSession, const Arguments& a_oArguments)
{
    auto oValues = Schemas(a_oSession.m_oConnection).typedValues(a_oArguments);
    if (!oValues.ok()) {
        return oValues;
    }
    const auto oCall = [&](const auto& a_oRequest) -> Outcome {
        const auto oAnswer =
            write(a_oSession.m_oConnection, a_oRequest, a_oArguments.m_oTimeout.value_or(c_oAnswerTimeout));
        std::vector<std::int32_t> lIds;
        if (oAnswer.ok()) {
            addId(lIds, oAnswer);
        }
        if (!lIds.empty()) {
            a_oSession.m_oPrinter.printIds(lIds);
        }
        return oAnswer;
    };
    return std::visit(oCall, makeWrite(a_oArguments, std::move(*oValues)));
}

// ---------------------------------------------------------------------------------------------------------
// batch

namespace {

struct Line
{
    std::string m_sContext; // "line 3: "
    Arguments m_oArguments;
    ValueList m_lValues;
};

Outcome parseLines(std::istream& a_oInput, std::ostream& a_oErrors, std::vector<Line>& a_lLines)
{
    CommandLine oGrammar(CommandLine::EGrammar::BatchLine);
    std::string sLine;
    for (unsigned iNumber = 1; std::getline(a_oInput, sLine); ++iNumber) {
        const std::string sContext = "line " + std::to_string(iNumber) + ": ";
        auto oWords = splitWords(sLine);
        if (!oWords) {
            return Outcome::usage(sContext + "a quote is not closed, or nothing follows a backslash");
        }
        if (oWords->empty()) {
            continue;
        }
        if (const Outcome oParsed = oGrammar.parse(std::move(*oWords), a_oErrors); !oParsed.ok()) {
            return Outcome::usage(sContext + oParsed.m_sText);
        }
        a_lLines.push_back({sContext, oGrammar.arguments(), {}});
    }
    return {};
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
    if (!oOutcome.ok()) {
        return oOutcome;
    }
    Schemas oSchemas(a_oSession.m_oConnection);
    for (Line& oLine : lLines) {
        auto oValues = oSchemas.typedValues(oLine.m_oArguments);
        if (!oValues.ok()) {
            return Outcome(oValues, oLine.m_sContext);
        }
        oLine.m_lValues = std::move(*oValues);
    }

    WriteBatch oBatch(a_oSession.m_oConnection);
    if (const auto oBegun = oBatch.begin(a_oArguments.m_oWait); !oBegun.ok()) {
        return oBegun;
    }
    std::vector<std::int32_t> lIds;
    for (Line& oLine : lLines) {
        std::visit(
            [&](const auto& a_oRequest) {
                oBatch.add(a_oRequest, oLine.m_sContext, [&](const auto& a_oAnswer) {
                    if (a_oAnswer.ok()) {
                        addId(lIds, a_oAnswer);
                    }
                    return a_oAnswer.ok();
                });
            },
            makeWrite(oLine.m_oArguments, std::move(oLine.m_lValues)));
    }
    oOutcome = oBatch.finish();
    if (oOutcome.ok() && !lIds.empty()) {
        a_oSession.m_oPrinter.printIds(lIds);
    }
    return oOutcome;
}

} // namespace systema::cli

#include "cli/commandline.h"
#include "cli/commands.h"
#include "cli/input.h"
#include "cli/keycheck.h"
#include "cli/namecheck.h"
#include "cli/readerwatch.h"
#include "cli/words.h"
#include "cli/write.h"
#include "cli/writebatch.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>
#include <set>
#include <type_traits>

namespace systema::cli {

namespace {

/// Stands in place of the "$" of a value that is the name of a new row. No line holds this byte.
constexpr char c_cReference = '\0';

struct Line
{
    Arguments m_oArguments;
    CommandResult m_oResult;
    ValueList m_lValues{};
    bool m_bImmediate = false; // the write holds at once, and no rollback undoes it

    std::string context() const { return "line " + std::to_string(m_oResult.m_iLine) + ": "; }
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

bool isName(std::string_view a_sText)
{
    const auto isWord = [](unsigned char a_cByte) { return std::isalnum(a_cByte) != 0 || a_cByte == '_'; };
    return !a_sText.empty() && std::isdigit(static_cast<unsigned char>(a_sText.front())) == 0 &&
           std::ranges::all_of(a_sText, isWord);
}

/// The words, with the mark in each whose value is $NAME outside of quotes.
std::vector<std::string> markReferences(const WordSplitter& a_oWords)
{
    std::vector<std::string> lWords = a_oWords.words();
    for (const auto& [iWord, iDollar] : a_oWords.dollars()) {
        std::string& sWord = lWords[iWord];
        const std::string_view sOption = "--key=";
        const auto iEquals = sWord.find('=', sWord.starts_with(sOption) ? sOption.size() : 0);
        if (iEquals != std::string::npos && iEquals + 1 == iDollar && isName(sWord.substr(iDollar + 1))) {
            sWord[iDollar] = c_cReference;
        }
    }
    return lWords;
}

/// Calls the function with each value of the arguments that refers to a new row.
template<typename Use>
void forEachReference(Arguments& a_oArguments, const Use& a_oUse)
{
    const auto use = [&](std::optional<std::string>& a_oText) {
        if (a_oText && a_oText->starts_with(c_cReference)) {
            a_oUse(*a_oText);
        }
    };
    for (Assignment& oAssignment : a_oArguments.m_lAssignments) {
        use(oAssignment.m_oText);
    }
    if (a_oArguments.m_oKey) {
        use(a_oArguments.m_oKey->m_oText);
    }
}

/// Refuses names that no line before has given, and takes the one that this line gives.
Outcome checkNames(Arguments& a_oArguments, std::set<std::string>& a_lNames)
{
    Outcome oOutcome;
    forEachReference(a_oArguments, [&](const std::string& a_sText) {
        const std::string sName = a_sText.substr(1);
        if (!a_lNames.contains(sName)) {
            oOutcome = Outcome::usage("no line before has --as " + sName + "; quote '$" + sName +
                                      "' if it is a text");
        }
    });
    if (!oOutcome.ok() || !a_oArguments.m_oAs) {
        return oOutcome;
    }
    const std::string& sName = *a_oArguments.m_oAs;
    if (!isName(sName)) {
        return Outcome::usage("--as: \"" + sName + "\" is not a name of letters, digits and _");
    }
    return a_lNames.insert(sName).second ? Outcome()
                                         : Outcome::usage("a line before has --as " + sName + ", too");
}

/// Parses the words of a line, which have the fault unless it is empty.
Outcome parseLine(CommandLine& a_oGrammar, const WordSplitter& a_oWords, std::string a_sFault,
                  std::ostream& a_oErrors)
{
    if (a_sFault.empty() && a_oWords.words().front() == "ledgerctl") { // which the grammar would skip
        a_sFault = R"("ledgerctl" is no command of a batch, which has set, add, del)";
    }
    return a_sFault.empty() ? a_oGrammar.parse(markReferences(a_oWords), a_oErrors)
                            : Outcome::usage(std::move(a_sFault));
}

/// The failure of a line, noted in its result.
Outcome failLine(Line& a_oLine, Outcome a_oOutcome)
{
    a_oLine.m_oResult.m_eState = CommandResult::EState::Failed;
    a_oLine.m_oResult.m_oFailure = a_oOutcome;
    a_oOutcome.m_sText.insert(0, a_oLine.context());
    return a_oOutcome;
}

/// Parses the lines up to the first faulty one, which is the last then.
Outcome parseLines(std::istream& a_oInput, std::ostream& a_oErrors, std::vector<Line>& a_lLines)
{
    CommandLine oGrammar(CommandLine::EGrammar::BatchLine);
    std::set<std::string> lNames;
    unsigned iLines = 0;
    for (;;) {
        const unsigned iLine = iLines + 1;
        WordSplitter oWords;
        std::string sFault;
        if (!readCommand(a_oInput, iLines, oWords, sFault)) {
            return {};
        }
        if (sFault.empty() && oWords.words().empty()) {
            continue;
        }
        Outcome oParsed = parseLine(oGrammar, oWords, sFault, a_oErrors);
        Line& oLine = a_lLines.emplace_back(Line{oGrammar.arguments(), CommandResult{iLine}});
        if (oParsed.ok()) {
            oParsed = checkNames(oLine.m_oArguments, lNames);
        }
        if (!oParsed.ok()) {
            return failLine(oLine, std::move(oParsed));
        }
    }
}

/// The tables of the lines before one.
NameList tablesBefore(const std::vector<Line>& a_lLines, const Line& a_oLine)
{
    NameList lTables;
    for (auto it = a_lLines.begin(); &*it != &a_oLine; ++it) {
        lTables.add(it->m_oArguments.m_sTable);
    }
    return lTables;
}

Outcome typeLines(Session& a_oSession, Schemas& a_oSchemas, std::vector<Line>& a_lLines)
{
    for (Line& oLine : a_lLines) {
        Arguments oArguments = oLine.m_oArguments;
        forEachReference(oArguments, [](std::string& a_sText) { a_sText = "1"; }); // as any id
        auto oValues = a_oSchemas.typedValues(oArguments);
        if (!oValues.ok()) {
            return failLine(oLine, explained(a_oSession, oValues, oArguments));
        }
        oLine.m_lValues = std::move(*oValues);
        oLine.m_bImmediate = a_oSchemas.isImmediate(oLine.m_oArguments.m_sTable);
    }
    return {};
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

/// Makes the writes of a batch's lines until one has failed. Made for one batch by runBatch.
class LineWriter
{
public:
    LineWriter(Session& a_oSession, WriteBatch& a_oBatch, Schemas& a_oSchemas)
        : m_oSession(a_oSession),
          m_oBatch(a_oBatch),
          m_oSchemas(a_oSchemas),
          m_oKeys(a_oSession.m_oConnection)
    {
    }

    /// Submits the lines, which must outlive the batch's answers.
    void submit(std::vector<Line>& a_lLines)
    {
        for (auto it = a_lLines.begin(); it != a_lLines.end() && m_pFailed == nullptr && submit(*it); ++it) {
        }
    }
    /// Ends the batch and notes in the lines what became of them.
    Outcome finish(std::vector<Line>& a_lLines);

private:
    bool submit(Line& a_oLine);
    bool replaceReferences(Line& a_oLine);
    bool check(Line& a_oLine, const client::Status& a_oStatus);
    bool take(Line& a_oLine, const client::Status& a_oStatus);
    std::string staying() const;

    Session& m_oSession;
    WriteBatch& m_oBatch;
    Schemas& m_oSchemas;
    KeyCheck m_oKeys;
    Line* m_pFailed = nullptr; // the first one
    client::Status m_oFailure;
    std::map<std::string, std::int32_t> m_mIds; // by the names of --as
    std::vector<const Line*> m_lStaying;        // whose writes no rollback undoes
};

/// Puts the ids of new rows in place of their names. False when the batch has failed.
bool LineWriter::replaceReferences(Line& a_oLine)
{
    bool bAny = false;
    forEachReference(a_oLine.m_oArguments, [&](const std::string&) { bAny = true; });
    if (!bAny) {
        return true;
    }
    if (!m_oBatch.wait()) {
        return false;
    }
    forEachReference(a_oLine.m_oArguments,
                     [&](std::string& a_sText) { a_sText = std::to_string(m_mIds[a_sText.substr(1)]); });
    auto oValues = m_oSchemas.typedValues(a_oLine.m_oArguments);
    a_oLine.m_lValues = std::move(*oValues);
    return check(a_oLine, oValues);
}

/// Fails the batch unless the status, of a check before a write of the line, is a success. False also when
/// a line before has failed meanwhile, whose answer came with that of the check: this one is not run then.
bool LineWriter::check(Line& a_oLine, const client::Status& a_oStatus)
{
    if (m_oBatch.failure().ok() && !take(a_oLine, a_oStatus)) {
        m_oBatch.fail(a_oStatus);
    }
    return m_oBatch.failure().ok();
}

/// Submits a line. False when the batch has failed. Around a write that holds at once, the answers are
/// awaited: it is not made after a failure.
bool LineWriter::submit(Line& a_oLine)
{
    if (!replaceReferences(a_oLine)) {
        return false;
    }
    const Arguments& oArguments = a_oLine.m_oArguments;
    const bool bByKeys = m_oKeys.concerns(oArguments);
    const auto oFound =
        bByKeys ? m_oKeys.find(oArguments) : client::Result<std::vector<Assignment>>(client::Status());
    if (!check(a_oLine, oFound)) {
        return false;
    }
    m_oKeys.forget(oArguments);
    const auto add = [&](const auto& a_oRequest) {
        if (a_oLine.m_bImmediate && !m_oBatch.wait()) {
            return;
        }
        m_oBatch.add(a_oRequest, a_oLine.context(), [this, &a_oLine](const auto& a_oAnswer) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(a_oAnswer)>, client::Status>) {
                if (a_oAnswer.ok()) {
                    a_oLine.m_oResult.m_oId = *a_oAnswer;
                }
                if (a_oAnswer.ok() && a_oLine.m_oArguments.m_oAs) {
                    m_mIds[*a_oLine.m_oArguments.m_oAs] = *a_oAnswer;
                }
            }
            if (a_oAnswer.ok() && a_oLine.m_oResult.m_eState == CommandResult::EState::NotRun) {
                a_oLine.m_oResult.m_eState = CommandResult::EState::Done;
                if (a_oLine.m_bImmediate) {
                    m_lStaying.push_back(&a_oLine);
                }
            }
            return take(a_oLine, a_oAnswer);
        });
    };
    std::visit([&](auto a_oRequest) { submitByKeys(a_oRequest, bByKeys ? &*oFound : nullptr, add); },
               makeWrite(oArguments, std::move(a_oLine.m_lValues)));
    return m_oBatch.failure().ok();
}

/// Notes what became of a write of the line. False when it has failed.
bool LineWriter::take(Line& a_oLine, const client::Status& a_oStatus)
{
    const bool bNotFirst = a_oLine.m_oResult.m_eState == CommandResult::EState::Done;
    if (a_oStatus.ok() || (bNotFirst && isGoneBefore(a_oLine.m_oArguments, a_oStatus))) {
        return true;
    }
    a_oLine.m_oResult.m_eState =
        a_oStatus.isConnectionError() ? CommandResult::EState::Unknown : CommandResult::EState::Undone;
    if (m_pFailed == nullptr) {
        m_pFailed = &a_oLine;
        m_oFailure = a_oStatus;
    }
    return false;
}

std::string LineWriter::staying() const
{
    std::string sLines;
    for (const Line* pLine : m_lStaying) {
        sLines += (sLines.empty() ? " line " : ", line ") + std::to_string(pLine->m_oResult.m_iLine);
    }
    return sLines.empty()
               ? sLines
               : "; written for good, in tables that no rollback undoes:" + sLines + "; nothing else is";
}

Outcome LineWriter::finish(std::vector<Line>& a_lLines)
{
    Outcome oOutcome = m_oBatch.finish();
    if (oOutcome.ok()) {
        return oOutcome;
    }
    if (m_pFailed != nullptr) {
        const auto eState = m_pFailed->m_oResult.m_eState;
        oOutcome = failLine(*m_pFailed, explained(m_oSession, m_oFailure, m_pFailed->m_oArguments, {},
                                                  tablesBefore(a_lLines, *m_pFailed)));
        if (eState == CommandResult::EState::Unknown) {
            m_pFailed->m_oResult.m_eState = eState;
        }
    }
    for (Line& oLine : a_lLines) {
        if (oLine.m_oResult.m_eState == CommandResult::EState::Done && !oLine.m_bImmediate) {
            oLine.m_oResult.m_eState = oOutcome.m_iExit == c_iExitUnreachable ? CommandResult::EState::Unknown
                                                                              : CommandResult::EState::Undone;
        }
    }
    oOutcome.m_sText += staying();
    return oOutcome;
}

Outcome writeLines(Session& a_oSession, const Arguments& a_oArguments, std::vector<Line>& a_lLines)
{
    Schemas oSchemas(a_oSession.m_oConnection);
    if (Outcome oTyped = typeLines(a_oSession, oSchemas, a_lLines); !oTyped.ok()) {
        return oTyped;
    }
    WriteBatch oBatch(a_oSession.m_oConnection);
    if (const auto oBegun = beginForReader(oBatch, a_oArguments.m_oWait, a_oSession.m_iOutput);
        !oBegun.ok()) {
        return explainBusy(oBegun, a_oArguments.m_oWait, "--wait");
    }
    LineWriter oWriter(a_oSession, oBatch, oSchemas);
    oWriter.submit(a_lLines);
    return oWriter.finish(a_lLines);
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
        oOutcome = writeLines(a_oSession, a_oArguments, lLines);
    }
    std::vector<CommandResult> lResults;
    std::ranges::transform(lLines, std::back_inserter(lResults), &Line::m_oResult);
    a_oSession.m_oPrinter.printResults(lResults, oOutcome.ok());
    return oOutcome;
}

} // namespace systema::cli

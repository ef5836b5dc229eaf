#include "cli/commandline.h"

#include "cli/commands.h"
#include "options/helptext.h"
#include "options/nearest.h"
#include "options/usage.h"
#include "storage/storeconfiguration.h"
#include "zel/systempath.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>

namespace systema::cli {

namespace {

constexpr std::uint32_t c_iLongestTimeoutSeconds = 24 * 3600;

template<typename Int>
Int numberOr(const std::string& a_sOption, const std::string& a_sText, Int a_iLeast, Int a_iMost)
{
    const auto iNumber = parseNumber<Int>(a_sText);
    if (!iNumber || *iNumber < a_iLeast || *iNumber > a_iMost) {
        throw CLI::ValidationError(a_sOption, "\"" + a_sText + "\" is not a number of " +
                                                  std::to_string(a_iLeast) + " to " +
                                                  std::to_string(a_iMost));
    }
    return *iNumber;
}

/// An option with a number of 32 bits.
template<typename Take>
CLI::Option* addNumber(CLI::App& a_oApp, const std::string& a_sName, const std::string& a_sUnit,
                       const std::string& a_sHelp, std::uint32_t a_iLeast, std::uint32_t a_iMost,
                       Take a_oTake)
{
    const std::string sLongName = a_sName.substr(a_sName.find(',') + 1);
    return a_oApp
        .add_option_function<std::string>(
            a_sName,
            [=](const std::string& a_sText) { a_oTake(numberOr(sLongName, a_sText, a_iLeast, a_iMost)); },
            a_sHelp)
        ->type_name(a_sUnit);
}

Assignment assignmentOr(const std::string& a_sOption, const std::string& a_sText)
{
    auto oAssignment = parseAssignment(a_sText);
    if (!oAssignment) {
        throw CLI::ValidationError(a_sOption,
                                   "\"" + a_sText +
                                       "\" is not of the form COLUMN=VALUE, without blanks, nor COLUMN:null");
    }
    return std::move(*oAssignment);
}

/// A column that is given twice is a mistake: one of its values would be lost without a word.
void addAssignment(std::vector<Assignment>& a_lAssignments, Assignment a_oAssignment)
{
    const std::string& sColumn = a_oAssignment.m_sColumn;
    if (std::ranges::any_of(a_lAssignments, [&](const Assignment& a_oOther) {
            return sameIgnoringCase(a_oOther.m_sColumn, sColumn);
        })) {
        throw CLI::ValidationError("COLUMN=VALUE", "the column \"" + sColumn + "\" is given twice");
    }
    a_lAssignments.push_back(std::move(a_oAssignment));
}

/// An empty word, as a script's variable that is not set makes of it, is no file; it is not the default
/// either.
CLI::Option* addFile(CLI::App& a_oApp, const std::string& a_sName, std::string& a_sFile,
                     const std::string& a_sHelp)
{
    return a_oApp.add_option(a_sName, a_sFile, a_sHelp)->check([](const std::string& a_sText) {
        return a_sText.empty() ? std::string("the name is empty") : std::string();
    });
}

// ---------------------------------------------------------------------------------------------------------
// The arguments of the commands

void declareNothing(CLI::App&, Arguments&) {}

void declareTables(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_flag("-l,--long", a_oArguments.m_bLong,
                    "show also the kind of each, and whether it is writable");
}

void declareTable(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("TABLE", a_oArguments.m_sTable, "name of the table")->required();
}

void declareAssignments(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp
        .add_option_function<std::vector<std::string>>(
            "COLUMN=VALUE",
            [&](const std::vector<std::string>& a_lWords) {
                for (const auto& sWord : a_lWords) {
                    addAssignment(a_oArguments.m_lAssignments, assignmentOr("COLUMN=VALUE", sWord));
                }
            },
            "values; COLUMN= for an empty text, COLUMN:null for NULL")
        ->required();
}

/// Which row is meant; the options exclude each other.
CLI::App& declareTarget(CLI::App& a_oApp, Arguments& a_oArguments, bool a_bRequired)
{
    CLI::App& oTarget = *a_oApp.add_option_group("row");
    oTarget.set_help_flag(); // the command has it
    oTarget.require_option(a_bRequired ? 1 : 0, 1);
    oTarget.option_defaults()->group(a_bRequired ? "Exactly one of" : "At most one of");
    addNumber(oTarget, "--row", "N", "the row at the position, counted from 0", 0, 0xffffffff,
              [&](std::uint32_t a_iRow) { a_oArguments.m_oRow = a_iRow; });
    oTarget
        .add_option_function<std::string>(
            "--key",
            [&](const std::string& a_sText) { a_oArguments.m_oKey = assignmentOr("--key", a_sText); },
            (a_bRequired ? "the only row" : "the first row") +
                std::string(" whose column has the value;\nCOLUMN:null for one whose column is NULL"))
        ->type_name("COLUMN=VALUE");
    return oTarget;
}

void declareAllMatching(CLI::App& a_oApp, Arguments& a_oArguments, CLI::App& a_oTarget,
                        const std::string& a_sAlone)
{
    a_oApp
        .add_flag("--all-matching", a_oArguments.m_bAllMatching,
                  "every row whose column has the value, where --key alone " + a_sAlone)
        ->needs(a_oTarget.get_option("--key"));
}

void declareGet(CLI::App& a_oApp, Arguments& a_oArguments)
{
    declareTable(a_oApp, a_oArguments);
    a_oApp.add_option("COLUMN", a_oArguments.m_lNames, "the columns wanted, all by default");
    a_oApp.add_flag("-v,--value", a_oArguments.m_bValues, "write bare values, one a line")
        ->excludes(a_oApp.get_parent()->get_option("--json"))
        ->excludes(a_oApp.get_parent()->get_option("--csv"));
    declareAllMatching(a_oApp, a_oArguments, declareTarget(a_oApp, a_oArguments, false), "shows the first");
}

void declareSet(CLI::App& a_oApp, Arguments& a_oArguments)
{
    declareTable(a_oApp, a_oArguments);
    declareAllMatching(a_oApp, a_oArguments, declareTarget(a_oApp, a_oArguments, true),
                       "refuses more than one");
    declareAssignments(a_oApp, a_oArguments);
}

void declareAdd(CLI::App& a_oApp, Arguments& a_oArguments)
{
    declareTable(a_oApp, a_oArguments);
    declareAssignments(a_oApp, a_oArguments);
}

/// What add takes in a batch alone.
void declareAs(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("--as", a_oArguments.m_oAs, "the name by which later lines call the id")
        ->type_name("NAME");
}

void declareDel(CLI::App& a_oApp, Arguments& a_oArguments)
{
    declareTable(a_oApp, a_oArguments);
    CLI::App& oTarget = declareTarget(a_oApp, a_oArguments, true);
    oTarget.add_flag("--all", a_oArguments.m_bAll, "every row");
    declareAllMatching(a_oApp, a_oArguments, oTarget, "refuses more than one");
}

void declareWatch(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("TABLE", a_oArguments.m_lNames, "the tables to watch")->required();
    a_oApp.add_flag("--rows", a_oArguments.m_bRows, "show what changed in the rows");
    a_oApp
        .add_option_function<std::string>(
            "--column",
            [&](const std::string& a_sColumn) {
                a_oArguments.m_bRows = true;
                a_oArguments.m_lColumns.push_back(a_sColumn);
            },
            "--rows, but of changed rows only this column; may be repeated")
        ->type_name("COLUMN")
        ->trigger_on_parse()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    a_oApp.add_flag("--initial", a_oArguments.m_bInitial,
                    "once changes are told, show each table as if it had changed");
    a_oApp.add_flag("--reconnect", a_oArguments.m_bReconnect,
                    "wait for a daemon that is not there or restarts");
}

/// A file of writes, and how long they may wait for their transaction.
void declareWrites(CLI::App& a_oApp, Arguments& a_oArguments)
{
    addFile(a_oApp, "FILE", a_oArguments.m_sFile, "the file to read, standard input by default");
    addNumber(a_oApp, "--wait", "MS", "how long to wait for another transaction to end", 0, 0xffffffff,
              [&](std::uint32_t a_iMs) { a_oArguments.m_oWait = std::chrono::milliseconds(a_iMs); });
}

void declareExport(CLI::App& a_oApp, Arguments& a_oArguments)
{
    a_oApp.add_option("TABLE", a_oArguments.m_lNames, "the tables to export, all stored ones by default");
    addFile(a_oApp, "-o,--output", a_oArguments.m_sOutput,
            "the file to write, for its owner alone; - or none for standard output")
        ->type_name("FILE");
}

void declareFifo(CLI::App& a_oApp, Arguments& a_oArguments)
{
    addFile(a_oApp, "-f,--fifo", a_oArguments.m_sFifo, "the daemon's FIFO")
        ->type_name("FILE")
        ->default_str(a_oArguments.m_sFifo);
}

/// The commands of the FIFO, each in the words that the daemon wants: one blank before the argument.
void declareControl(CLI::App& a_oApp, Arguments& a_oArguments)
{
    declareFifo(a_oApp, a_oArguments);
    a_oApp.footer("Ends when the daemon has taken it: ledgerctl info shows mode, wait time and lock, the log "
                  "what was done.");
    a_oApp.require_subcommand(1);
    constexpr std::pair<const char*, const char*> c_aPlain[] = {
        {"trigger", "save now"},
        {"lock", "refuse writes, and hold back notifications and saves"},
        {"unlock", "end the lock"},
    };
    for (const auto& [pName, pHelp] : c_aPlain) {
        a_oApp.add_subcommand(pName, pHelp)->final_callback([&, pText = pName] {
            a_oArguments.m_sControl = pText;
        });
    }
    CLI::App& oDump = *a_oApp.add_subcommand("dump", "write databases to the dump directory");
    oDump.require_option(1);
    oDump.option_defaults()->group("Exactly one of");
    constexpr std::pair<const char*, const char*> c_aSelections[] = {
        {"-a,--all", "all of them"},
        {"-p,--persistent", "the persistent ones"},
        {"-t,--transient", "the transient one (no time, as it is before ctl)"},
    };
    for (const auto& [pNames, pHelp] : c_aSelections) {
        const std::string sText = "dump " + std::string(pNames, 2);
        oDump.add_flag_callback(
            pNames, [&, sText] { a_oArguments.m_sControl = sText; }, pHelp);
    }
    CLI::App& oWait =
        *a_oApp.add_subcommand("waittime", "how long a change waits to be saved, until persistmode sets it");
    addNumber(
        oWait, "SECONDS", "", "0 to save nothing but on a trigger and at the end", 0, 0x7fffffff,
        [&](std::uint32_t a_iSeconds) { a_oArguments.m_sControl = "waittime " + std::to_string(a_iSeconds); })
        ->required();
    CLI::App& oMode = *a_oApp.add_subcommand("persistmode", "whether and when changes are saved");
    oMode.footer("default    dumps and saves 10 s after a change, whatever the wait time was\n"
                 "redundant  dumps and saves on a trigger and at the end: sets the wait time to 0\n"
                 "nosqldump  neither dumps nor saves: changes wait for another mode");
    oMode
        .add_option_function<std::string>(
            "MODE", [&](const std::string& a_sMode) { a_oArguments.m_sControl = "persistmode " + a_sMode; },
            "default, redundant or nosqldump")
        ->required()
        ->check([](const std::string& a_sMode) {
            const std::vector<std::string> lModes{"default", "redundant", "nosqldump"};
            return std::ranges::count(lModes, a_sMode) > 0
                       ? std::string()
                       : "\"" + a_sMode + "\" is none of default, redundant and nosqldump" +
                             suggestion(a_sMode, lModes);
        });
}

void declareBackup(CLI::App& a_oApp, Arguments& a_oArguments)
{
    addFile(a_oApp, "FILE", a_oArguments.m_sFile,
            "the archive to write, zipped if it ends in .gz or .tgz; - for\nstandard output, zipped")
        ->required();
    declareFifo(a_oApp, a_oArguments);
    addFile(a_oApp, "-x,--dump-path", a_oArguments.m_sDumpDirectory, "where the daemon writes its dumps")
        ->type_name("DIR")
        ->default_str(a_oArguments.m_sDumpDirectory);
}

void declareRestoreCheck(CLI::App& a_oApp, Arguments& a_oArguments)
{
    addFile(a_oApp, "DIR", a_oArguments.m_sDirectory, "directory of dumps, or of generations of them")
        ->required();
}

constexpr std::array c_aCommands = {
    Command{"tables", "names of all tables", declareTables, runTables},
    Command{"schema", "columns of a table, and what they demand", declareTable, runSchema},
    Command{"count", "number of rows of a table", declareTable, runCount},
    Command{"get", "rows of a table", declareGet, runGet},
    Command{"set", "change a row", declareSet, runWrite, EWrite::Set},
    Command{"add", "add a row and print its id", declareAdd, runWrite, EWrite::Add},
    Command{"del", "delete a row, or all of them", declareDel, runWrite, EWrite::Del},
    Command{"watch", "each table's name when it has changed, until interrupted", declareWatch, runWatch},
    Command{"batch", "set, add and del lines as one transaction", declareWrites, runBatch},
    Command{"export", "tables as JSON", declareExport, runExport},
    Command{"import", "bring exported tables back", declareWrites, runImport},
    Command{"info", "version, load and saving of the daemon", declareNothing, runInfo},
    Command{"ctl", "have the databases saved, or steer when they are", declareControl, runControl,
            EWrite::None, false},
    Command{"backup", "have the databases dumped and pack the dumps", declareBackup, runBackup, EWrite::None,
            false},
    Command{"restore-check", "whether dumps are complete and can be loaded", declareRestoreCheck,
            runRestoreCheck, EWrite::None, false},
};

constexpr const char* c_pFirstSteps = R"(
First steps:
  ledgerctl tables                               which tables there are
  ledgerctl schema NtpServer                     which columns one has
  ledgerctl get -v NtpServer Address --key Id=1  one cell
  ledgerctl set NtpServer --key Id=1 Address=x   change it
  ledgerctl watch --rows NtpServer               follow what changes
)";

constexpr const char* c_pExitStatus =
    R"(Exit status: 0 done. Refused by the daemon: 1 failure, 2 busy, 3 locked,
4 read-only, 5 protocol error, 6 constraint, 7 type, 8 no such table or column,
9 no such column or key of a live table, 10 no such row. 64 usage, 69 no daemon.)";

void declareProgram(CLI::App& a_oApp, Arguments& a_oArguments)
{
    setUpProgram(a_oApp, "--version", true, c_pFirstSteps);
    a_oApp.footer(c_pExitStatus);
    a_oApp.description("Reads and writes the configuration tables of ledgerd.");
    addFile(a_oApp, "-s,--socket", a_oArguments.m_sSocket, "the daemon's socket")
        ->type_name("SOCKET")
        ->default_str(a_oArguments.m_sSocket);
    addNumber(a_oApp, "-t,--timeout", "SECONDS", "how long an answer may take: 10, for a backup 90", 1,
              c_iLongestTimeoutSeconds,
              [&](std::uint32_t a_iSeconds) { a_oArguments.m_oTimeout = std::chrono::seconds(a_iSeconds); });
    auto* pJson = a_oApp.add_flag_callback(
        "--json", [&] { a_oArguments.m_eFormat = EFormat::Json; }, "write JSON");
    a_oApp
        .add_flag_callback(
            "--csv", [&] { a_oArguments.m_eFormat = EFormat::Csv; }, "write CSV")
        ->excludes(pJson);
}

Arguments defaultArguments()
{
    Arguments oArguments;
    oArguments.m_sSocket = zel::systemPath("/tmp/ledgerd.socket");
    oArguments.m_sFifo = zel::systemPath("/tmp/ledgerd.fifo");
    oArguments.m_sDumpDirectory =
        systema::StoreConfiguration().directory(systema::StoreConfiguration::c_pDumps);
    return oArguments;
}

// ---------------------------------------------------------------------------------------------------------
// Words that nothing takes

/// The command that does what other programs call by the word; empty for other words.
std::string synonym(const CLI::App& a_oProgram, const std::string& a_sWord)
{
    static constexpr std::pair<std::string_view, const char*> c_aSynonyms[] = {
        {"delete", "del"},
        {"remove", "del"},
        {"rm", "del"},
        {"insert", "add"},
        {"new", "add"},
        {"update", "set"},
        {"put", "set"},
        {"ls", "tables"},
        {"list", "tables"},
        {"describe", "schema"},
        {"show", "get"},
        {"select", "get"},
        {"read", "get"},
        {"status", "info"},
        {"monitor", "watch"},
        {"subscribe", "watch"},
        {"save", "ctl trigger"},
        {"persist", "ctl trigger"},
        {"check", "restore-check"},
        {"restore", "import\" or \"ledger-restore --from"},
    };
    const auto* const itSynonym = std::ranges::find(c_aSynonyms, std::string_view(a_sWord),
                                                    &std::pair<std::string_view, const char*>::first);
    if (itSynonym != std::end(c_aSynonyms)) {
        return itSynonym->second;
    }
    for (const CLI::App* pCommand : partsOf(a_oProgram, true)) {
        for (const CLI::App* pPart : partsOf(*pCommand, true)) {
            if (pPart->get_name() == a_sWord) {
                return pCommand->get_name() + " " + a_sWord;
            }
        }
    }
    return {};
}

/// Says that a command or an option does not exist; empty when the line has another fault.
std::string describeUnknownWord(const CLI::App& a_oApp, const std::string& a_sWhere)
{
    const auto oUnknown = findUnknownWord(a_oApp, a_sWhere);
    if (!oUnknown) {
        return {};
    }
    if (oUnknown->m_pCommand == &a_oApp && !oUnknown->isOption()) {
        const std::string& sWord = oUnknown->m_sWord;
        const auto lCommands = oUnknown->commands();
        if (std::ranges::any_of(c_aCommands,
                                [&](const Command& a_oCommand) { return a_oCommand.m_pName == sWord; })) {
            return "\"" + sWord + "\" is no command of " + a_sWhere + ", which has " +
                   CLI::detail::join(lCommands, ", ");
        }
        const std::string sSynonym = synonym(a_oApp, lowerCase(sWord));
        if (!sSynonym.empty() && (a_sWhere.empty() || std::ranges::count(lCommands, sSynonym) > 0)) {
            return unknownName("command", sWord, a_sWhere, {}) + "; did you mean \"" + sSynonym + "\"?";
        }
    }
    return oUnknown->describe();
}

/// Whether help is asked for on a command that does not exist.
bool isHelpOnNothing(const CLI::App& a_oApp)
{
    const auto lWords = a_oApp.remaining(true);
    const auto lParsed = a_oApp.get_subcommands();
    const CLI::App& oCommand = lParsed.empty() ? a_oApp : *lParsed.front();
    return !lWords.empty() && !lWords.front().starts_with('-') && !partsOf(oCommand, true).empty();
}

/// "help" and "version" as commands, for those who try these words first; options may stand before them.
void takeWordsForHelp(std::vector<std::string>& a_lWords)
{
    static const std::vector<std::string> lWithValue{"-s", "--socket", "-t", "--timeout"};
    auto it = a_lWords.begin();
    while (it != a_lWords.end() && it->starts_with('-')) {
        const bool bValue = std::ranges::count(lWithValue, *it) > 0;
        it += bValue && it + 1 != a_lWords.end() ? 2 : 1;
    }
    if (it != a_lWords.end() && (*it == "help" || *it == "version")) {
        const std::string sOption = "--" + *it;
        a_lWords.erase(it);
        a_lWords.push_back(sOption);
    }
}

} // namespace

std::span<const Command> commands()
{
    return c_aCommands;
}

CommandLine::CommandLine(EGrammar a_eGrammar)
    : m_pApp(std::make_unique<CLI::App>("", "ledgerctl")),
      m_sWhere(a_eGrammar == EGrammar::BatchLine ? "a batch" : ""),
      m_oDefaults(defaultArguments()),
      m_oArguments(m_oDefaults)
{
    if (a_eGrammar == EGrammar::Program) {
        declareProgram(*m_pApp, m_oArguments);
    } else {
        m_pApp->set_help_flag();
    }
    m_pApp->require_subcommand(1);
    m_pApp->fallthrough();
    for (const Command& oCommand : c_aCommands) {
        if (a_eGrammar == EGrammar::Program || oCommand.m_eWrite != EWrite::None) {
            CLI::App* pSub = m_pApp->add_subcommand(oCommand.m_pName, oCommand.m_pHelp);
            pSub->group("Commands");
            pSub->footer(""); // it would have the program's
            oCommand.m_pDeclare(*pSub, m_oArguments);
            if (a_eGrammar == EGrammar::BatchLine && oCommand.m_eWrite == EWrite::Add) {
                declareAs(*pSub, m_oArguments);
            }
            pSub->final_callback([this, &oCommand] {
                m_pCommand = &oCommand;
                m_oArguments.m_eWrite = oCommand.m_eWrite;
            });
        }
    }
}

CommandLine::~CommandLine() = default;

Outcome CommandLine::parse(std::vector<std::string> a_lWords, std::ostream& a_oOutput)
{
    m_oArguments = m_oDefaults;
    m_pCommand = nullptr;
    if (m_sWhere.empty()) {
        takeWordsForHelp(a_lWords);
    }
    const std::vector<std::string> lWords = a_lWords;
    const auto itKey = std::ranges::find_if(lWords, [](const std::string& a_sWord) {
        return !a_sWord.starts_with('-') && a_sWord.find('=') != std::string::npos;
    });
    std::ranges::reverse(a_lWords); // which is how they are wanted
    try {
        m_pApp->parse(std::move(a_lWords));
        return {};
    } catch (const CLI::ParseError& oError) {
        m_pCommand = nullptr;
        const bool bAnswer = oError.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        const bool bNothing = bAnswer && isHelpOnNothing(*m_pApp);
        if (bAnswer && !bNothing) {
            m_pApp->exit(oError, a_oOutput, a_oOutput);
            return {};
        }
        const auto iError = static_cast<CLI::ExitCodes>(oError.get_exit_code());
        std::string sText = describeUnknownWord(*m_pApp, m_sWhere); // it may be why something else is wrong
        const bool bHelps = !sText.empty() || iError == CLI::ExitCodes::RequiredError ||
                            iError == CLI::ExitCodes::ExtrasError ||
                            iError == CLI::ExitCodes::ArgumentMismatch;
        if (sText.empty()) {
            sText = reworded(oError.what());
            const bool bKeyGiven = std::ranges::any_of(
                lWords, [](const std::string& a_sWord) { return a_sWord.starts_with("--key"); });
            if (sText.starts_with("exactly one of --row,--key,--all") && itKey != lWords.end() &&
                !bKeyGiven) {
                sText += "; did you mean \"--key " + *itKey + "\"?";
            }
        }
        const bool bSuggests = sText.ends_with('?');
        if (m_sWhere.empty() && bHelps && !bSuggests) {
            sText += seeHelp(*m_pApp);
        }
        return Outcome::usage(std::move(sText));
    }
}

} // namespace systema::cli

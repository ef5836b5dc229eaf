// The grammar of the command line and of the lines of a batch: one table of commands, read with CLI11, which
// no other file sees. Nothing throws out of here.
#pragma once

#include "cli/arguments.h"
#include "cli/outcome.h"
#include "cli/session.h"

#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace systema::cli {

struct Command
{
    const char* m_pName;
    const char* m_pHelp;
    /// Adds the command's arguments to its part of the grammar.
    void (*m_pDeclare)(CLI::App& a_oApp, Arguments& a_oArguments);
    Outcome (*m_pRun)(Session& a_oSession, const Arguments& a_oArguments);
    EWrite m_eWrite = EWrite::None; // what writes may stand in a line of a batch
    bool m_bConnects = true;        // false: it works without the daemon's socket
};

/// Every command, in the order of the help.
std::span<const Command> commands();

/// Reads command lines. The arguments of the last one live until the next.
class CommandLine
{
public:
    enum class EGrammar
    {
        Program,  // the whole of ledgerctl's
        BatchLine // the writing commands and nothing else
    };

    explicit CommandLine(EGrammar a_eGrammar);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Reads the words that follow the program's name. 0 or 64. Help and version are printed right away;
    /// then, as after a failure, there is no command.
    Outcome parse(std::vector<std::string> a_lWords, std::ostream& a_oOutput);

    const Command* command() const { return m_pCommand; }
    const Arguments& arguments() const { return m_oArguments; }

private:
    std::unique_ptr<CLI::App> m_pApp;
    const std::string m_sWhere; // the commands stand, for the text of an error; empty for the program
    const Arguments m_oDefaults;
    Arguments m_oArguments;
    const Command* m_pCommand = nullptr;
};

} // namespace systema::cli

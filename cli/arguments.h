// The command line taken apart. Plain data; each command uses the members that concern it.
#pragma once

#include "cli/assignment.h"
#include "cli/printer.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace systema::cli {

/// How long an answer may take when nothing is said.
constexpr std::chrono::seconds c_oAnswerTimeout{10};

enum class EWrite
{
    None,
    Set,
    Add,
    Del
};

struct Arguments
{
    std::string m_sSocket;
    std::optional<std::chrono::seconds> m_oTimeout;
    EFormat m_eFormat = EFormat::Table;

    EWrite m_eWrite = EWrite::None; // of the command
    std::string m_sTable;
    std::vector<std::string> m_lNames; // tables or columns
    std::vector<Assignment> m_lAssignments;
    std::optional<std::uint32_t> m_oRow;
    std::optional<Assignment> m_oKey;
    std::optional<std::string> m_oAs; // the name of a new row, for later lines of a batch
    bool m_bAll = false;
    bool m_bAllMatching = false; // the rows of the key, however many
    bool m_bRows = false;
    std::vector<std::string> m_lColumns; // whose changes are to be shown, empty for all
    bool m_bInitial = false;             // show also what there is at the start
    bool m_bReconnect = false;           // wait for a daemon that is not there
    bool m_bLong = false;
    bool m_bValues = false; // bare ones
    std::string m_sFile;    // when it is read, empty or "-" for standard input
    std::string m_sOutput;  // the file to write, empty for standard output
    std::chrono::milliseconds m_oWait{0};

    std::string m_sFifo;
    std::string m_sControl; // the command for it, word for word
    std::string m_sDumpDirectory;
    std::string m_sDirectory; // of dumps to check
};

} // namespace systema::cli

// What a command works with: the connection, made before a command that needs it, and where its output goes.
#pragma once

#include "cli/printer.h"
#include "client/connection.h"

#include <istream>
#include <ostream>

namespace systema::cli {

struct Session
{
    client::Connection& m_oConnection;
    Printer& m_oPrinter;
    std::istream& m_oInput;
    std::ostream& m_oErrors;
    bool m_bProgress;   // standard error is a terminal: progress may be shown there
    int m_iOutput = -1; // the descriptor of the output, if it has one
};

} // namespace systema::cli

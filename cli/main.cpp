#include "cli/application.h"
#include "zel/standardfiles.h"

#include <clocale>
#include <csignal>
#include <iostream>
#include <unistd.h>

using systema::cli::EReader;

int main(int a_iCount, char** a_pArguments)
{
    zel::openStandardFiles();
    std::setlocale(LC_CTYPE, "C.UTF-8"); // tells the width of characters
    std::signal(SIGPIPE, SIG_DFL);       // a reader that has had enough ends the program quietly
    std::ios::sync_with_stdio(false);
    return systema::cli::run({a_pArguments + (a_iCount > 0), a_pArguments + a_iCount}, std::cin, std::cout,
                             std::cerr, ::isatty(STDERR_FILENO) == 1,
                             ::isatty(STDOUT_FILENO) == 1 ? EReader::Terminal : EReader::Program);
}

// Takes the place of the C library's syslog in this test program and keeps what was sent.
#pragma once

#include <string>
#include <utility>
#include <vector>

/// Priority and text of each message since the last call.
std::vector<std::pair<int, std::string>> takeSyslog();

/// The name that the program last opened syslog with, as handed over, for syslog keeps the pointer.
const char* openedSyslogName();

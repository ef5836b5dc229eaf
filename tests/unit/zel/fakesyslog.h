// Takes the place of the C library's syslog in this test program and keeps what was sent.
#pragma once

#include <string>
#include <utility>
#include <vector>

/// Priority and text of each message since the last call.
std::vector<std::pair<int, std::string>> takeSyslog();

struct OpenedSyslog
{
    const char* m_pName = nullptr; // as handed over, for syslog keeps the pointer
    int m_iOptions = 0;
    int m_iFacility = 0;
};

/// What the program last opened syslog with.
OpenedSyslog openedSyslog();

// A log daemon that the logger of this program finds until the object goes.
#pragma once

#include "tests/logdaemon.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/log.h"

#include <cstdlib>

class OwnLogDaemon : private TempDir, public LogDaemon
{
public:
    OwnLogDaemon() : LogDaemon(TempDir::path())
    {
        ::setenv("LEDGERD_ROOT", TempDir::path().c_str(), 1);
        ZEL_Sysloglevel_construct2("ledgerd");
        ::unsetenv("LEDGERD_ROOT");
    }
    ~OwnLogDaemon() { ZEL_Sysloglevel_construct2("ledgerd"); }
    OwnLogDaemon(const OwnLogDaemon&) = delete;
    OwnLogDaemon& operator=(const OwnLogDaemon&) = delete;
};

// Where the components of the server register their log modules.
#pragma once

#include <string>

namespace configmanager::serverlib {

class ILogger
{
public:
    using LogLevel = int; // a trace level, see zel/log.h

    /// Registers a module with its first trace level; a module that is known keeps the level it has.
    /// Always true.
    virtual bool registerModule(const std::string& a_sName, LogLevel a_iLevel) = 0;
    virtual ~ILogger() = default;
};

} // namespace configmanager::serverlib

// Is told of signals about the state of devices and their links. Main thread only, while the bus iterates.
#pragma once

#include <string>

namespace zel {

class IDBusInterfaceStatus
{
public:
    virtual ~IDBusInterfaceStatus() = default;

    virtual void StatusChange(const std::string& a_sDevice, bool a_bUp) = 0;
    virtual void LinkStatusChange(const std::string& a_sDevice, bool a_bLinkUp) = 0;
};

} // namespace zel

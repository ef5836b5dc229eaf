// Is told of signals about the DNS servers. Main thread only, while the bus iterates.
#pragma once

#include <string>
#include <vector>

namespace zel {

class IDBusDomainNameServer
{
public:
    virtual ~IDBusDomainNameServer() = default;

    virtual void UpdateServer(const std::string& a_sFirst, const std::string& a_sSecond,
                              const std::vector<std::string>& a_lServers) = 0;
    virtual void RemoveServer(const std::string& a_sFirst, const std::string& a_sSecond,
                              const std::vector<std::string>& a_lServers) = 0;
};

} // namespace zel

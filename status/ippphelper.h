// What the table "PppStatus" asks of the platform.
//
// Owned by the status host, asked on the main thread. Nothing throws.
#pragma once

#include <string>
#include <vector>

namespace zel {

class IPppHelper
{
public:
    virtual ~IPppHelper() = default;

    /// The names of the PPP interfaces.
    virtual std::vector<std::string> getPppInterfaces() = 0;
    /// The state of the interface, which the next operation then knows.
    virtual int getPppStatus(const std::string& a_sInterface) = 0;
    /// The text of the state that was given last.
    virtual std::string getPppStatusString() = 0;
    /// The last message of the interface's server, an empty text when there is none.
    virtual std::string getPostAuthMessage(const std::string& a_sInterface) = 0;
};

/// The unit of an interface, as text: the one character after "ppp", so that of "ppp12" is "1". Empty when
/// the name is shorter.
inline std::string pppUnit(const std::string& a_sInterface)
{
    return a_sInterface.size() > 3 ? a_sInterface.substr(3, 1) : std::string();
}

} // namespace zel

// Counts what was done, by kind and result, and keeps what went wrong. Any thread.
#pragma once

#include "client/result.h"

#include <array>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace soak {

using systema::EResultCode;
using systema::client::Status;

/// A set of results, a bit for each code.
using Codes = unsigned;

template<typename... Code>
constexpr Codes oneOf(Code... a_eCodes)
{
    return ((1U << a_eCodes) | ...);
}

class Tally
{
public:
    /// Counts an operation. A result that is not among those allowed is a fault, and so are a lost connection
    /// and a code without a meaning; the text says which operation it was.
    void count(const std::string& a_sKind, const Status& a_oStatus, Codes a_iAllowed,
               const std::string& a_sWhat);
    /// Counts what has no result.
    void count(const std::string& a_sKind);
    void fault(const std::string& a_sWhat);

    bool isGood() const;
    /// All counts, as a table, and the faults, the first ones with their texts.
    void print(std::ostream& a_oTo) const;

private:
    static constexpr unsigned c_iOther = EResultCode::NoRow + 1; // a lost connection, an unknown code
    using Counts = std::array<unsigned long, c_iOther + 1>;

    mutable std::mutex m_oMutex;
    std::map<std::string, Counts> m_mCounts;
    std::map<std::string, unsigned long> m_mEvents;
    std::vector<std::string> m_lFaults; // the first ones
    unsigned long m_iFaults = 0;
};

} // namespace soak

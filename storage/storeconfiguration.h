// /etc/ledger-store.conf: where the gateway keeps its databases and what is saved of them.
//
// The one reader of the file: of ledgerd and ledger-restore at their start, and through the latter of
// srv-save-config-active. A plain value. It never fails: what is wrong with a line is a fault to tell, and
// leaves the default, for a device with what it has is of more use than one without databases. But what is
// saved must never go to a place that nobody meant.
#pragma once

#include "zel/systempath.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace systema {

inline constexpr std::uint64_t c_iDefaultLimitMiB = 32;
/// A boot makes no database of more than 512 MiB, and one may come back twice as large as it was.
inline constexpr std::uint64_t c_iGreatestLimitMiB = 256;

/// What a path may have beside letters and digits.
inline constexpr const char* c_pPathCharacters = "._/+-,:=@%";
/// True for a path that can become a part of a shell command unchanged.
bool isPlainPath(std::string_view a_sPath);

class StoreConfiguration
{
public:
    static constexpr const char* c_pDumps = "dump-directory";
    static constexpr const char* c_pStore = "store-directory";
    static constexpr const char* c_pDatabases = "database-directory";
    static constexpr const char* c_pFactory = "factory-directory";
    static constexpr const char* c_pLimit = "database-limit";

    struct Fault
    {
        std::string m_sKey;  // as the line has it; empty for the file as a whole
        std::string m_sText; // "FILE: line 3: ...", in one line
    };

    static std::string defaultFile() { return zel::systemPath("/etc/ledger-store.conf"); }

    /// A file that is missing has no lines.
    explicit StoreConfiguration(const std::string& a_sFile = defaultFile());

    /// The path of one of the directories, below LEDGERD_ROOT; an empty text for what is none of them.
    std::string directory(const std::string& a_sKey) const;
    std::uint64_t limitMiB() const { return m_iLimitMiB; }

    const std::vector<Fault>& faults() const { return m_lFaults; }
    /// What is wrong with the file as a whole, or a line with the key.
    std::optional<std::string> faultOf(std::string_view a_sKey) const;

private:
    void set(const std::string& a_sKey, const std::string& a_sValue);

    std::map<std::string, std::string> m_mDirectories;
    std::uint64_t m_iLimitMiB = c_iDefaultLimitMiB;
    std::vector<Fault> m_lFaults;
};

} // namespace systema

// How large a database file may become: a setting of the board, which ledgerd reads at its start.
//
// Without a limit whoever may write fills the RAM, and with it the dumps, until none can be restored.
// Stateless; what is wrong with the setting is logged.
#pragma once

#include <cstdint>
#include <string>

namespace systema {

inline constexpr std::uint64_t c_iDefaultLimitMiB = 32;
/// A boot makes no database of more than 512 MiB, and one may come back twice as large as it was.
inline constexpr std::uint64_t c_iGreatestLimitMiB = 256;

/// Bytes: "database-limit" of /etc/ledger-store.conf in MiB, or the default; but at most a quarter of the
/// file system that holds the directory.
std::uint64_t readDatabaseLimit(const std::string& a_sDirectory);

} // namespace systema

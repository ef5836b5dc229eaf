// How large a database file may become: a setting of the board.
//
// Without a limit whoever may write fills the RAM, and with it the dumps, until none can be restored.
// Stateless.
#pragma once

#include <cstdint>
#include <string>

namespace systema {

class StoreConfiguration;

/// Bytes: the "database-limit" of the configuration, but at most a quarter of the
/// file system that holds the directory.
std::uint64_t findDatabaseLimit(const StoreConfiguration& a_oConfiguration, const std::string& a_sDirectory);

} // namespace systema

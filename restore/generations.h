// What is stored on flash: one directory "generation.<N>" for each save, the highest being the current one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel::cfg {

struct Generation
{
    std::uint64_t m_iNumber;
    std::string m_sDirectory;
};

/// The generations of the store, the current one first; none when there is no such directory. Everything else
/// in it is passed over, like a save that was interrupted. Throws std::filesystem::filesystem_error.
std::vector<Generation> findGenerations(const std::string& a_sStore);

/// In the directory of a generation: the names of its dumps, one a line. A generation of older firmware has
/// none, and may lack the dump of a database that came later.
inline constexpr const char* c_pContents = "contents";

/// True when the list of the generation names the dump.
bool lists(const Generation& a_oGeneration, const std::string& a_sDump);

} // namespace zel::cfg

// What the making of one database may take. Plain values; legitimate databases stay far below.
#pragma once

#include <chrono>
#include <cstdint>

namespace zel::cfg {

constexpr std::uint64_t c_iMiB = 1024 * 1024;

struct Limits
{
    std::uint64_t m_iDatabase;         // bytes of the database, and of a single statement
    std::chrono::seconds m_oLeast{10}; // of the processor's time, and two more for each MiB of text

    /// A quarter of the machine's memory for a database, but 512 MiB at most.
    static Limits ofMachine();

    /// Of SQLite: a database in the old and in the new schema.
    std::uint64_t memory() const { return 2 * m_iDatabase; }
    /// Of the text of a database: rows of a few bytes take ten times their room.
    std::uint64_t dump() const { return 10 * m_iDatabase; }
    std::chrono::seconds time(std::uint64_t a_iTextSize) const;
};

} // namespace zel::cfg

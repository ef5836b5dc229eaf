// Makes requests that no program would send: of every operation, on every table, with odd names, numbers and
// bytes, and frames that are damaged. Used by one thread.
#pragma once

#include "soak/random.h"
#include "soak/tables.h"
#include "systema/wire.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

/// A request as it is sent, and what its answer is to look like.
struct OddRequest
{
    systema::wire::EOperation m_eOperation{};
    std::string m_sTable{};
    std::string m_sFrame{};
    /// Takes the bodies of all parts and of the reply with code 0; false when one is malformed.
    std::function<bool(std::string_view)> m_oRead{};
};

class OddRequests
{
public:
    /// The tables must outlive it.
    OddRequests(const std::vector<Table>& a_lTables, Random a_oRandom)
        : m_lTables(a_lTables),
          m_oRandom(a_oRandom)
    {
    }

    /// A request that keeps to the grammar, whatever it asks for.
    OddRequest make(std::uint32_t a_iId);
    /// A frame with some of its bytes changed, left out or added; it may still be a good one.
    std::string makeDamaged(std::uint32_t a_iId);
    /// Bytes without any sense.
    std::string makeNoise();

    Random& random() { return m_oRandom; }

private:
    const Table& table() { return m_oRandom.pick(m_lTables); }
    std::string tableName(const Table& a_oTable);
    std::string column(const Table& a_oTable);
    std::string text();
    std::uint32_t number();
    systema::NameList columns(const Table& a_oTable);
    systema::NameList tableNames();
    systema::Value value();
    systema::ValueList values(const Table& a_oTable);

    const std::vector<Table>& m_lTables;
    Random m_oRandom;
};

} // namespace soak

// The rows of table 1 that a read of a view has found so far, by their key texts.
//
// Owned by the read. Main thread only. When all reads together take too much memory this one forgets its rows
// and keeps no others, so that every partner is looked up from then on.
#pragma once

#include "plugins/cellrows.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace zel {

class TableViewPartners
{
public:
    /// The rows have the wanted columns, of which the first holds the key. The budget is the memory that all
    /// reads have left, in bytes; it must outlive this object.
    TableViewPartners(const systema::NameList& a_lWanted, std::size_t& a_iBudget);
    ~TableViewPartners();
    TableViewPartners(const TableViewPartners&) = delete;
    TableViewPartners& operator=(const TableViewPartners&) = delete;

    /// The row with the key, an empty row when table 1 has none; nullopt when a look-up has to decide.
    std::optional<CellRows::Row> find(std::string_view a_sKey) const;
    /// Keeps the result of a look-up; an empty row means that table 1 has none.
    void remember(std::string_view a_sKey, CellRows::Row a_oRow);

    /// Reads the next rows of table 1, in its order. 0 when there may be more; 10 at the end, or when the
    /// memory is used up; else the code of the cursor.
    systema::EResultCode read(systema::IRowCursor& a_oRows);
    /// Call it when a stored table 1 was read as a whole: then a key that is not found has no row, except
    /// for texts that SQLite compares as other texts, or refuses.
    void setStoredComplete() { m_bStoredComplete = !m_bFull; }

private:
    static constexpr std::size_t c_iPortion = 256;
    static constexpr std::uint32_t c_iNone = 0xffffffff;

    bool isKeyAsShown(std::string_view a_sKey) const;
    bool take(std::string_view a_sKey, std::uint32_t a_iRow);
    void forget();

    std::size_t& m_iBudget;
    std::size_t m_iTaken = 0; // of the budget
    bool m_bFull = false;
    bool m_bStoredComplete = false;
    CellRows m_oRows;
    std::unordered_map<std::string_view, std::uint32_t> m_mRows; // by key; m_oRows owns the texts
};

} // namespace zel

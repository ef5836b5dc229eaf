// The rows of table 1 that a read of a view has come to know, by the texts that find them.
//
// Owned by the read. Main thread only. Nothing is remembered once all reads together take too much memory:
// then what is not known is looked up again.
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
    /// Of rows of the wanted columns, the first of which is looked up. The budget is what is left to all
    /// reads, in bytes, and must outlive this object.
    TableViewPartners(const systema::NameList& a_lWanted, std::size_t& a_iBudget);
    ~TableViewPartners();
    TableViewPartners(const TableViewPartners&) = delete;
    TableViewPartners& operator=(const TableViewPartners&) = delete;

    /// The row that the text finds, an empty one when it finds none; nothing when that is not known.
    std::optional<CellRows::Row> find(std::string_view a_sKey) const;
    /// Keeps what was found, an empty row for nothing.
    void remember(std::string_view a_sKey, CellRows::Row a_oRow);

    /// Takes the next rows of the table, in order. 0 when there may be more; 10 at the end, or when memory is
    /// used up; else the code of the cursor.
    systema::EResultCode read(systema::IRowCursor& a_oRows);
    /// The table has been read as a whole, and it is a stored one: it has no row for what is not found, but
    /// for texts that a database takes for another or refuses.
    void setStoredComplete() { m_bStoredComplete = !m_bFull; }
    /// No more is remembered.
    bool isFull() const { return m_bFull; }

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
    std::unordered_map<std::string_view, std::uint32_t> m_mRows; // the keys are kept with the rows
};

} // namespace zel

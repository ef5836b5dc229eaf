// The rows of a bulk read as texts, a space after each cell.
#pragma once

#include "systema/rowsource.h"

#include <string>
#include <utility>
#include <vector>

class RowTexts : public systema::IRowSink
{
public:
    /// Full after each so many rows.
    explicit RowTexts(std::size_t a_iPortion = 1000000) : m_iPortion(a_iPortion) {}

    void addNull() override { m_sRow += "null "; }
    void addInteger(int a_iValue) override { m_sRow += std::to_string(a_iValue) + " "; }
    void addUnsigned(unsigned int a_iValue) override { m_sRow += std::to_string(a_iValue) + "u "; }
    void addText(std::string_view a_sText) override { m_sRow.append("'").append(a_sText).append("' "); }
    bool endRow() override
    {
        m_lRows.push_back(std::exchange(m_sRow, {}));
        return m_lRows.size() % m_iPortion != 0;
    }

    std::vector<std::string> m_lRows;

private:
    const std::size_t m_iPortion;
    std::string m_sRow;
};

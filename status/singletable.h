// The base of a sub-plugin with one table, whose rows are kept in a vector and whose columns are said once.
//
// Main thread only. What a table does otherwise than here it overrides, with a comment that says why.
#pragma once

#include "configmanager/columntable.h"
#include "status/istatusinfosubplugin.h"
#include "status/rows.h"

#include <span>
#include <string>
#include <vector>

namespace zel {

template<class Row>
class SingleTable : public IStatusInfoSubPlugin
{
public:
    using Columns = std::span<const configmanager::serverlib::Column<Row>>;

    const std::string& getTableName() const { return m_sName; }

    bool hasTable(const std::string& a_sTable) const override { return a_sTable == m_sName; }
    void getTableNames(systema::NameList& a_lTables) const override { a_lTables.add(m_sName); }
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string&) override
    {
        configmanager::serverlib::appendSchema(a_lColumns, m_lColumns);
        return systema::EResultCode::Success;
    }
    // Each read first calls prepare() and ends with its code when that is not 0. Otherwise:
    /// 0.
    systema::EResultCode getRowCount(const std::string&, unsigned int& a_iCount) override
    {
        return whenCurrent([&] {
            a_iCount = static_cast<unsigned int>(m_lRows.size());
            return systema::EResultCode();
        });
    }
    /// 0; 9 for an unknown column; 10 past the end.
    systema::EResultCode getRow(const std::string&, systema::ValueList& a_lRow, unsigned int a_iPosition,
                                const systema::NameList& a_lColumns) override
    {
        return whenCurrent([&] { return read(a_lRow, rowAt(m_lRows, a_iPosition), a_lColumns); });
    }
    /// Every column is a key. 0; 9 for an unknown column; 10 for an unknown key column too.
    systema::EResultCode getRowByKey(const std::string&, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override
    {
        return whenCurrent(
            [&] { return read(a_lRow, rowOf(m_lRows, m_lColumns, a_sKeyColumn, a_sKeyValue), a_lColumns); });
    }
    void hold(bool a_bHeld) override { m_bHeld = a_bHeld; }

protected:
    /// The columns must live as long as this object.
    SingleTable(std::string a_sName, Columns a_lColumns) : m_sName(std::move(a_sName)), m_lColumns(a_lColumns)
    {
    }

    /// Makes the rows current before a read. Another code than 0 becomes the result of the read. By default
    /// calls refresh: 0; 1 when that fails.
    virtual systema::EResultCode prepare()
    {
        return refresh() ? systema::EResultCode::Success : systema::EResultCode::Failure;
    }
    /// Reads the source again if necessary. False when it cannot be read.
    virtual bool refresh() { return true; }

    /// Appends the wanted columns of the row; 10 when there is none.
    systema::EResultCode read(systema::ValueList& a_lRow, Row* a_pRow, const systema::NameList& a_lColumns)
    {
        return a_pRow == nullptr ? systema::EResultCode(systema::EResultCode::NoRow)
                                 : fill(a_lRow, *a_pRow, a_lColumns);
    }

    /// Appends the wanted columns of a row.
    virtual systema::EResultCode fill(systema::ValueList& a_lRow, Row& a_oRow,
                                      const systema::NameList& a_lColumns)
    {
        return configmanager::serverlib::selectColumns(a_lRow, a_oRow, m_lColumns, a_lColumns);
    }

    std::vector<Row> m_lRows;

private:
    template<typename Operation>
    systema::EResultCode whenCurrent(Operation a_oOperation)
    {
        const systema::EResultCode eResult = m_bHeld ? systema::EResultCode() : prepare();
        return eResult == systema::EResultCode::Success ? a_oOperation() : eResult;
    }

    const std::string m_sName;
    const Columns m_lColumns;
    bool m_bHeld = false;
};

} // namespace zel

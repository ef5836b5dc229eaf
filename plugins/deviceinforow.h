// The base of the tables about the device: one row, kept as it was read.
//
// A table says how its row is read. Main thread only.
#pragma once

#include "plugins/ideviceinfoplugin.h"

namespace zel {

class DeviceInfoRow : public IDeviceInfoPlugin
{
public:
    bool loaded() const override { return !m_lRow.empty(); }
    void load() override;
    bool hasTable(const std::string& a_sTable) const override { return a_sTable == m_sTable; }
    void getTables(systema::NameList& a_lTables) const override { a_lTables.add(m_sTable); }
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns) const override;
    systema::EResultCode getSize(unsigned int& a_iSize) const override;
    systema::EResultCode selectRow(systema::ValueList& a_lRow, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) const override;

    /// The value of the first column of the name, null when the row has none.
    const systema::Value* findValue(const std::string& a_sName) const { return m_lRow.find(a_sName); }

protected:
    explicit DeviceInfoRow(std::string a_sTable);

    /// Appends what follows the Id.
    virtual void read(systema::ValueList& a_lRow) = 0;

    static void addText(systema::ValueList& a_lRow, std::string a_sName, std::string a_sText);
    static void addInteger(systema::ValueList& a_lRow, std::string a_sName, int a_iNumber);

private:
    const std::string m_sTable;
    systema::ValueList m_lRow;
};

} // namespace zel

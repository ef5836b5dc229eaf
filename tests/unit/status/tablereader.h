// A status table as its tests read it: cells as texts, and "code 10" for a request that fails.
#pragma once

#include "status/istatusinfosubplugin.h"
#include "tests/row.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

class TableReader
{
public:
    using EResultCode = systema::EResultCode;
    using NameList = systema::NameList;
    using ValueList = systema::ValueList;

    TableReader(zel::IStatusInfoSubPlugin& a_oProvider, std::string a_sTable)
        : m_oProvider(a_oProvider),
          m_sTable(std::move(a_sTable))
    {
    }

    /// The number of rows.
    std::string count()
    {
        unsigned iCount = 0;
        const EResultCode eCode = whole([&] { return m_oProvider.getRowCount(m_sTable, iCount); });
        return eCode == EResultCode::Success ? std::to_string(iCount) : "code " + std::to_string(eCode);
    }
    /// The row at a position, which must be there.
    ValueList row(unsigned a_iPosition, const NameList& a_lColumns = {})
    {
        ValueList lRow;
        EXPECT_EQ(whole([&] { return m_oProvider.getRow(m_sTable, lRow, a_iPosition, a_lColumns); }),
                  EResultCode::Success);
        return lRow;
    }
    /// The wanted cells of the row at a position, a comma between two.
    std::string at(unsigned a_iPosition, const NameList& a_lColumns = {})
    {
        ValueList lRow;
        const EResultCode eCode =
            whole([&] { return m_oProvider.getRow(m_sTable, lRow, a_iPosition, a_lColumns); });
        return text(eCode, lRow);
    }
    /// The wanted cells of the first row with the key.
    std::string find(const std::string& a_sKey, const std::string& a_sValue,
                     const NameList& a_lColumns = {"Id"})
    {
        ValueList lRow;
        const EResultCode eCode =
            whole([&] { return m_oProvider.getRowByKey(m_sTable, lRow, a_sKey, a_sValue, a_lColumns); });
        return text(eCode, lRow);
    }
    /// The wanted cells of all rows, a space after each row; what the count gives when that fails.
    std::string all(const NameList& a_lColumns)
    {
        unsigned iCount = 0;
        const EResultCode eCode = whole([&] { return m_oProvider.getRowCount(m_sTable, iCount); });
        std::string sRows = eCode == EResultCode::Success ? "" : text(eCode, {});
        for (unsigned i = 0; i < iCount; ++i) {
            sRows += at(i, a_lColumns) + " ";
        }
        return sRows;
    }
    /// What an update tells of.
    NameList update()
    {
        NameList lChanged;
        m_oProvider.update(lChanged);
        return lChanged;
    }

private:
    /// Makes the request again while it is pending, as a session does.
    template<typename Request>
    static EResultCode whole(Request a_oRequest)
    {
        EResultCode eCode = a_oRequest();
        while (eCode == EResultCode::Pending) {
            eCode = a_oRequest();
        }
        return eCode;
    }
    static std::string text(EResultCode a_eCode, const ValueList& a_lRow)
    {
        std::string sCells;
        for (const auto& [sName, oValue] : a_lRow) {
            sCells += oValue.toText() + ",";
        }
        return a_eCode == EResultCode::Success ? sCells.substr(0, sCells.rfind(','))
                                               : "code " + std::to_string(a_eCode);
    }

    zel::IStatusInfoSubPlugin& m_oProvider;
    const std::string m_sTable;
};

// The base of the plugins that serve one table of one row: its name, its size, and the test that each
// operation on a table begins with.
//
// Owned by whoever makes it; main thread only. Columns and keys are the plugin's own.
#pragma once

#include "configmanager/genericconfigplugin.h"

#include <utility>

namespace configmanager::serverlib {

class OneRowPlugin : public GenericConfigPlugin
{
public:
    void getTables(systema::NameList& a_lTables, const void* a_pHandle) override
    {
        assertCall(a_pHandle, m_oSource);
        a_lTables.add(m_sTable);
    }
    systema::EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                 const std::string& a_sTable) override
    {
        const systema::EResultCode eCode = check(a_pHandle, a_sTable, m_oSource);
        if (eCode == systema::EResultCode::Success) {
            a_iSize = 1;
        }
        return eCode;
    }

protected:
    explicit OneRowPlugin(std::string a_sTable,
                          systema::EResultCode a_eRefusal = systema::EResultCode::ReadOnly,
                          zel::SourceTag a_oSource = zel::here())
        : GenericConfigPlugin(a_eRefusal, a_oSource),
          m_sTable(std::move(a_sTable))
    {
    }

    /// assertCall() for an operation on a table. 0; 8 for a table of another name.
    systema::EResultCode check(const void* a_pHandle, const std::string& a_sTable,
                               zel::SourceTag a_oSource = zel::here()) const
    {
        assertCall(a_pHandle, a_oSource);
        return a_sTable == m_sTable ? systema::EResultCode::Success : systema::EResultCode::NoTable;
    }

private:
    const std::string m_sTable;
};

} // namespace configmanager::serverlib

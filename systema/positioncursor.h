// Bulk reading of a plugin that is no row source: position by position through the contract.
//
// Made by the dispatcher; the plugin and the version must outlive it. Main thread only. A table whose version
// moves between two fetches is no longer in the state that the read began with.
#pragma once

#include "systema/configpluginbase.h"
#include "systema/rowsource.h"

namespace systema {

class PositionCursor : public IRowCursor
{
public:
    /// Opens a read; the first row is read at once. 0, or the code of its selectRow (10 is an empty range).
    static EResultCode open(std::unique_ptr<IRowCursor>& a_pCursor, ConfigPluginBase& a_oPlugin,
                            const void* a_pHandle, const std::string& a_sTable, unsigned int a_iFirst,
                            unsigned int a_iCount, const NameList& a_lColumns,
                            const unsigned long& a_iVersion);

    const NameList& getColumns() const override { return m_lColumns; }
    EResultCode fetch(IRowSink& a_oSink) override;

private:
    PositionCursor(ConfigPluginBase& a_oPlugin, const void* a_pHandle, const std::string& a_sTable,
                   unsigned int a_iFirst, unsigned int a_iCount, const NameList& a_lWanted,
                   const unsigned long& a_iVersion);

    EResultCode readRow();
    void addRow(IRowSink& a_oSink) const;

    ConfigPluginBase& m_oPlugin;
    const void* const m_pHandle;
    const std::string m_sTable;
    const NameList m_lWanted;
    NameList m_lColumns;
    unsigned int m_iPosition;
    unsigned int m_iLeft; // rows still to be handed over, at most
    ValueList m_lRow;     // the row at m_iPosition
    EResultCode m_eRow;   // the result of reading it
    const unsigned long& m_iVersion;
    const unsigned long m_iVersionAtOpen;
};

} // namespace systema

// The time zone of the device as a table of one row, "Tz": the POSIX rule in /etc/TZ, cut at its commas.
//
// A write rewrites the file (see LineFile) and tells the kernel the zone. The zone of the daemon itself, in
// which it logs, is not changed: the C library finds it, as at a restart. The file is read for each request;
// the three texts in memory, by which updates and deletes by key find the row, are those of the last request,
// whatever became of it. Owned by main. Main thread only. Files that cannot be read or written are logged and
// give 1.
#pragma once

#include "configmanager/onerowplugin.h"
#include "systema/tabledescription.h"
#include "zel/zonerule.h"

namespace zel {

class TzPlugin : public configmanager::serverlib::OneRowPlugin, public systema::WritableTables
{
public:
    struct Rule
    {
        std::string m_sName;
        std::string m_sStart;
        std::string m_sEnd;
    };

    TzPlugin();

    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    /// 0, 1, 8, 9. Any position has the one row.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// The same; 9 also for a key that is not the row's.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    /// 0; 8; 9 for a column other than the three texts; 6 if one of them is missing, is not a text or makes
    /// no POSIX zone of the row; 1 when the file cannot be written, one of start and end is given alone, or
    /// the texts make no line of the file. The log has the reason of a refused rule.
    systema::EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    /// The same; the id is 1 in any case.
    systema::EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    /// As insertRow, but nothing need be given; 1 also when the file cannot be read. Texts before a refused
    /// one stay replaced in memory.
    systema::EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::ValueList& a_lValues) override;
    /// The same; 9 first of all for a key that is not the row's as it is in memory.
    systema::EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                   const systema::ValueList& a_lValues) override;
    /// Leaves a single newline in the file; the kernel keeps its zone. 0, 1, 8; the texts in memory are
    /// cleared whatever the table.
    systema::EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable,
                                   unsigned int a_iIndex) override;
    /// The same; 9 first of all for a key that is not the row's as it is in memory.
    systema::EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue) override;
    systema::EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) override;

private:
    bool hasKey(const std::string& a_sKeyColumn, const std::string& a_sKeyValue) const;
    bool read();
    systema::EResultCode write() const;
    systema::EResultCode refuseRule(systema::EResultCode a_eCode, const std::string& a_sReason) const;
    systema::EResultCode writeLine(const std::string& a_sLine) const;
    void setZone(const ZoneNames& a_oNames) const;

    const int m_iModule;
    Rule m_oRule;
};

} // namespace zel

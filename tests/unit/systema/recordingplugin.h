// A plugin that writes down what it is called with and answers what the test tells it to.
#pragma once

#include "systema/configpluginbase.h"
#include "systema/rowsource.h"
#include "systema/storedtables.h"

#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

class RecordingPlugin : public systema::ConfigPluginBase
{
public:
    using EResultCode = systema::EResultCode;
    using NameList = systema::NameList;
    using ValueList = systema::ValueList;
    using Calls = std::vector<std::string>;

    /// The calls may be shared by plugins, to see the order of theirs: "name.operation table"; a selection by
    /// key with all it is asked for.
    RecordingPlugin(std::string a_sName, NameList a_lTables, Calls& a_lCalls)
        : m_lTables(std::move(a_lTables)),
          m_sName(std::move(a_sName)),
          m_lCalls(a_lCalls)
    {
    }

    NameList m_lTables;
    NameList m_lLateTables;                        // served from initialize on
    NameList m_lTicked;                            // told as changed by each tick
    std::vector<ValueList> m_lRows;                // by position; by key always the first
    unsigned m_iMissingRow = 0xffffffff;           // position of one that cannot be read
    std::map<std::string, EResultCode> m_mResults; // 0 of an operation that is not named
    std::string m_sThrows;                         // the operation that throws
    std::function<void()> m_oOnCall;               // run by each operation, null for none
    bool m_bPersistent = false;

    void open(const void*) override { call("open"); }
    void close(const void*) override { call("close"); }
    void getTables(NameList& a_lTables, const void*) override
    {
        for (const auto& sTable : m_lTables) {
            a_lTables.add(sTable);
        }
    }
    EResultCode getSchema(systema::ColumnList& a_lColumns, const void*, const std::string& a_sTable) override
    {
        a_lColumns.add("Id", systema::EDataType::Integer);
        a_lColumns.add("Name", systema::EDataType::Text);
        return call("getSchema", a_sTable);
    }
    EResultCode getSize(unsigned int& a_iSize, const void*, const std::string& a_sTable) override
    {
        a_iSize = static_cast<unsigned>(m_lRows.size());
        return call("getSize", a_sTable);
    }
    EResultCode selectRow(ValueList& a_lRow, const void*, const std::string& a_sTable, unsigned int a_iIndex,
                          const NameList&) override
    {
        const EResultCode eResult = call("selectRow", a_sTable);
        if (eResult != EResultCode::Success || a_iIndex >= m_lRows.size() || a_iIndex == m_iMissingRow) {
            return eResult != EResultCode::Success ? eResult : EResultCode(EResultCode::NoRow);
        }
        a_lRow = m_lRows[a_iIndex];
        return EResultCode::Success;
    }
    EResultCode selectKey(ValueList& a_lRow, const void*, const std::string& a_sTable,
                          const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                          const NameList& a_lColumns) override
    {
        if (!m_lRows.empty()) {
            a_lRow = m_lRows.front();
        }
        std::ostringstream oArguments;
        oArguments << a_sTable << " " << a_sKeyColumn << " " << a_sKeyValue << " ";
        a_lColumns.put(oArguments);
        return call("selectKey", oArguments.str());
    }
    EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable, const ValueList&) override
    {
        return write(a_pHandle, "insertRow", a_sTable);
    }
    EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                          const ValueList&) override
    {
        a_iId = 42;
        return write(a_pHandle, "insertKey", a_sTable);
    }
    EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int,
                          const ValueList&) override
    {
        return write(a_pHandle, "updateRow", a_sTable);
    }
    EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable, const std::string&,
                          const std::string&, const ValueList&) override
    {
        return write(a_pHandle, "updateKey", a_sTable);
    }
    EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable, unsigned int) override
    {
        return write(a_pHandle, "deleteRow", a_sTable);
    }
    EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable, const std::string&,
                          const std::string&) override
    {
        return write(a_pHandle, "deleteKey", a_sTable);
    }
    EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) override
    {
        return write(a_pHandle, "deleteAll", a_sTable);
    }
    void tick(NameList& a_lChangedTables) override
    {
        call("tick");
        NameList lTicked = m_lTicked;
        a_lChangedTables.splice(lTicked);
    }
    bool initialize() override
    {
        call("initialize");
        m_lTables.splice(m_lLateTables);
        return true;
    }
    bool isPersistent() const override { return m_bPersistent; }
    EResultCode startTransaction(const void*) override { return call("startTransaction"); }
    EResultCode commitTransaction(const void*) override { return call("commitTransaction"); }
    EResultCode rollbackTransaction(const void*) override { return call("rollbackTransaction"); }

protected:
    EResultCode call(const std::string& a_sOperation, const std::string& a_sArguments = {})
    {
        m_lCalls.push_back(m_sName + "." + a_sOperation + (a_sArguments.empty() ? "" : " " + a_sArguments));
        if (m_oOnCall) {
            m_oOnCall();
        }
        if (a_sOperation == m_sThrows) {
            throw std::runtime_error(a_sOperation + " throws");
        }
        const auto it = m_mResults.find(a_sOperation);
        return it != m_mResults.end() ? it->second : EResultCode();
    }

private:
    EResultCode write(const void* a_pHandle, const std::string& a_sOperation, const std::string& a_sTable)
    {
        if (m_pWriteOwner != nullptr && m_pWriteOwner != a_pHandle) {
            return EResultCode::Busy;
        }
        return call(a_sOperation, a_sTable);
    }

    const std::string m_sName;
    Calls& m_lCalls;
};

/// The same with its tables in a database.
class StoredPlugin : public RecordingPlugin, public systema::IStoredTables
{
public:
    using RecordingPlugin::RecordingPlugin;

    bool usesTransactions() const override { return true; }
    bool hasLostTransaction() const override { return m_bLost; }
    EResultCode openKeyRows(std::unique_ptr<systema::IRowCursor>&, const std::string&,
                            const NameList&) override
    {
        return EResultCode::Success;
    }

    bool takeTouched(NameList& a_lTables) noexcept override
    {
        a_lTables.clear();
        std::swap(a_lTables, m_lTouched);
        return m_bTouchedComplete;
    }

    bool m_bLost = false;
    NameList m_lTouched;
    bool m_bTouchedComplete = true;
};

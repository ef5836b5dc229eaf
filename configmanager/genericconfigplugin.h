// The base of the plugins that compute their tables: what most of them have in common.
//
// Such a plugin has no connection, nothing to set up and no transactions, keeps nothing across restarts and
// refuses every write; it implements the five reading operations and overrides what else is its own. Owned
// by whoever makes it; main thread only. A null handle or a broken invariant is a failed assertion, shown
// with the place of the plugin's constructor where the operation is inherited.
#pragma once

#include "systema/configpluginbase.h"
#include "zel/source.h"

namespace configmanager::serverlib {

class GenericConfigPlugin : public systema::ConfigPluginBase
{
public:
    void open(const void* a_pHandle) override;
    void close(const void* a_pHandle) override;
    systema::EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                   const systema::ValueList& a_lValues) override;
    systema::EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable,
                                   unsigned int a_iIndex) override;
    systema::EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                   const std::string& a_sKeyColumn, const std::string& a_sKeyValue) override;
    systema::EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) override;
    void tick(systema::NameList&) override {}
    bool initialize() override { return true; }
    bool isPersistent() const override { return false; }
    systema::EResultCode startTransaction(const void* a_pHandle) override;
    systema::EResultCode commitTransaction(const void* a_pHandle) override;
    systema::EResultCode rollbackTransaction(const void* a_pHandle) override;

protected:
    /// a_eRefusal answers every write that the plugin does not override, whatever the table.
    explicit GenericConfigPlugin(systema::EResultCode a_eRefusal = systema::EResultCode::ReadOnly,
                                 zel::SourceTag a_oSource = zel::here());

    /// What must hold whenever an operation begins.
    virtual bool classInvariant() const { return true; }

    /// The first line of every operation that takes a handle: asserts the handle, then the invariant.
    void assertCall(const void* a_pHandle, zel::SourceTag a_oSource = zel::here()) const;

    /// What a write that the plugin does not override answers.
    virtual systema::EResultCode refuse(const void* a_pHandle) const;

    /// The place that is shown for an operation that the plugin inherits.
    const zel::SourceTag m_oSource;

private:
    systema::EResultCode accept(const void* a_pHandle) const;

    const systema::EResultCode m_eRefusal;
};

} // namespace configmanager::serverlib

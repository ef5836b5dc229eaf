// Where the factory values of the device go: the rows of the table "EtlMapping".
//
// Owned by the table "etl", on whose behalf it reads and writes other tables through the dispatcher. Main
// thread only. What cannot be written is logged, without the value, and left.
#pragma once

#include "systema/configpluginbase.h"

#include <optional>
#include <string>
#include <vector>

namespace zel {

class EtlMappings
{
public:
    struct EtlMap
    {
        std::string m_sEtlValue;
        std::string m_sTargetTable;
        std::string m_sTargetColumn;
        std::string m_sKeyColumn;
        std::string m_sKeyValue;
        std::string m_sTargetColumnHash; // how the value is hashed in the target
        std::string m_sKeyColumnHash;    // how it is hashed where it is shown
    };

    /// Further rows of the table are left out, with an error in the log.
    static constexpr unsigned c_iMostMappings = 1024;

    /// Reads the mappings. The dispatcher, which must outlive this object, knows it by the handle.
    EtlMappings(systema::ConfigPluginBase& a_oDispatcher, const void* a_pHandle);

    void add(std::string a_sEtlValue, std::string a_sTargetTable, std::string a_sTargetColumn,
             std::string a_sKeyColumn, std::string a_sKeyValue, std::string a_sTargetColumnHash,
             std::string a_sKeyColumnHash);
    /// The first mapping of the value, null when there is none; lives until the next one is added.
    const EtlMap* findEtlValue(const std::string& a_sName) const;
    /// True when the target of the named value is there and nothing is in it yet.
    bool hasEmptyTarget(const std::string& a_sName) const;
    /// Writes the text, unless there is none, into the target of the named value, where that is still empty.
    void updateTarget(const std::string& a_sName, const std::string& a_sValue) const;

private:
    std::optional<systema::Value> findEmptyTarget(const EtlMap& a_oMap) const;

    systema::ConfigPluginBase& m_oDispatcher;
    const void* const m_pHandle;
    const int m_iModule;
    std::vector<EtlMap> m_lMappings;
};

} // namespace zel

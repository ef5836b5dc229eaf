#include "restore/dumpset.h"

#include "storage/databasefiles.h"

#include <algorithm>

namespace zel::cfg {

std::vector<std::string> dumpNames()
{
    std::vector<std::string> lNames;
    for (const systema::DatabaseFile& oFile : systema::c_aDatabaseFiles) {
        if (oFile.m_bPersistent) {
            lNames.push_back(std::string(oFile.m_pName) + ".sql");
        }
    }
    return lNames;
}

bool isDumpName(const std::string& a_sName)
{
    return std::ranges::count(dumpNames(), a_sName) > 0;
}

} // namespace zel::cfg

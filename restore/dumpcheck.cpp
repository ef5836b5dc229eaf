#include "restore/dumpcheck.h"

#include "restore/confined.h"
#include "restore/dump.h"

namespace zel::cfg {

void checkLoads(const std::string& a_sFile, const Limits& a_oLimits)
{
    runConfined(a_oLimits, a_sFile, [&] {
        systema::SqliteFile oScratch(a_oLimits.m_iDatabase);
        loadDump(oScratch, a_sFile, a_oLimits);
        return 0;
    });
}

std::optional<std::string> findDumpFault(const std::string& a_sFile, const Limits& a_oLimits)
{
    try {
        checkLoads(a_sFile, a_oLimits);
        return std::nullopt;
    } catch (const systema::SqliteError& oError) {
        return oError.what();
    }
}

} // namespace zel::cfg

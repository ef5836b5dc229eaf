#include "restore/dumpcheck.h"

#include "restore/dump.h"

namespace zel::cfg {

std::optional<std::string> findDumpFault(const std::string& a_sFile)
{
    try {
        systema::SqliteFile oScratch;
        loadDump(oScratch, a_sFile);
        return std::nullopt;
    } catch (const std::runtime_error& oError) {
        return oError.what();
    }
}

} // namespace zel::cfg

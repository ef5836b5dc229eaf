#include "storage/databasefiles.h"

#include <filesystem>

namespace systema {

std::vector<std::string> findMissingDatabases(const std::string& a_sDirectory)
{
    std::vector<std::string> lMissing;
    for (const auto& oFile : c_aDatabaseFiles) {
        std::error_code oError;
        const auto iSize = std::filesystem::file_size(a_sDirectory + "/" + oFile.m_pName, oError);
        if (oError == std::errc::no_such_file_or_directory || (!oError && iSize == 0)) {
            lMissing.emplace_back(oFile.m_pName);
        }
    }
    return lMissing;
}

} // namespace systema

#include "restore/dump.h"

#include "restore/textfile.h"

#include <string_view>

namespace zel::cfg {

namespace {

constexpr std::string_view c_sBegin = "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n";
constexpr std::string_view c_sLastStatement = ";\n"; // it must be complete, with its end
constexpr std::string_view c_sCommit = "COMMIT;\n";

} // namespace

void loadDump(systema::SqliteFile& a_oDatabase, const std::string& a_sFile)
{
    std::string sText = readTextFile(a_sFile);
    if (sText.empty()) {
        throw std::runtime_error("empty");
    }
    if (!sText.starts_with(c_sBegin)) {
        throw std::runtime_error("does not begin as a dump");
    }
    if (!sText.ends_with(c_sCommit)) {
        throw std::runtime_error("cut off or rolled back: does not end with COMMIT");
    }
    sText.resize(sText.size() - c_sCommit.size());
    if (!sText.ends_with(c_sLastStatement)) {
        throw std::runtime_error("the last statement has no end");
    }

    systema::SqliteFile::Transaction oTransaction(a_oDatabase);
    a_oDatabase.runForeign(sText, c_sBegin.size());
    oTransaction.commit();
    if (const auto oDamage = a_oDatabase.findDamage()) {
        throw std::runtime_error(*oDamage);
    }
}

} // namespace zel::cfg

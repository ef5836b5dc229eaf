#include "storage/sqlitestring.h"

namespace systema {

std::string SqliteString::replace(std::string_view a_sSubject, std::string_view a_sFrom,
                                  std::string_view a_sTo)
{
    if (a_sFrom.empty()) {
        return std::string(a_sSubject);
    }
    std::string sResult;
    std::size_t iStart = 0;
    for (auto iAt = a_sSubject.find(a_sFrom); iAt != std::string_view::npos;
         iAt = a_sSubject.find(a_sFrom, iStart)) {
        sResult.append(a_sSubject, iStart, iAt - iStart).append(a_sTo);
        iStart = iAt + a_sFrom.size();
    }
    sResult.append(a_sSubject, iStart);
    return sResult;
}

} // namespace systema

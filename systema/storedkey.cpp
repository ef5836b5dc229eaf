#include "systema/storedkey.h"

namespace systema {

std::string storedKey(std::string_view a_sText)
{
    std::string sDoubled;
    for (const char cByte : a_sText) {
        sDoubled.append(cByte == '\'' ? 2 : 1, cByte);
    }
    return sDoubled;
}

} // namespace systema

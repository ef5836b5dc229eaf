#include "zel/systempath.h"

#include <cstdlib>

namespace zel {

std::string systemPath(std::string_view a_sPath)
{
    const char* pRoot = std::getenv("LEDGERD_ROOT");
    return std::string(pRoot ? pRoot : "").append(a_sPath);
}

} // namespace zel

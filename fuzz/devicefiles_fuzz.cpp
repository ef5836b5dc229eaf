// Arbitrary bytes as a line of /proc/mounts and of the modem's status file: a mount is from somewhere, and
// what the line tells again changes nothing.
#include "device/linux/dslstatus.h"
#include "device/linux/mounts.h"
#include "device/mountsource.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const std::string_view sLine(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    const auto oMount = zel::device::parseMount(sLine);
    const int iSource = oMount ? sourceOf(*oMount) : zel::device::c_iOther;
    zel::device::DslLine oLine;
    takeStatusLine(oLine, sLine);
    zel::device::DslLine oAgain = oLine;
    takeStatusLine(oAgain, sLine);
    if (iSource <= zel::device::c_iNotMounted || iSource > zel::device::c_iOther || oLine != oAgain ||
        (oMount && oMount->m_sPoint.size() > a_iSize)) {
        std::abort();
    }
    return 0;
}

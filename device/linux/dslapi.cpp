// The DSL line as the modem's control daemon tells of it in a file; the kernel has no common interface.
#include "device/linux/dslstatus.h"
#include "zel/lines.h"
#include "zel/systempath.h"

namespace {

constexpr std::string_view c_sStatusFile = "/var/run/dsl-status";
constexpr std::size_t c_iMostBytes = 16384;
constexpr std::size_t c_iLineBufferSize = c_iMostBytes + 2; // no line is cut

zel::device::DslLine readStatusFile()
{
    zel::device::DslLine oLine;
    zel::readLines(zel::systemPath(c_sStatusFile), c_iLineBufferSize, c_iMostBytes,
                   [&](std::string_view a_sLine) { zel::device::takeStatusLine(oLine, a_sLine); });
    return oLine;
}

} // namespace

ZEL_DSLAPI_Handle ZEL_DSLAPI_construct()
{
    return ZEL_DSLAPI_Handle(new ZEL_DSLAPI_Context{&readStatusFile});
}

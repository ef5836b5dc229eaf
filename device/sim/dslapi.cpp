#include "device/sim/simfile.h"

ZEL_DSLAPI_Handle ZEL_DSLAPI_construct()
{
    return ZEL_DSLAPI_Handle(new ZEL_DSLAPI_Context{[] { return zel::device::readSimDevice().m_oDslLine; }});
}

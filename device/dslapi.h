// The DSL line.
//
// Replaced per board. A context belongs to one thread; nothing throws but std::bad_alloc. A device without a
// line is one whose line is always down.
#pragma once

#include <cstdint>
#include <memory>

struct ZEL_DSLAPI_Context;

struct ZEL_DSLAPI_Release
{
    void operator()(ZEL_DSLAPI_Context* a_pContext) const;
};
using ZEL_DSLAPI_Handle = std::unique_ptr<ZEL_DSLAPI_Context, ZEL_DSLAPI_Release>;

/// The line state in which data flows; the other numbers are the board's own.
constexpr std::uint32_t c_iDslShowtime = 4;

enum class EDslDirection
{
    Upstream = 0,
    Downstream = 1
};

/// A context, never null.
ZEL_DSLAPI_Handle ZEL_DSLAPI_construct();
/// The data of the line is fetched anew by the next function that needs it, and kept until this is called
/// again, so that what is read in between belongs together.
void ZEL_DSLAPI_resetFetchState(ZEL_DSLAPI_Context& a_oContext);
std::uint32_t ZEL_DSLAPI_getLineState(ZEL_DSLAPI_Context& a_oContext);
/// The text of a state, never null; "unknown" for a number that is none. Lives for ever.
const char* ZEL_DSLAPI_getLineStateString(std::uint32_t a_iState);
/// Kilobits per second, 0 when there are none.
std::uint32_t ZEL_DSLAPI_getG997ActualDataRate(ZEL_DSLAPI_Context& a_oContext, EDslDirection a_eDirection);
/// The transmission systems in use as the bits of G.997.1's xTSE, first octet lowest; 0 when there are none.
std::uint64_t ZEL_DSLAPI_getG997xTUTransmissionSystem(ZEL_DSLAPI_Context& a_oContext);
/// The mode that the transmission systems are of, 0 for none.
int ZEL_DSLAPI_getXDSLMode(std::uint64_t a_iTransmissionSystem);
/// The text of a mode, never null; empty for 0 and for a number that is none. Lives for ever.
const char* ZEL_DSLAPI_getXDSLModeString(int a_iMode);

#include "zel/assert.h"

#include "tests/unit/zel/ownlogdaemon.h"

#include <gmock/gmock.h>

using zel::SourceTag;
using zel::error::Assert;
using zel::error::AssertionError;
using zel::error::DefaultAssertHook;

namespace {

constexpr SourceTag c_oTag{"/src/server/fifo.handler.cpp", 42};

const std::pair<std::string, std::string> c_oSilent{"0 != a_handle (fifo.handler:42)", ""};

/// The text a failed assertion throws, with what was written to standard error.
std::pair<std::string, std::string> failure()
{
    testing::internal::CaptureStderr();
    std::string sWhat = "nothing was thrown";
    try {
        Assert(false, "0 != a_handle", c_oTag);
    } catch (const AssertionError& oError) {
        sWhat = oError.what();
    }
    return {sWhat, testing::internal::GetCapturedStderr()};
}

} // namespace

TEST(Assert, holdsOrThrowsWithExpressionAndSource)
{
    EXPECT_NO_THROW(Assert(true, "true"));
    EXPECT_EQ(failure(), c_oSilent);
}

TEST(Assert, theInstalledHookReportsAndThePreviousOneReturns)
{
    {
        const DefaultAssertHook oHook;
        const auto [sWhat, sLog] = failure();
        EXPECT_EQ(sWhat, "0 != a_handle (fifo.handler:42)");
        EXPECT_THAT(sLog, testing::EndsWith(" error   Assertion failed: 0 != a_handle (fifo.handler:42)\n"));
        {
            DefaultAssertHook oInner;
            oInner.setSyslog(true);
            const OwnLogDaemon oDaemon;
            EXPECT_EQ(failure(), c_oSilent);
            EXPECT_THAT(oDaemon.take(),
                        testing::ElementsAre(testing::AllOf(
                            testing::StartsWith("<11>"), // user, error
                            testing::EndsWith(": Assertion failed: 0 != a_handle (fifo.handler:42)"))));
        }
        EXPECT_NE(failure().second, "");
    }
    EXPECT_EQ(failure().second, "");
}

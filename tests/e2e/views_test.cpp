// A joined view that cannot be served, as clients see it.
#include "tests/e2e/daemontest.h"

namespace e2e {
namespace {

using Views = DaemonTest;

TEST_F(Views, ColumnOfNeitherTableFailsTheRequestsThatShowItAndNoOther)
{
    m_oSandbox.sql(
        "persistent-common.db",
        "PRAGMA ignore_check_constraints = 1; UPDATE ViewColumns SET SrcTableIndex = 3 WHERE Id = 3");
    start();
    const std::string sView = "PhoneLineView";
    EXPECT_EQ(1U, client().code(request::GetSchema{sView}));
    EXPECT_EQ(1U, client().code(request::GetSize{sView}));
    EXPECT_EQ(1U, client().code(request::SelectRow{sView, 0}));
    EXPECT_EQ(1U, client().code(request::SelectRows{sView}));
    EXPECT_EQ(1U, client().code(request::SelectKey{sView, "Number", "1"}));
    EXPECT_EQ("FXS1", client().cell(sView, 1, "Line"));
}

} // namespace
} // namespace e2e

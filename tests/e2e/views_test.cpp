// Joined views as clients see them: the sample's, and one that cannot be served.
#include "tests/e2e/daemontest.h"

namespace e2e {
namespace {

using Views = DaemonTest;

TEST_F(Views, ChangeOfASourceTableIsToldOnceOfTheView)
{
    start();
    EXPECT_EQ(3U, *client().call(request::GetSize{"PhoneLineView"}));
    EXPECT_TRUE(client().subscribe({"PhoneLineView", "Item"}).ok());
    Transaction oTransaction(client());
    EXPECT_TRUE(oTransaction.begin().ok());
    for (const auto& [pTable, pColumn] : {std::pair("PhoneAccount", "DisplayName"), {"PhoneLine", "Name"}}) {
        EXPECT_EQ(0U, client().code(request::UpdateKey{pTable, "Id", "1", row({{pColumn, "changed"}})}));
    }
    EXPECT_TRUE(oTransaction.commit().ok());
    EXPECT_EQ("PhoneLineView", *client().waitForChange(c_oDeadline));
    EXPECT_EQ(0U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Note", "changed"}})}));
    EXPECT_EQ("Item", *client().waitForChange(c_oDeadline));
    EXPECT_EQ("changed", client().cell("PhoneLineView", 1, "DisplayName"));
}

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

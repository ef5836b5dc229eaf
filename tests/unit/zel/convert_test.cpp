#include "zel/convert.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> split(std::string a_sLine, int a_iMost)
{
    std::vector<char*> lParts(5);
    const int iParts = ZEL_Convert_split(lParts.data(), a_iMost, a_sLine.data(), '=');
    EXPECT_EQ(lParts[static_cast<std::size_t>(iParts)], nullptr);
    return {lParts.begin(), lParts.begin() + iParts};
}

} // namespace

TEST(Convert, TheLastPartIsWhatRemains)
{
    using testing::ElementsAre;
    EXPECT_THAT(split("a=b==c", 4), ElementsAre("a", "b", "", "c"));
    EXPECT_THAT(split("a=b==c", 2), ElementsAre("a", "b==c"));
    EXPECT_THAT(split("a=b==c", 1), ElementsAre("a=b==c"));
    EXPECT_THAT(split("a=", 2), ElementsAre("a", ""));
    EXPECT_THAT(split("", 2), ElementsAre(""));
    EXPECT_THAT(split("a=b", 0), ElementsAre());
    EXPECT_EQ(ZEL_Convert_split(nullptr, 2, nullptr, '='), 0);
}

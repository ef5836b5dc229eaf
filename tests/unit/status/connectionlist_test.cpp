#include "status/connectionlist.h"

#include <gtest/gtest.h>

#include <limits>

TEST(ConnectionList, EveryTextComesOutByteForByte)
{
    using Limits = std::numeric_limits<std::int32_t>;
    zel::ConnectionList oList;
    const std::vector<std::string> lTexts = {
        "192.0.2.1", "0.0.0.0", "255.255.255.255", "2001:0db8:0000:0000:0000:0000:00fe:a001",
        // These look like addresses, but are written otherwise.
        "", "1.2.3", "1.2.3.4.", "1.2.3.4.5", ".1.2.3", "1..2.3", "01.2.3.4", "1.2.3.00", "256.2.3.4",
        "+1.2.3.4", "-1.2.3.4", " 1.2.3.4", "1.2.3.4 ", "1.2.3.0x4", "2001:db8::1", "::", "::ffff:192.0.2.1",
        "2001:0DB8:0000:0000:0000:0000:00fe:a001", "2001:0db8:0000:0000:0000:0000:00fe:a00g",
        "2001:0db8:0000:0000:0000:0000:00fe.a001", "2001:0db8:0000:0000:0000:0000:00fe:a0011",
        std::string("1.2.3.\0", 7), "ESTABLISHED", "\xff"};
    std::int32_t iNumber = Limits::min();
    for (const auto& sText : lTexts) {
        oList.add({iNumber++, sText, Limits::max(), -7, sText, sText, "::1", -1, 70000, true, false});
    }
    oList.add({1, "udp", 17, 29, "", "192.0.2.1", "192.0.2.2", 1, 2, false, true});
    iNumber = Limits::min();
    for (std::size_t i = 0; i < lTexts.size(); ++i) {
        const zel::ConnectionRow oRow(oList, i);
        EXPECT_EQ(oRow.getProtocol(), lTexts[i]);
        EXPECT_EQ(oRow.getState(), lTexts[i]);
        EXPECT_EQ(oRow.getSrcAddress(), lTexts[i]);
        EXPECT_EQ(oRow.getDstAddress(), "::1");
        EXPECT_EQ((std::vector<std::int32_t>{oRow.getLine(), oRow.getProtocolNumber(), oRow.getExpires(),
                                             oRow.getSrcPort(), oRow.getDstPort()}),
                  (std::vector<std::int32_t>{iNumber++, Limits::max(), -7, -1, 70000}));
        EXPECT_TRUE(oRow.isUnreplied() && !oRow.isAssured());
    }
    const zel::ConnectionRow oLast(oList, lTexts.size());
    EXPECT_TRUE(oLast.isAssured() && !oLast.isUnreplied());
}

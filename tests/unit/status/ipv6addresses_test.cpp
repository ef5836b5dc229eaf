#include "status/ipv6addresses.h"

#include "tests/networknamespace.h"
#include "tests/row.h"

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sTable = "StatusNetIfIPv6Addresses";

class IPv6AddressesTest : public NetworkTest
{
protected:
    NameList update()
    {
        NameList lChanged;
        m_oAddresses.update(lChanged);
        return lChanged;
    }
    EResultCode findKey(const std::string& a_sColumn, const std::string& a_sValue)
    {
        m_lFound.clear();
        return m_oAddresses.getRowByKey(c_sTable, m_lFound, a_sColumn, a_sValue, {});
    }

    zel::IPv6Addresses m_oAddresses;
    ValueList m_lFound;
};

} // namespace

TEST_F(IPv6AddressesTest, TellsOnlyOfChanges)
{
    EXPECT_EQ(update(), NameList());
    addLan();
    ip("address add fd00::1 dev lan");
    ip("address add fd00::2 dev peer");
    EXPECT_EQ(update(), NameList{c_sTable});
    EXPECT_EQ(update(), NameList());
    ip("link del lan");
    EXPECT_EQ(update(), NameList{c_sTable});
    unsigned iCount = 1;
    m_oAddresses.getRowCount(c_sTable, iCount);
    EXPECT_EQ(iCount, 0U);
}

TEST_F(IPv6AddressesTest, KeyWithoutARowIsUnknownUnlessItIsANumber)
{
    addLan();
    ip("address add fd00::1 dev peer");
    ip("address add fd00::2 dev peer");
    ip("address add fd00::3 dev lan");
    update();

    EXPECT_EQ(findKey("Name", "peer"), EResultCode::Success);
    EXPECT_EQ(m_lFound, row({{"Id", 2}, {"Name", "peer"}, {"Addr", "fd00::1"}}));
    EXPECT_EQ(findKey("Name", "lo"), EResultCode::NoKey); // not 10
    EXPECT_EQ(findKey("Addr", "fd00::1"), EResultCode::NoKey);

    EXPECT_EQ(findKey("Id", " 3rd"), EResultCode::Success);
    EXPECT_EQ(m_lFound, row({{"Id", 3}, {"Name", "peer"}, {"Addr", "fd00::2"}}));
    for (const char* pNumber : {"0", "4", "-1", "99999999999999999999"}) {
        EXPECT_EQ(findKey("Id", pNumber), EResultCode::NoRow) << pNumber;
    }
    EXPECT_EQ(findKey("Id", "abc"), EResultCode::NoKey);
    EXPECT_EQ(findKey("Id", ""), EResultCode::NoKey);
}

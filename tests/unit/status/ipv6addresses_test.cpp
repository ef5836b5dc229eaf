#include "status/ipv6addresses.h"

#include "tests/networknamespace.h"
#include "tests/unit/status/tablereader.h"

using systema::NameList;

namespace {

const std::string c_sTable = "StatusNetIfIPv6Addresses";

class IPv6AddressesTest : public NetworkTest
{
protected:
    zel::IPv6Addresses m_oAddresses;
    TableReader m_oRead{m_oAddresses, c_sTable};
};

} // namespace

TEST_F(IPv6AddressesTest, TellsOnlyOfChanges)
{
    EXPECT_EQ(m_oRead.update(), NameList());
    addLan();
    ip("address add fd00::1 dev lan");
    ip("address add fd00::2 dev peer");
    EXPECT_EQ(m_oRead.update(), NameList{c_sTable});
    EXPECT_EQ(m_oRead.update(), NameList());
    ip("link del lan");
    EXPECT_EQ(m_oRead.update(), NameList{c_sTable});
    EXPECT_EQ(m_oRead.count(), "0");
}

TEST_F(IPv6AddressesTest, KeyWithoutARowIsUnknownUnlessItIsANumber)
{
    addLan();
    ip("address add fd00::1 dev peer");
    ip("address add fd00::2 dev peer");
    ip("address add fd00::3 dev lan");
    m_oRead.update();

    const NameList lAll{"Id", "Name", "Addr"};
    EXPECT_EQ(m_oRead.find("Name", "peer", lAll), "2,peer,fd00::1");
    EXPECT_EQ(m_oRead.find("Name", "lo"), "code 9") << "not 10";
    EXPECT_EQ(m_oRead.find("Addr", "fd00::1"), "code 9");
    EXPECT_EQ(m_oRead.find("Id", "3", lAll), "3,peer,fd00::2");
    for (const char* pNumber : {"0", "4", "03", "99999999999999999999"}) {
        EXPECT_EQ(m_oRead.find("Id", pNumber), "code 10") << pNumber;
    }
    EXPECT_EQ(m_oRead.find("Id", "abc"), "code 9");
    EXPECT_EQ(m_oRead.find("Id", "-1"), "code 9");
}

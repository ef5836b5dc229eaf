#include "zel/netdevice.h"

#include "tests/networknamespace.h"

#include <sstream>

using zel::net::NetDevice;

namespace {

class NetDeviceTest : public NetworkTest
{
protected:
    /// What the kernel tells of the device now, but for the counters.
    static std::string state(const std::string& a_sDevice) { return text(NetDevice(a_sDevice)); }
    static std::string text(const NetDevice& a_oDevice)
    {
        const auto& oState = a_oDevice.getState();
        std::ostringstream oText;
        oText << (oState.m_bUp ? "up" : "down") << " " << oState.m_sHwAddr << " mtu " << oState.m_iMTU
              << " addr " << oState.m_sAddr << " mask " << oState.m_sNetmask << " broad "
              << oState.m_sBroadAddr << " peer " << oState.m_sDstAddr << " link " << oState.m_iIPv6LinkAddrs
              << " site " << oState.m_iIPv6SiteAddrs << " global " << oState.m_iIPv6GlobalAddrs;
        return oText.str();
    }
};

const std::string c_sNone =
    "down  mtu 0 addr 0.0.0.0 mask 0.0.0.0 broad 0.0.0.0 peer 0.0.0.0 link 0 site 0 global 0";
const std::string c_sNoIPv4 = "addr 0.0.0.0 mask 0.0.0.0 broad 0.0.0.0 peer 0.0.0.0";
const std::string c_sNoIPv6 = " link 0 site 0 global 0";

} // namespace

TEST_F(NetDeviceTest, ShowsItsFirstAddress)
{
    addLan();
    const std::string sLink = " 02:00:00:00:00:01 mtu 1400 ";
    EXPECT_EQ(state("lan"), "down" + sLink + c_sNoIPv4 + c_sNoIPv6);
    ip("address add 192.0.2.1/24 brd + dev lan");
    ip("address add 198.51.100.1/16 dev lan");
    ip("link set lan up");
    EXPECT_EQ(state("lan"),
              "up" + sLink + "addr 192.0.2.1 mask 255.255.255.0 broad 192.0.2.255 peer 0.0.0.0" + c_sNoIPv6);
    ip("address del 192.0.2.1/24 dev lan");
    EXPECT_EQ(state("lan"),
              "up" + sLink + "addr 198.51.100.1 mask 255.255.0.0 broad 0.0.0.0 peer 0.0.0.0" + c_sNoIPv6);
}

TEST_F(NetDeviceTest, SeesAnAddressWithALabelAndTakesNoSecondaryOneForTheFirst)
{
    addLan();
    const auto address = [] { return NetDevice("lan").getState().m_sAddr; };
    ip("address add 192.0.2.1/24 label lan:1 dev lan");
    EXPECT_EQ(address(), "192.0.2.1");
    ip("address add 192.0.2.2/24 dev lan"); // secondary, as it is in the network of the first
    EXPECT_EQ(address(), "192.0.2.1");
    ip("address add 127.0.0.1/8 dev lo");
    EXPECT_EQ(NetDevice("lan:1").getState().m_sAddr, "0.0.0.0");
    // More than the kernel tells in one part.
    for (int i = 0; i < 3; ++i) {
        const std::string sNetwork = "10." + std::to_string(i) + ".";
        ip("-batch - <<END\n$(seq -f 'address add " + sNetwork + "%g.1/24 dev lo' 0 255)\nEND");
    }
    ip("link add last type bridge");
    ip("address add 198.51.100.1/24 label last:x dev last");
    EXPECT_EQ(NetDevice("last").getState().m_sAddr, "198.51.100.1");
}

TEST_F(NetDeviceTest, ShowsItsPeer)
{
    ip("tuntap add ppp0 mode tun");
    ip("address add 192.0.2.1/24 dev ppp0");
    EXPECT_EQ(state("ppp0"),
              "down  mtu 1500 addr 192.0.2.1 mask 255.255.255.0 broad 0.0.0.0 peer 0.0.0.0" + c_sNoIPv6);
    addLan();
    for (const std::string sDevice : {"ppp0", "lan"}) {
        ip("address flush dev " + sDevice);
        ip("address add 192.0.2.1 peer 192.0.2.2 dev " + sDevice);
        EXPECT_NE(state(sDevice).find("addr 192.0.2.1 mask 255.255.255.255 broad 0.0.0.0 peer 192.0.2.2"),
                  std::string::npos)
            << state(sDevice);
    }
}

TEST_F(NetDeviceTest, CountsIPv6AddressesByScope)
{
    addLan();
    ip("link set lan up");
    ip("link set lo up");
    for (const char* pAddress : {"fe80::1", "fe80::2", "fe80::3", "fec0::1", "fec0::2", "fd00::1"}) {
        ip(std::string("address add dev lan ") + pAddress);
    }
    const std::string sLan = state("lan");
    EXPECT_TRUE(sLan.ends_with(" link 3 site 2 global 1")) << sLan;
    ip("address add 2001:db8::1/64 dev peer");
    const std::string sPeer = state("peer");
    EXPECT_TRUE(sPeer.ends_with(" link 0 site 0 global 1")) << sPeer;
    EXPECT_TRUE(state("lo").ends_with(c_sNoIPv6));
}

TEST_F(NetDeviceTest, IsDownWhileThereIsNoDeviceOfItsName)
{
    NetDevice oOld("lan");
    NetDevice oNew("wan");
    EXPECT_EQ(text(oOld), c_sNone);
    addLan();
    ip("address add 192.0.2.1/24 dev lan");
    oOld.refresh();
    const std::string sLan = text(oOld);
    EXPECT_NE(sLan, c_sNone);
    ip("link set lan name wan");
    oOld.refresh();
    oNew.refresh();
    EXPECT_EQ(text(oOld), c_sNone);
    EXPECT_EQ(text(oNew), sLan);
    ip("link del wan");
    oNew.refreshStatistics();
    EXPECT_EQ(text(oNew), sLan);
    oNew.refresh();
    EXPECT_EQ(text(oNew), c_sNone);

    // The longest name, and those that are too long, though they start like it.
    const std::string sLongest(15, 'x');
    ip("link add " + sLongest + " type bridge");
    EXPECT_NE(state(sLongest), c_sNone);
    for (const auto& sName : {sLongest + "x", std::string(300, 'x'), std::string(), std::string("a/b")}) {
        EXPECT_EQ(state(sName), c_sNone) << sName;
    }
}

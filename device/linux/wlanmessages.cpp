#include "device/linux/wlanmessages.h"

#include <algorithm>
#include <cstdio>
#include <linux/netlink.h>
#include <linux/nl80211.h>
#include <map>
#include <tuple>

namespace zel::device {

namespace {

constexpr std::size_t c_iMacSize = 6;
constexpr std::size_t c_iLongestSsid = 32;
constexpr int c_iNone = -1;

/// A frequency band with the modes' bits in it, in the order of their age.
struct Band
{
    unsigned m_iFrom; // MHz
    unsigned m_iTo;
    int m_iBasic; // what needs no 802.11n
    int m_iHt;
    int m_iVht;
    int m_iHe;
};

constexpr int c_i80211b = 1;
constexpr int c_i80211g = 2;

/// At 6 GHz there is nothing older than 802.11ax, and what is at 60 GHz has no bit.
constexpr std::array<Band, Radio::c_iBands> c_aBands{{
    {2400, 2500, c_i80211b | c_i80211g, 4, 0, 8},
    {4900, 5934, 16, 32, 64, 128},
    {},
    {5935, 7125, 0, 0, 0, 128},
}};
static_assert(NL80211_BAND_2GHZ == 0 && NL80211_BAND_5GHZ == 1 && NL80211_BAND_6GHZ == 3);

/// Null for a frequency in none.
const Band* bandOf(unsigned a_iFrequency)
{
    const auto* pBand = std::ranges::find_if(c_aBands, [&](const Band& a_oBand) {
        return a_iFrequency >= a_oBand.m_iFrom && a_iFrequency <= a_oBand.m_iTo;
    });
    return pBand == c_aBands.end() ? nullptr : pBand;
}

/// 0 for a frequency without a channel.
int channelOf(unsigned a_iFrequency)
{
    constexpr unsigned c_iJapanese = 2484;  // channel 14 stands apart
    constexpr unsigned c_iFirst6GHz = 5935; // channel 2 too, below channel 1
    const int iFrequency = static_cast<int>(a_iFrequency);
    if (a_iFrequency == c_iJapanese) {
        return 14;
    }
    if (a_iFrequency == c_iFirst6GHz) {
        return 2;
    }
    if (a_iFrequency > 2407 && a_iFrequency < c_iJapanese) {
        return (iFrequency - 2407) / 5;
    }
    if (a_iFrequency >= 4900 && a_iFrequency < 5000) {
        return (iFrequency - 4000) / 5;
    }
    if (a_iFrequency > 5000 && a_iFrequency < c_iFirst6GHz) {
        return (iFrequency - 5000) / 5;
    }
    return a_iFrequency > 5950 && a_iFrequency <= 7125 ? (iFrequency - 5950) / 5 : 0;
}

/// The structure that the bytes start with; what is missing of it is 0.
template<class Struct>
Struct startOf(Bytes a_lBytes)
{
    Struct oStruct{};
    std::copy_n(a_lBytes.data(), std::min(sizeof(oStruct), a_lBytes.size()),
                reinterpret_cast<unsigned char*>(&oStruct));
    return oStruct;
}

/// Tells of each attribute with its type and its content, until one does not fit.
void forEachAttribute(Bytes a_lAttributes, const auto& a_oReceiver)
{
    while (a_lAttributes.size() >= sizeof(nlattr)) {
        const auto oHead = startOf<nlattr>(a_lAttributes);
        if (oHead.nla_len < NLA_HDRLEN || oHead.nla_len > a_lAttributes.size()) {
            break;
        }
        a_oReceiver(oHead.nla_type & NLA_TYPE_MASK,
                    a_lAttributes.subspan(NLA_HDRLEN, oHead.nla_len - NLA_HDRLEN));
        a_lAttributes =
            a_lAttributes.subspan(std::min<std::size_t>(NLA_ALIGN(oHead.nla_len), a_lAttributes.size()));
    }
}

/// The last attribute of the type.
std::optional<Bytes> find(Bytes a_lAttributes, int a_iType)
{
    std::optional<Bytes> oFound;
    forEachAttribute(a_lAttributes, [&](int a_iFound, Bytes a_lContent) {
        if (a_iFound == a_iType) {
            oFound = a_lContent;
        }
    });
    return oFound;
}

/// Empty when there is none.
Bytes contentOf(Bytes a_lAttributes, int a_iType)
{
    return find(a_lAttributes, a_iType).value_or(Bytes());
}

/// 0 when there is none.
std::uint32_t numberOf(Bytes a_lAttributes, int a_iType)
{
    return startOf<std::uint32_t>(contentOf(a_lAttributes, a_iType));
}

std::string textOf(Bytes a_lBytes)
{
    return {a_lBytes.begin(), a_lBytes.end()};
}

/// Empty for anything but an address.
std::string macOf(Bytes a_lAddress)
{
    if (a_lAddress.size() != c_iMacSize) {
        return {};
    }
    std::array<char, sizeof("00:00:00:00:00:00")> aText;
    std::snprintf(aText.data(), aText.size(), "%02x:%02x:%02x:%02x:%02x:%02x", a_lAddress[0], a_lAddress[1],
                  a_lAddress[2], a_lAddress[3], a_lAddress[4], a_lAddress[5]);
    return aText.data();
}

unsigned widthOf(std::optional<Bytes> a_oWidth)
{
    if (!a_oWidth) {
        return 0;
    }
    switch (startOf<std::uint32_t>(*a_oWidth)) {
    case NL80211_CHAN_WIDTH_20:
        return 20;
    case NL80211_CHAN_WIDTH_40:
        return 40;
    case NL80211_CHAN_WIDTH_80:
    case NL80211_CHAN_WIDTH_80P80:
        return 80;
    case NL80211_CHAN_WIDTH_160:
        return 160;
    case NL80211_CHAN_WIDTH_320:
        return 320;
    default:
        return 0;
    }
}

/// A wide channel is made of pairs of ordinary ones; the secondary channel is the other one of the pair.
int secondChannelOf(unsigned a_iFrequency, unsigned a_iCentre, unsigned a_iWidth)
{
    // What lies below becomes a number that is too large.
    const unsigned iFromLowest = a_iFrequency + a_iWidth / 2 - 10 - a_iCentre;
    if (a_iWidth < 40 || iFromLowest >= a_iWidth || iFromLowest % 20 != 0) {
        return c_iNone;
    }
    return channelOf(a_iFrequency) + (iFromLowest % 40 == 0 ? 4 : -4);
}

// What a beacon says of a network.
constexpr unsigned c_iSsidElement = 0;
constexpr unsigned c_iRatesElement = 1;
constexpr unsigned c_iHtElement = 45;
constexpr unsigned c_iMoreRatesElement = 50;
constexpr unsigned c_iHtOperationElement = 61;
constexpr unsigned c_iVhtElement = 191;
constexpr unsigned c_iExtensionElement = 255;
constexpr unsigned c_iHeElement = 256 + 35; // 256 stands before the number of an extension

/// Tells of each element with its number and its content, until one does not fit.
void forEachElement(Bytes a_lElements, const auto& a_oReceiver)
{
    while (a_lElements.size() >= 2) {
        const std::size_t iSize = a_lElements[1];
        if (iSize > a_lElements.size() - 2) {
            break;
        }
        unsigned iNumber = a_lElements[0];
        Bytes lContent = a_lElements.subspan(2, iSize);
        if (iNumber == c_iExtensionElement && !lContent.empty()) {
            iNumber = 256U + lContent[0];
            lContent = lContent.subspan(1);
        }
        a_oReceiver(iNumber, lContent);
        a_lElements = a_lElements.subspan(2 + iSize);
    }
}

/// The bits of the modes at 2.4 GHz to which the rates, in 500 kbit/s, belong.
int modesOf(Bytes a_lRates)
{
    int iModes = 0;
    for (const unsigned char iRate : a_lRates) {
        switch (iRate & 0x7fU) {
        case 2:
        case 4:
        case 11:
        case 22:
            iModes |= c_i80211b;
            break;
        case 12:
        case 18:
        case 24:
        case 36:
        case 48:
        case 72:
        case 96:
        case 108:
            iModes |= c_i80211g;
            break;
        default:
            break; // a sign that something is needed of the clients
        }
    }
    return iModes;
}

int secondChannelOf(Bytes a_lHtOperation, int a_iChannel)
{
    const unsigned iOffset = a_lHtOperation.size() < 2 ? 0 : a_lHtOperation[1] & 3U;
    const int iSecond = iOffset == 1 ? a_iChannel + 4 : iOffset == 3 ? a_iChannel - 4 : c_iNone;
    return iSecond > 0 ? iSecond : c_iNone;
}

void takeElements(ZEL_WLANAPI_ScanAp& a_oNetwork, Bytes a_lElements, const Band& a_oBand)
{
    // At 2.4 GHz an access point says by its rates which of the older modes it knows.
    int iModes = a_oBand.m_iBasic & ~(c_i80211b | c_i80211g);
    forEachElement(a_lElements, [&](unsigned a_iNumber, Bytes a_lContent) {
        switch (a_iNumber) {
        case c_iSsidElement:
            if (a_lContent.size() <= c_iLongestSsid) {
                a_oNetwork.m_aSsid.fill('\0');
                putText(a_oNetwork.m_aSsid, textOf(a_lContent));
            }
            break;
        case c_iRatesElement:
        case c_iMoreRatesElement:
            iModes |= modesOf(a_lContent) & a_oBand.m_iBasic;
            break;
        case c_iHtElement:
            iModes |= a_oBand.m_iHt;
            break;
        case c_iHtOperationElement:
            a_oNetwork.m_iChannel2 = secondChannelOf(a_lContent, a_oNetwork.m_iChannel);
            break;
        case c_iVhtElement:
            iModes |= a_oBand.m_iVht;
            break;
        case c_iHeElement:
            iModes |= a_oBand.m_iHe;
            break;
        default:
            break;
        }
    });
    a_oNetwork.m_iMode = static_cast<std::uint32_t>(iModes);
}

/// -100 dBm and less is 0, -50 dBm and more is 100.
int percentageOf(Bytes a_lBss)
{
    if (const auto oHundredthsOfDbm = find(a_lBss, NL80211_BSS_SIGNAL_MBM)) {
        const auto iSignal = startOf<std::int32_t>(*oHundredthsOfDbm);
        return (std::clamp(iSignal, -10000, -5000) + 10000) / 50;
    }
    return std::min<int>(startOf<std::uint8_t>(contentOf(a_lBss, NL80211_BSS_SIGNAL_UNSPEC)), 100);
}

bool isForAccessPoints(Bytes a_lIftypeData)
{
    return find(contentOf(a_lIftypeData, NL80211_BAND_IFTYPE_ATTR_IFTYPES), NL80211_IFTYPE_AP).has_value();
}

int modesOf(const Band& a_oBand, Bytes a_lBand)
{
    int iModes = a_oBand.m_iBasic;
    if (find(a_lBand, NL80211_BAND_ATTR_HT_CAPA)) {
        iModes |= a_oBand.m_iHt;
    }
    if (find(a_lBand, NL80211_BAND_ATTR_VHT_CAPA)) {
        iModes |= a_oBand.m_iVht;
    }
    forEachAttribute(contentOf(a_lBand, NL80211_BAND_ATTR_IFTYPE_DATA), [&](int, Bytes a_lData) {
        if (isForAccessPoints(a_lData) && find(a_lData, NL80211_BAND_IFTYPE_ATTR_HE_CAP_MAC)) {
            iModes |= a_oBand.m_iHe;
        }
    });
    return iModes;
}

} // namespace

std::optional<Radio> parseRadio(Bytes a_lAttributes)
{
    if (!find(a_lAttributes, NL80211_ATTR_WIPHY)) {
        return std::nullopt;
    }
    Radio oRadio{numberOf(a_lAttributes, NL80211_ATTR_WIPHY)};
    forEachAttribute(contentOf(a_lAttributes, NL80211_ATTR_WIPHY_BANDS), [&](int a_iBand, Bytes a_lBand) {
        const auto iBand = static_cast<std::size_t>(a_iBand);
        if (iBand < c_aBands.size()) {
            oRadio.m_aModes[iBand] |= modesOf(c_aBands[iBand], a_lBand);
        }
    });
    return oRadio;
}

std::optional<WlanInterface> parseAccessPoint(Bytes a_lAttributes)
{
    const auto oIndex = find(a_lAttributes, NL80211_ATTR_IFINDEX);
    if (!oIndex || numberOf(a_lAttributes, NL80211_ATTR_IFTYPE) != NL80211_IFTYPE_AP) {
        return std::nullopt;
    }
    WlanInterface oInterface;
    oInterface.m_iRadio = numberOf(a_lAttributes, NL80211_ATTR_WIPHY);
    oInterface.m_iIndex = startOf<std::uint32_t>(*oIndex);
    oInterface.m_iFrequency = numberOf(a_lAttributes, NL80211_ATTR_WIPHY_FREQ);
    oInterface.m_iWidth = widthOf(find(a_lAttributes, NL80211_ATTR_CHANNEL_WIDTH));
    oInterface.m_oAccessPoint.m_sSsid = textOf(contentOf(a_lAttributes, NL80211_ATTR_SSID));
    oInterface.m_oAccessPoint.m_sMac = macOf(contentOf(a_lAttributes, NL80211_ATTR_MAC));
    oInterface.m_oAccessPoint.m_iChannel = channelOf(oInterface.m_iFrequency);
    oInterface.m_oAccessPoint.m_iChannel2 = secondChannelOf(
        oInterface.m_iFrequency, numberOf(a_lAttributes, NL80211_ATTR_CENTER_FREQ1), oInterface.m_iWidth);
    return oInterface;
}

std::optional<ZEL_WLANAPI_ScanAp> parseNetwork(Bytes a_lAttributes)
{
    const Bytes lBss = contentOf(a_lAttributes, NL80211_ATTR_BSS);
    const std::string sMac = macOf(contentOf(lBss, NL80211_BSS_BSSID));
    if (sMac.empty()) {
        return std::nullopt;
    }
    ZEL_WLANAPI_ScanAp oNetwork{};
    putText(oNetwork.m_aMac, sMac);
    oNetwork.m_iSignal = percentageOf(lBss);
    const unsigned iFrequency = numberOf(lBss, NL80211_BSS_FREQUENCY);
    oNetwork.m_iChannel = channelOf(iFrequency);
    oNetwork.m_iChannel2 = c_iNone;
    const auto oElements = find(lBss, NL80211_BSS_INFORMATION_ELEMENTS);
    const Band* pBand = bandOf(iFrequency);
    takeElements(oNetwork, oElements ? *oElements : contentOf(lBss, NL80211_BSS_BEACON_IES),
                 pBand == nullptr ? Band{} : *pBand);
    return oNetwork;
}

void removeRepeated(Networks& a_lNetworks, const std::set<std::string>& a_lOwnMacs)
{
    const auto isHidden = [](const ZEL_WLANAPI_ScanAp& a_oNetwork) { return a_oNetwork.m_aSsid[0] == '\0'; };
    std::set<std::string> lNamed;
    for (const auto& oNetwork : a_lNetworks) {
        if (!isHidden(oNetwork)) {
            lNamed.insert(oNetwork.m_aMac.data());
        }
    }
    std::erase_if(a_lNetworks, [&](const ZEL_WLANAPI_ScanAp& a_oNetwork) {
        const char* pMac = a_oNetwork.m_aMac.data();
        return a_lOwnMacs.contains(pMac) || (isHidden(a_oNetwork) && lNamed.contains(pMac));
    });
}

int modeOf(const Radio& a_oRadio, unsigned a_iFrequency, unsigned a_iWidth)
{
    const Band* pBand = bandOf(a_iFrequency);
    if (pBand == nullptr) {
        return 0;
    }
    const int iModes = a_oRadio.m_aModes[static_cast<std::size_t>(pBand - c_aBands.data())];
    return a_iWidth == 0 ? iModes & pBand->m_iBasic : iModes;
}

void sortAccessPoints(std::vector<WlanInterface>& a_lInterfaces)
{
    const auto oPlace = [](const WlanInterface& a_oInterface) {
        return std::tuple(a_oInterface.m_iRadio, a_oInterface.m_iIndex);
    };
    std::ranges::sort(a_lInterfaces, {}, oPlace);
    // The interfaces of one radio, dealt out in turns.
    std::map<std::uint32_t, unsigned> mTurns;
    std::multimap<unsigned, WlanInterface> mByTurn;
    for (auto& oInterface : a_lInterfaces) {
        mByTurn.emplace(mTurns[oInterface.m_iRadio]++, std::move(oInterface));
    }
    a_lInterfaces.clear();
    for (auto& oInTurn : mByTurn) {
        a_lInterfaces.push_back(std::move(oInTurn.second));
    }
}

} // namespace zel::device

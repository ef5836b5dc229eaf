#include "tools/signals.h"

#include "dbus/objectpath.h"
#include "tools/message.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace zel::netsim {
namespace {

std::vector<std::smatch> findAll(const std::string& a_sText, const char* a_pPattern)
{
    const std::regex oPattern(a_pPattern);
    return {std::sregex_iterator(a_sText.begin(), a_sText.end(), oPattern), {}};
}

TEST(Signals, AreThoseOfTheIntrospectionFiles)
{
    std::set<std::string> lPublished;
    for (const auto& oEntry : std::filesystem::directory_iterator(LEDGERD_INTERFACES)) {
        if (oEntry.path().extension() != ".xml") {
            continue;
        }
        std::ifstream oFile(oEntry.path());
        const std::string sXml{std::istreambuf_iterator<char>(oFile), {}};
        const std::string sService = findAll(sXml, R"re(<interface name="([^"]+)")re").at(0)[1];
        EXPECT_NE(std::string::npos, sXml.find("<node name=\"" + objectPathOf(sService) + '"')) << sService;
        for (const auto& oSignal : findAll(sXml, R"re(<signal name="(\w+)">([^]*?)</signal>)re")) {
            const std::string sArguments = oSignal[2];
            std::string sTypes;
            for (const auto& oArgument : findAll(sArguments, R"re(<arg [^>]*type="(\w+)")re")) {
                sTypes += oArgument[1];
            }
            lPublished.insert(sService + " " + oSignal[1].str() + " " + sTypes);
        }
    }
    std::set<std::string> lOurs;
    for (const Signal& oSignal : signals()) {
        lOurs.insert(std::string(oSignal.m_pService) + " " + oSignal.m_pName + " " + oSignal.m_pTypes);
    }
    EXPECT_EQ(lPublished, lOurs);
}

/// What becomes of the words: the message's signature, or the complaint.
std::string make(const char* a_pTypes, std::vector<std::string> a_lArguments)
{
    Message oMessage;
    const auto oFailure = makeSignal("UpdateServer", a_pTypes, a_lArguments, oMessage);
    return oFailure.value_or(oFailure ? "" : dbus_message_get_signature(oMessage.get()));
}

TEST(Signals, TakeAnyTypesButNoWordOfAnotherType)
{
    EXPECT_EQ("ssas", make("ssas", {"", "b", "one,two"}));
    EXPECT_EQ("asayay", make("asayay", {"", "255", "1,2"}));
    EXPECT_EQ("uidb", make("uidb", {"4294967295", "-1", "0.5", "true"}));
    EXPECT_EQ("", make("", {}));

    EXPECT_EQ("UpdateServer takes 2 arguments of the types \"ss\", not 1", make("ss", {"a"}));
    EXPECT_EQ("UpdateServer takes 0 arguments of the types \"\", not 1", make("", {"a"}));
    for (const char* pTypes : {"a", "aas", "v", "s(", "sa"}) {
        EXPECT_NE(std::string::npos, make(pTypes, {"1", "2"}).find("the types \"")) << pTypes;
    }
    for (const auto& [pType, sWord] : std::vector<std::pair<const char*, std::string>>{{"y", "256"},
                                                                                       {"y", "-1"},
                                                                                       {"u", ""},
                                                                                       {"u", "4294967296"},
                                                                                       {"i", "1x"},
                                                                                       {"b", "yes"},
                                                                                       {"s", "\xff"},
                                                                                       {"ay", "1,,2"},
                                                                                       {"as", "ok,\xff"}}) {
        EXPECT_EQ("UpdateServer: argument 1, \"" + sWord + "\", is not of type \"" + pType + "\"",
                  make(pType, {sWord}));
    }
}

} // namespace
} // namespace zel::netsim

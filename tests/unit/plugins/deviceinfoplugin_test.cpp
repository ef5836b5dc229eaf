#include "plugins/deviceinfoplugin.h"

#include "plugins/settings.h"
#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/device/systemroot.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gmock/gmock.h>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

class DeviceInfoPlugin : public testing::Test
{
protected:
    DeviceInfoPlugin()
    {
        write("etl.conf", "");
        write("bootloader.conf", "");
    }

    std::string path(const std::string& a_sName) const { return m_oRoot.path("/etc/" + a_sName); }
    void write(const std::string& a_sName, const std::string& a_sText) const
    {
        m_oRoot.write("/etc/" + a_sName, a_sText);
    }

    EResultCode select(ValueList& a_lRow, const std::string& a_sTable, unsigned a_iIndex,
                       const NameList& a_lWanted)
    {
        return m_oPlugin.selectRow(a_lRow, this, a_sTable, a_iIndex, a_lWanted);
    }
    /// The row of the table as it is after the start.
    ValueList rowOf(const std::string& a_sTable)
    {
        m_oPlugin.initialize();
        ValueList lRow;
        EXPECT_EQ(select(lRow, a_sTable, 0, {}), EResultCode::Success);
        return lRow;
    }

    const SystemRoot m_oRoot;
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oDispatcher{"dispatcher", {}, m_lCalls};
    zel::DeviceInfoPlugin m_oPlugin{m_oDispatcher};
};

} // namespace

TEST_F(DeviceInfoPlugin, HasOneRowATable)
{
    m_oRoot.write("/var/run/ledgerd-sim.json", R"({
        "mounts": {"rootfs": "flash", "servicefs": "network", "defconfig": "ram"}, "wlan": {"radios": 1}})");
    const ValueList lEnvironment = row({{"Id", 1},
                                        {"RootfsMountSource", "flash"},
                                        {"ServicefsMountSource", "network"},
                                        {"DefconfigMountSource", "ram"},
                                        {"WlanSupport", 1},
                                        {"IsHost", 0}});
    EXPECT_EQ(rowOf("Environment"), lEnvironment);
    for (const char* pTable : {"etl", "Environment", "BootLoaderInfo", "SoftwareVersion"}) {
        ValueList lRow;
        EXPECT_EQ(m_oPlugin.selectKey(lRow, this, pTable, "Id", "1", {"Id"}), EResultCode::Success);
        EXPECT_EQ(lRow, row({{"Id", 1}}));
        EXPECT_EQ(select(lRow, pTable, 0, {"Id", "id"}), EResultCode::NoKey);
        EXPECT_EQ(lRow, row({{"Id", 1}, {"Id", 1}})) << "what was found before";
        EXPECT_EQ(select(lRow, pTable, 0, {}), EResultCode::Success);
        EXPECT_GE(lRow.size(), 3U) << "a whole row is appended, too";
        lRow.clear();
        EXPECT_EQ(select(lRow, pTable, 1, {}), EResultCode::NoRow);
        EXPECT_TRUE(lRow.empty());
    }
    ValueList lRow;
    systema::ColumnList lColumns;
    unsigned iSize = 0;
    EXPECT_EQ(m_oPlugin.selectKey(lRow, this, "environment", "Id", "1", {}), EResultCode::NoTable);
    EXPECT_EQ(m_oPlugin.getSchema(lColumns, this, "environment"), EResultCode::NoTable);
    EXPECT_EQ(m_oPlugin.getSize(iSize, this, "environment"), EResultCode::NoTable);
}

TEST_F(DeviceInfoPlugin, AVersionIsTheFirstLineOfItsFile)
{
    write("zel-version-small.txt", "2.4.1\nsecond\n");
    write("zel-version-static.txt", std::string(300, 'v'));
    write("build.txt", "");
    std::filesystem::create_directory(path("build_id.txt"));
    EXPECT_EQ(rowOf("SoftwareVersion"), row({{"Id", 1},
                                             {"VersionSmall", "2.4.1"},
                                             {"VersionFull", std::string(127, 'v').c_str()},
                                             {"BuildDate", ""},
                                             {"BuildId", "s0b0"}}));
}

TEST_F(DeviceInfoPlugin, AVersionWithoutAFileHasATextForIt)
{
    EXPECT_EQ(rowOf("SoftwareVersion"), row({{"Id", 1},
                                             {"VersionSmall", "1.0-1.0.0"},
                                             {"VersionFull", "Unknown package 1.0-1.0.0"},
                                             {"BuildDate", "Jul 13 2023"},
                                             {"BuildId", "s0b0"}}));
}

TEST_F(DeviceInfoPlugin, ALineOfTheBootLoaderEndsAt127CharactersAndIsNeverTwo)
{
    const std::string sValue(119, 'l');
    write("bootloader.conf", "KEY=\"a b\"\r\nTWO=\"1=2\" # \"3\"\n\nno setting\nOPEN=\"x\nLONG=\"" + sValue +
                                 " root=nfs\"\nLAST=\"\"");
    EXPECT_EQ(rowOf("BootLoaderInfo"), row({{"Id", 1},
                                            {"KEY", "a b"},
                                            {"TWO", "1=2"},
                                            {"OPEN", "x"},
                                            {"LONG", (sValue + " r").c_str()},
                                            {"LAST", ""}}));
}

TEST_F(DeviceInfoPlugin, AFactoryValueIsWhatStandsBetweenTheQuotesOfItsOwnLine)
{
    const char* const pText =
        "KEY = is \"a = b\" and more \"x\"\nBARE=value\nNEXT=\"1\"\nno value\n\nOPEN=\"x\n"
        "ODD=\"\xff\x01\"\nNEXT=\"2\"\n";
    const std::string sLong(5000, 'x');
    write("etl.conf",
          std::string(pText) + "NUL=\"a" + std::string(1, '\0') + sLong + "B=\"c\"\nLONG=\"" + sLong);
    EXPECT_EQ(rowOf("etl"), row({{"Id", 1},
                                 {"KEY ", "a = b"},
                                 {"BARE", ""},
                                 {"NEXT", "1"},
                                 {"OPEN", "x"},
                                 {"ODD", "\xff\x01"},
                                 {"NEXT", "2"},
                                 {"NUL", "a"},
                                 {"LONG", sLong.c_str()}}));
}

TEST_F(DeviceInfoPlugin, AFaultyLineIsLoggedWithItsNumberAndWithoutItsValue)
{
    write("etl.conf",
          "=\"a\"\n\n # a comment\nId=\"2\"\nA=\"b\"\nsecret\nKEY=secret\nOPEN=\"secret\nA=\"c\"\n");
    ValueList lRow;
    const std::string sLog = logOf([&] { lRow = rowOf("etl"); });
    EXPECT_EQ(lRow, row({{"Id", 1}, {"A", "b"}, {"KEY", ""}, {"OPEN", "secret"}, {"A", "c"}}));
    std::string sLines;
    for (const char* pFault :
         {"1: is left out: it has no name", "4: is left out: it has no name",
          "6: is left out: it is not of the form", "7: the value is not in two double quotes",
          "8: the value is not in two double quotes", "9: the name stands in a line before"}) {
        sLines += std::string("error DeviceInfo [^\n]*/etc/etl.conf: line ") + pFault + "[^\n]*\n";
    }
    EXPECT_THAT(sLog, testing::MatchesRegex(sLines));
    EXPECT_THAT(sLog, testing::Not(testing::HasSubstr("secret")));
}

TEST_F(DeviceInfoPlugin, KeepsABoundedPartOfWhatItReads)
{
    std::string sSettings;
    for (int i = 0; i < 1025; ++i) {
        sSettings += "A" + std::to_string(i) + "=\"b\"\n";
    }
    const std::string sBytes = "A=\"b\"\nB=\"" + std::string(zel::c_iMostSettingsBytes, 'x');
    m_oDispatcher.m_lRows.assign(1025, row({{"EtlValue", "C"}}));
    for (const auto& [sText, iSize] : {std::pair(sSettings, 1025U), std::pair(sBytes, 2U)}) {
        write("etl.conf", sText);
        zel::DeviceInfoPlugin oPlugin(m_oDispatcher);
        EXPECT_THAT(
            logOf([&] { oPlugin.initialize(); }),
            testing::MatchesRegex("error EtlMappings EtlMapping has more than 1024 rows; .*\n"
                                  "error DeviceInfo .*/etc/etl.conf has more than 1024 settings .*\n"));
        ValueList lRow;
        EXPECT_EQ(oPlugin.selectRow(lRow, this, "etl", 0, {}), EResultCode::Success);
        EXPECT_EQ(lRow.size(), iSize);
    }
}

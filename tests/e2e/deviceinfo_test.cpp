// Factory values and boot loader settings, from the files of the device to its tables.
#include "tests/e2e/daemontest.h"

#include <crypt.h>
#include <filesystem>

namespace e2e {
namespace {

namespace fs = std::filesystem;
using testing::MatchesRegex;

/// A hash of the text that begins with the prefix.
MATCHER_P2(IsHash, a_sPrefix, a_sText, "")
{
    crypt_data oData{};
    const char* pHash = ::crypt_r(std::string(a_sText).c_str(), arg.c_str(), &oData);
    return arg.starts_with(a_sPrefix) && pHash != nullptr && arg == pHash;
}

class DeviceInfo : public DaemonTest
{
protected:
    void writeValues(const std::string& a_sText) const
    {
        writeFile(m_oSandbox.path("etc/etl.conf"), a_sText);
    }
    std::string shown(const std::string& a_sName) { return client().cell("etl", 1, a_sName); }
    std::string target(int a_iId) { return client().cell("Target", a_iId, "Text"); }
};

TEST_F(DeviceInfo, FactoryValuesFillWhatIsEmptyAndNothingElse)
{
    m_oSandbox.sql("persistent-common.db", R"(
        CREATE TABLE Target (Id INTEGER PRIMARY KEY, Text TEXT, Number INTEGER CHECK (Number < 10));
        INSERT INTO Target VALUES (0, '', NULL), (1, '', 0), (2, '', NULL), (3, '', NULL), (4, '', NULL),
            (5, NULL, NULL), (6, NULL, NULL), (7, 'mine', NULL), (9, NULL, NULL);
        DELETE FROM EtlMapping;
        INSERT INTO EtlMapping VALUES
            (1, 'MD5', 'Target', 'Text', 'Id', '1', 'MCF_MD5', 'MCF_SHA256'),
            (2, 'SHA256', 'Target', 'Text', 'Id', '2', 'MCF_SHA256', 'HIDDEN'),
            (3, 'SHA512', 'Target', 'Text', 'Id', '3', 'MCF_SHA512', 'MCF_MD5'),
            (4, 'OTHER', 'Target', 'Text', 'Id', '4', 'another', ''),
            (5, 'HIDDEN', 'Target', 'Text', 'Id', '5', 'HIDDEN', 'NONE'),
            (6, 'PLAIN', 'Target', 'Text', 'Id', '6', '', 'HIDDEN'),
            (7, 'KEPT', 'Target', 'Text', 'Id', '7', 'NONE', 'HIDDEN'),
            (8, 'NUMBER', 'Target', 'Number', 'Id', '1', '', ''),
            (9, 'REFUSED', 'Target', 'Number', 'Id', '2', '', ''),
            (10, 'NOROW', 'Target', 'Text', 'Id', '8', '', ''),
            (11, 'NOTABLE', 'Nowhere', 'Text', 'Name', 'x', '', ''),
            (12, 'NOCOLUMN', 'Target', 'Nothing', 'Id', '1', '', ''),
            (13, 'ITSELF', 'etl', 'PLAIN', 'Id', '1', '', ''),
            (14, 'EMPTY', 'Target', 'Text', 'Id', '9', 'MCF_SHA512', ''))");
    std::string sValues;
    for (const char* pName : {"MD5", "SHA256", "SHA512", "OTHER", "HIDDEN", "PLAIN", "KEPT", "NOROW",
                              "NOTABLE", "NOCOLUMN", "ITSELF", "UNMAPPED"}) {
        sValues += std::string(pName) + "=\"seven=gulls " + pName + "\"\n";
    }
    writeValues(sValues + "NUMBER=\"7\"\nREFUSED=\"4711\"\nEMPTY=\"\"\n");
    start({"-v"});

    EXPECT_THAT(target(1), IsHash("$1$", "seven=gulls MD5"));
    EXPECT_THAT(target(2), IsHash("$5$", "seven=gulls SHA256"));
    EXPECT_THAT(target(3), IsHash("$6$", "seven=gulls SHA512"));
    EXPECT_THAT(target(4), IsHash("$y$", "seven=gulls OTHER"));
    EXPECT_EQ("", target(5));
    EXPECT_EQ("seven=gulls PLAIN", target(6));
    EXPECT_EQ("mine", target(7));
    EXPECT_EQ("", target(9)) << "anybody could log in";
    EXPECT_EQ("0", client().cell("Target", 1, "Number"));
    EXPECT_EQ("", client().cell("Target", 2, "Number"));

    EXPECT_THAT(shown("MD5"), IsHash("$5$", "seven=gulls MD5"));
    EXPECT_EQ("", shown("SHA256"));
    EXPECT_THAT(shown("SHA512"), IsHash("$1$", "seven=gulls SHA512"));
    EXPECT_EQ("seven=gulls OTHER", shown("OTHER"));
    EXPECT_EQ("seven=gulls HIDDEN", shown("HIDDEN"));
    EXPECT_EQ("", shown("PLAIN"));
    EXPECT_EQ("seven=gulls UNMAPPED", shown("UNMAPPED"));

    const std::string sLog = daemon().errors();
    EXPECT_THAT(sLog, HasSubstr(": Could not find target: Target, Id, 8\n"));
    EXPECT_THAT(sLog, HasSubstr(": Could not find target: Nowhere, Name, x\n"));
    EXPECT_THAT(sLog, HasSubstr(": The target Target has no column Nothing\n"));
    EXPECT_THAT(sLog, HasSubstr(": The value EMPTY is empty and is not written\n"));
    EXPECT_THAT(sLog, HasSubstr(": Could not set Number of Target, Id, 2: "));
    EXPECT_THAT(sLog, Not(testing::AnyOf(HasSubstr("gulls"), HasSubstr("4711"), HasSubstr("$y$"),
                                         HasSubstr(target(3)))));

    const std::string sFilled = exported();
    m_oSandbox.setProgram("srv-save-config-active", "exit 0"); // or the next daemon would try this save again
    stop();
    const std::string sDumps = m_oSandbox.path("flash/sql");
    EXPECT_GT(fs::remove_all(sDumps), 1U);
    fs::create_directory(sDumps);
    start();
    EXPECT_EQ(sFilled, exported());
    stop();
    EXPECT_TRUE(fs::is_empty(sDumps)) << "there was something to save";
}

TEST_F(DeviceInfo, TheSampleValuesFitTheFactoryDataAndWithoutMappingsAreShownAsTheyAre)
{
    writeValues(readFile(LEDGERD_PACKAGING "/etl.conf"));
    start();
    EXPECT_EQ("GW2-0004711", client().cell("SystemSettings", 1, "SerialNumber"));
    EXPECT_EQ("violet harbour 58", client().cell("WlanNetwork", 1, "Passphrase"));
    EXPECT_THAT(client().cell("UserAccount", 1, "PasswordHash"), IsHash("$6$", "seven=gulls"));
    EXPECT_EQ("GW2-0004711", client().cell("TR069ACS", 1, "Username"));
    EXPECT_EQ("tide & table", client().cell("TR069ACS", 1, "Password"));
    EXPECT_THAT(daemon().errors(), Not(HasSubstr("Etl")));
    stop();

    m_oSandbox.sql("persistent-common.db",
                   "DROP TABLE EtlMapping; UPDATE SystemSettings SET SerialNumber = ''");
    start();
    EXPECT_EQ("GW2-0004711", shown("SERIAL_NUMBER"));
    EXPECT_EQ("tide & table", shown("ACS_PASSWORD"));
    EXPECT_EQ("", client().cell("SystemSettings", 1, "SerialNumber"));
    EXPECT_EQ("gw2 rev. B3", client().cell("BootLoaderInfo", 1, "BOARD"));
}

TEST_F(DeviceInfo, AFileThatCannotBeReadOrTrustedEndsTheStartAndLeavesNothing)
{
    const std::string sBootLoader = m_oSandbox.path("etc/bootloader.conf");
    const std::string sValues = m_oSandbox.path("etc/etl.conf");
    const auto expectEnd = [this](const std::string& a_sLog) {
        const auto oRun = runDaemon(paths());
        EXPECT_EQ(1, oRun.m_iStatus);
        EXPECT_THAT(oRun.m_sErrors,
                    MatchesRegex("[^\n]*\n" + a_sLog)); // the first tells that there is no bus
        for (const auto& sLeft : {socket(), m_oSandbox.pidFile(), m_oSandbox.path("tmp/ledgerd.fifo")}) {
            EXPECT_FALSE(fs::exists(sLeft)) << sLeft;
        }
    };
    writeFile(sBootLoader, "no setting\nBOARD=gulls\n");
    expectEnd("[^\n]* DeviceInfo [^\n]*: line 1: is left out: it is not of the form NAME=\"VALUE\"\n"
              "[^\n]* Assertion failed: /etc/bootloader.conf: [^\n]*\n"
              "[^\n]* ledgerd main:577: " +
              sBootLoader + ": line 2: the value is not in double quotes, as in BOARD=\"VALUE\"\n");
    fs::remove(sBootLoader);
    expectEnd(
        "[^\n]* ledgerd main:577: true == oFile.is_open\\(\\) \\(bootloaderinfo:[0-9]+\\): " + sBootLoader +
        ": No such file or directory: the daemon does not start without this file[^\n]*\n");
    fs::remove(sValues);
    expectEnd("[^\n]* ledgerd main:577: true == oEtlFile.is_open\\(\\) \\(etlwrapper:[0-9]+\\): " + sValues +
              ": No such file or directory: the daemon does not start without this file[^\n]*\n");
}

} // namespace
} // namespace e2e

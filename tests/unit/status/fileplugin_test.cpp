#include "status/fileplugin.h"

#include "tests/logof.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/fileparser.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>

using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using tests::row;

namespace {

class FilePlugin : public testing::Test
{
protected:
    /// Serves the file, with the text in it.
    void serve(const std::string& a_sText, const std::string& a_sColumns = "")
    {
        writeFile(m_sPath, a_sText);
        m_oFiles.addFile(m_sPath, zel::FilePlugin::createFile(m_sPath, a_sColumns));
        m_oFiles.init();
    }
    NameList updateAfter(const std::string& a_sText)
    {
        writeFile(m_sPath, a_sText);
        return m_oRead.update();
    }
    std::string schema()
    {
        systema::ColumnList lColumns;
        EXPECT_EQ(m_oFiles.getSchema(lColumns, m_sPath), EResultCode::Success);
        std::string sNames;
        for (const auto& [sName, eType] : lColumns) {
            sNames += sName + (eType == EDataType::Text ? " " : "# ");
        }
        return sNames;
    }

    const TempDir m_oDir;
    const std::string m_sPath = m_oDir.file("table");
    const NameList m_lTable{m_sPath};
    zel::FilePlugin m_oFiles;
    TableReader m_oRead{m_oFiles, m_sPath};
};

} // namespace

TEST_F(FilePlugin, TheFirstLineNamesTheColumnsOfTheOthers)
{
    serve(" Name  Value\nlan 1 more\n\n wan\r\nlan 2");
    EXPECT_EQ(schema(), "Id# Name Value ");
    EXPECT_EQ(m_oRead.all({}), "1,lan,1 2,, 3,wan\r, 4,lan,2 ");
    EXPECT_EQ(m_oRead.find("Name", "lan"), "1");
    EXPECT_EQ(m_oRead.find("Value", "2"), "4");
    EXPECT_EQ(m_oRead.find("Id", "4"), "4");
    for (const char* pId : {"0", "5", "-1", "", "x", "4294967300"}) {
        EXPECT_EQ(m_oRead.find("Id", pId), "code 10") << pId;
    }
}

TEST_F(FilePlugin, FixedColumnsMakeEveryLineARow)
{
    serve("lan 1\nwan 2\n", "Name,Value");
    EXPECT_EQ(schema(), "Id# Name Value ");
    EXPECT_EQ(m_oRead.find("Value", "1"), "1");
}

TEST_F(FilePlugin, ANameThatIsThereTwiceMeansTheFirst)
{
    serve("Id A A\nx y z\n");
    EXPECT_EQ(m_oRead.row(0), row({{"Id", 1}, {"Id", "x"}, {"A", "y"}, {"A", "z"}}));
    EXPECT_EQ(m_oRead.find("A", "y", {"A", "Id"}), "y,1");
    EXPECT_EQ(m_oRead.find("A", "z"), "code 10");
    EXPECT_EQ(m_oRead.find("Id", "x"), "code 10");
}

TEST_F(FilePlugin, IsAnnouncedWhenItsContentDiffers)
{
    serve("Name\na\nb\nc\n");
    EXPECT_EQ(m_oRead.update(), NameList());
    EXPECT_EQ(logOf([&] { EXPECT_EQ(updateAfter("Name\na\nb\n"), m_lTable); }),
              "info FilePlug " + m_sPath + " has changed\n");
    EXPECT_EQ(updateAfter("Name\na\nB\n"), m_lTable);
    EXPECT_EQ(m_oRead.find("Name", "B"), "2");
    EXPECT_EQ(updateAfter("Device\na\nB\n"), m_lTable) << "the same texts in another column";
    EXPECT_EQ(updateAfter("Device Unused\na\nB\n"), m_lTable);

    std::filesystem::remove(m_sPath);
    EXPECT_EQ(m_oRead.update(), m_lTable);
    EXPECT_EQ(schema(), "Id# Device Unused ");
    EXPECT_EQ(updateAfter("Name\n"), NameList());
    EXPECT_EQ(schema(), "Id# Name ");
    EXPECT_EQ(updateAfter("Name\na\n"), m_lTable);
    EXPECT_EQ(updateAfter(""), m_lTable);
    EXPECT_EQ(schema(), "Id# ");
}

TEST_F(FilePlugin, WhatIsNotInTheTableIsLoggedOnce)
{
    const std::string sLine = "warning FilePlug " + m_sPath + ": ";
    const std::string sTwice = "cannot be asked for, there is another of that name\n";
    EXPECT_EQ(logOf([&] { serve("A B\n1 2 3\n1 2 3 4\n"); }),
              sLine +
                  "lines such as that with Id 1 have more words than there are columns; they are left out\n");
    EXPECT_EQ(logOf([&] { updateAfter("A B\n1 2 3\n"); }), "info FilePlug " + m_sPath + " has changed\n");
    EXPECT_EQ(logOf([&] { updateAfter("A B\n1 2\n"); }), "");
    EXPECT_THAT(logOf([&] { updateAfter("A A\n"); }), testing::StartsWith(sLine + "the column A " + sTwice));
    EXPECT_EQ(logOf([&] { updateAfter("Id\n"); }), sLine + "the column Id " + sTwice);
    std::filesystem::remove(m_sPath);
    EXPECT_EQ(logOf([&] { m_oRead.update(); }), sLine + "No such file or directory: the table is empty\n");
    std::filesystem::create_directory(m_sPath);
    EXPECT_EQ(logOf([&] { m_oRead.update(); }), sLine + "not a regular file: the table is empty\n");
    EXPECT_THAT(
        logOf([&] {
            for (const char* pPath : {m_sPath.c_str(), "etc/leds"}) {
                m_oFiles.addFile(pPath, zel::FilePlugin::createFile(pPath, ""));
            }
        }),
        testing::MatchesRegex("warning FilePlug " + m_sPath +
                              " is given twice\nwarning FilePlug etc/leds is no absolute path: .*\n"));
}

TEST_F(FilePlugin, ServesTheBeginOfAFileThatIsTooLong)
{
    const std::string sMost = "Name\n" + std::string(zel::FileParser::c_iMostLines - 1, '\n');
    serve(sMost);
    EXPECT_EQ(logOf([&] { EXPECT_EQ(updateAfter(sMost + "x\n"), NameList()); }),
              "error FilePlug " + m_sPath + " is too long, only its first 131071 lines are served\n");
    EXPECT_EQ(m_oRead.count(), "131071");
    EXPECT_EQ(logOf([&] { updateAfter(sMost + "x\ny\n"); }), "");
}

TEST_F(FilePlugin, HoldsNoTextsThatAreMissing)
{
    writeFile(m_sPath, "A B C D\n1\n1 2 3 4 5\n");
    auto oFile = zel::FilePlugin::createFile(m_sPath, "");
    EXPECT_TRUE(oFile.read());
    EXPECT_EQ(oFile.getLine(0)->m_lTexts.size(), 1U);
    EXPECT_EQ(oFile.getLine(1)->m_lTexts.size(), 4U);
    EXPECT_EQ(oFile.getLine("D", ""), oFile.getLine(0));
    EXPECT_TRUE(oFile.read()) << "a change is one until it is settled";
}

TEST_F(FilePlugin, AFileOnADeadMountKeepsItsRowsAndNobodyWaiting)
{
    const std::string sShare = m_oDir.file("share");
    const std::string sPath = sShare + "/table";
    std::filesystem::create_directory(sShare);
    writeFile(sPath, "Name\nlan\n");
    m_oFiles.addFile(sPath, zel::FilePlugin::createFile(sPath, ""));
    m_oFiles.init();
    TableReader oRead(m_oFiles, sPath);
    EXPECT_EQ(oRead.count(), "1");

    // A file system whose server never answers.
    zel::UniqueFd oServer(::open("/dev/fuse", O_RDWR | O_CLOEXEC));
    const std::string sOptions =
        "fd=" + std::to_string(oServer.get()) + ",rootmode=40000,user_id=0,group_id=0";
    if (!oServer || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("dead", sShare.c_str(), "fuse", MS_NODEV | MS_NOSUID, sOptions.c_str()) != 0) {
        GTEST_SKIP() << "may not mount a file system";
    }
    const auto oStart = std::chrono::steady_clock::now();
    EXPECT_EQ(logOf([&] { EXPECT_EQ(oRead.update(), NameList()); }),
              "error FilePlug " + sPath + " does not answer, what was read last is served\n");
    EXPECT_EQ(logOf([&] { oRead.update(); }), "");
    EXPECT_LT(std::chrono::steady_clock::now() - oStart, std::chrono::seconds(5));
    EXPECT_EQ(oRead.all({"Name"}), "lan ");

    ::umount2(sShare.c_str(), MNT_DETACH);
    oServer.reset(); // whoever waits for it fails
    writeFile(sPath, "Name\nwan\n");
    for (int i = 0; i < 1000 && oRead.update() != NameList{sPath}; ++i) {
        ::poll(nullptr, 0, 10); // until the thread that waited has ended
    }
    EXPECT_EQ(oRead.all({"Name"}), "wan ");
}

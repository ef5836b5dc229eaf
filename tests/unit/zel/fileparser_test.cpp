#include "zel/fileparser.h"

#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using zel::FileParser;
using zel::splitLine;

namespace {

std::string repeat(std::size_t a_iTimes, std::string_view a_sText)
{
    std::string sAll;
    for (std::size_t i = 0; i < a_iTimes; ++i) {
        sAll += a_sText;
    }
    return sAll;
}

} // namespace

TEST(FileParser, splitsAtTheSeparatorAndSkipsSpaces)
{
    EXPECT_THAT(splitLine("  user   \"a b\"  ", ' '), ElementsAre("user", "\"a", "b\""));
    EXPECT_THAT(splitLine("a\tb c\r", ' '), ElementsAre("a\tb", "c\r"));
    EXPECT_THAT(splitLine("", ' '), IsEmpty());
    EXPECT_THAT(splitLine("   ", ' '), IsEmpty());
    EXPECT_THAT(splitLine(" ftp:x::  FTP user :", ':'), ElementsAre("ftp", "x", "", "FTP user "));
    EXPECT_THAT(splitLine(":: ", ':'), ElementsAre("", ""));
}

TEST(FileParser, readsTheLinesOfAFile)
{
    const TempDir oDir;
    writeFile(oDir.file("peer"), "noauth\nuser first\n\nuser second");
    FileParser oParser;
    ASSERT_TRUE(oParser.parse(FileParser::EMode::File, oDir.file("peer"), "", ' '));
    EXPECT_THAT(oParser.getLines(), ElementsAre(ElementsAre("noauth"), ElementsAre("user", "first"),
                                                IsEmpty(), ElementsAre("user", "second")));
    const auto* pUser = oParser.find(0, "user");
    ASSERT_TRUE(pUser);
    EXPECT_EQ(FileParser::getToken(*pUser, 1), "first");
    EXPECT_EQ(FileParser::getToken(*pUser, 2), "");
    EXPECT_EQ(oParser.find(1, "first"), pUser);
    EXPECT_EQ(oParser.find(2, ""), nullptr);

    ASSERT_TRUE(oParser.parse(FileParser::EMode::File, oDir.file("peer"), "r s", ' '));
    EXPECT_THAT(oParser.getLines(), ElementsAre(ElementsAre("user", "second")));
    EXPECT_FALSE(oParser.parse(FileParser::EMode::File, oDir.file("none"), "", ' '));
    EXPECT_THAT(oParser.getLines(), IsEmpty());
}

TEST(FileParser, readsWhatACommandWrites)
{
    FileParser oParser;
    EXPECT_TRUE(oParser.parse(FileParser::EMode::Command, "echo a b; printf 'c d'", "", ' '));
    EXPECT_THAT(oParser.getLines(), ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "d")));
    EXPECT_FALSE(oParser.parse(FileParser::EMode::Command, "echo a; exit 1", "", ' '));
}

TEST(FileParser, keepsOnlySoManyLinesAndBytes)
{
    const TempDir oDir;
    FileParser oParser;
    const auto parse = [&](const std::string& a_sText) {
        writeFile(oDir.file("text"), a_sText);
        return oParser.parse(FileParser::EMode::File, oDir.file("text"), "", ' ');
    };
    const std::string sMost = repeat(FileParser::c_iMostLines, "\n");
    EXPECT_TRUE(parse(sMost));
    EXPECT_THAT(oParser.getLines(), SizeIs(FileParser::c_iMostLines));
    EXPECT_FALSE(oParser.isCut());
    EXPECT_TRUE(parse(sMost + "x"));
    EXPECT_THAT(oParser.getLines(), SizeIs(FileParser::c_iMostLines));
    EXPECT_TRUE(oParser.isCut());

    // A line of which only a part is within the first bytes is left out whole.
    const std::string sLine = std::string(242, 'x') + "\n";
    const auto iLines = FileParser::c_iMostBytes / sLine.size();
    for (const std::size_t iBeyond : {std::size_t(1), iLines}) {
        EXPECT_TRUE(parse(repeat(iLines + iBeyond, sLine)));
        EXPECT_TRUE(oParser.isCut());
        EXPECT_THAT(oParser.getLines(), SizeIs(iLines));
        EXPECT_THAT(oParser.getLines().back(), ElementsAre(SizeIs(242)));
    }
    EXPECT_TRUE(oParser.parse(FileParser::EMode::Command, "cat " + oDir.file("text"), "", ' '));
    EXPECT_THAT(oParser.getLines(), SizeIs(iLines));
    EXPECT_TRUE(parse(""));
    EXPECT_FALSE(oParser.isCut());
}

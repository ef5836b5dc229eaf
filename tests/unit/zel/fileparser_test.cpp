#include "zel/fileparser.h"

#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::ElementsAre;
using testing::IsEmpty;
using zel::FileParser;

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

TEST(FileParser, keepsOnlySoManyLinesTokensAndBytes)
{
    const TempDir oDir;
    FileParser oParser;
    const auto parse = [&](FileParser& a_oParser, std::string_view a_sText) {
        writeFile(oDir.file("text"), a_sText);
        EXPECT_TRUE(a_oParser.parse(FileParser::EMode::File, oDir.file("text"), "", ' '));
        return a_oParser.getLines().size();
    };
    const std::string sLines = repeat(FileParser::c_iMostLines, "\n");
    const std::string sTokens = repeat(FileParser::c_iMostTokens / 128, repeat(128, "a ") + "\n");
    const std::string sBytes = repeat(FileParser::c_iMostBytes / 256, std::string(255, 'x') + "\n");
    for (const std::string& sMost : {sLines, sTokens, sBytes}) {
        const std::size_t iMost = parse(oParser, sMost);
        EXPECT_FALSE(oParser.isCut());
        EXPECT_EQ(iMost, std::ranges::count(sMost, '\n'));
        EXPECT_EQ(parse(oParser, sMost + "x"), iMost);
        EXPECT_TRUE(oParser.isCut());
    }

    // A line of which only a part is within the first bytes is left out whole.
    using namespace std::string_view_literals;
    FileParser oSmall(9);
    EXPECT_EQ(parse(oSmall, "one\n\0two\n"sv), 2U);
    EXPECT_FALSE(oSmall.isCut());
    EXPECT_EQ(oSmall.getByteCount(), 9U);
    EXPECT_EQ(parse(oSmall, "one\n\0\0two\n"sv), 1U);
    EXPECT_TRUE(oSmall.isCut());
    EXPECT_TRUE(oSmall.parse(FileParser::EMode::Command, "echo one; echo; echo three", "one", ' '));
    EXPECT_THAT(oSmall.getLines(), ElementsAre(ElementsAre("one")));
    EXPECT_TRUE(oSmall.isCut());
}

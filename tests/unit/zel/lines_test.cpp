#include "zel/lines.h"

#include "tests/unit/zel/tempdir.h"
#include "zel/assert.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <vector>

using testing::ElementsAre;

TEST(Lines, aBufferWithoutRoomIsNone)
{
    EXPECT_THROW(zel::LineCutter(1, [](std::string_view) {}), zel::error::AssertionError) << "no progress";
}

TEST(Lines, onlyARegularFileIsRead)
{
    const TempDir oDir;
    std::vector<std::string> lLines;
    const auto read = [&](const std::string& a_sPath, std::size_t a_iMostBytes) {
        lLines.clear();
        return zel::readLines(a_sPath, 8, a_iMostBytes,
                              [&](std::string_view a_sLine) { lLines.emplace_back(a_sLine); });
    };
    ASSERT_EQ(::mkfifo(oDir.file("fifo").c_str(), 0600), 0);
    const zel::UniqueFd oWatch(::inotify_init1(IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(oWatch.get(), oDir.file("fifo").c_str(), IN_OPEN), 0);
    for (const auto& sPath : {oDir.file("none"), oDir.path(), oDir.file("fifo"), std::string("/dev/zero")}) {
        EXPECT_FALSE(read(sPath, 100)) << sPath;
    }
    inotify_event oEvent;
    EXPECT_EQ(::read(oWatch.get(), &oEvent, sizeof oEvent), -1) << "some devices act when they are opened";
    writeFile(oDir.file("text"), "a\nb\ncd");
    EXPECT_TRUE(read(oDir.file("text"), 100));
    EXPECT_THAT(lLines, ElementsAre("a", "b", "cd"));
    EXPECT_TRUE(read(oDir.file("text"), 5));
    EXPECT_THAT(lLines, ElementsAre("a", "b", "c"));

    std::filesystem::create_symlink("text", oDir.file("link"));
    EXPECT_TRUE(read(oDir.file("link"), 100));
    EXPECT_FALSE(zel::readText(oDir.file("link"), 100, zel::ELinks::Refused, [](std::string_view) {}));
}

TEST(Lines, aFileOrItsFirstLineIsGivenWhole)
{
    using namespace std::string_view_literals;
    const TempDir oDir;
    const auto firstLine = [&](std::string_view a_sText) {
        writeFile(oDir.file("text"), a_sText);
        return zel::readFirstLine(oDir.file("text"), 8);
    };
    for (const auto sText : {"first\nx"sv, "first"sv, "first\0x\n"sv}) {
        EXPECT_EQ(firstLine(sText), "first");
    }
    EXPECT_EQ(firstLine("\nx"), "");
    EXPECT_EQ(firstLine("123456789"), "12345678");
    EXPECT_EQ(zel::readFile(oDir.file("text"), 9), "123456789");
    EXPECT_EQ(zel::readFirstLine(oDir.file("none"), 8), std::nullopt);
}

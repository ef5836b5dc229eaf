#include "cli/format.h"
#include "cli/printer.h"
#include "cli/progressbar.h"
#include "cli/rowdiff.h"

#include <gtest/gtest.h>

#include <sstream>

namespace systema::cli {

namespace {

Value integer(int a_iValue)
{
    return Value(EDataType::Integer, a_iValue);
}

Value text(const char* a_pText)
{
    return Value(EDataType::Text, std::string(a_pText));
}

const Value c_oNull(EDataType::Null);

client::Rows people()
{
    client::Rows oRows(NameList{"Id", "Name", "Age"});
    oRows.add({integer(1), text("J\xc3\xbcrgen"), Value(EDataType::Unsigned, -1)});
    oRows.add({integer(20), text(""), c_oNull});
    oRows.add({integer(-3), text("a\"b,\n\xff"), integer(7)});
    return oRows;
}

template<typename Write>
std::string written(Write a_oWrite)
{
    std::ostringstream oStream;
    a_oWrite(oStream);
    return oStream.str();
}

template<typename Print>
std::string printed(EFormat a_eFormat, Print a_oPrint)
{
    std::ostringstream oStream;
    Printer oPrinter(oStream, a_eFormat);
    a_oPrint(oPrinter);
    return oStream.str();
}

} // namespace

TEST(Format, TableIsAlignedByWhatIsSeen)
{
    EXPECT_EQ(written([](auto& a_oStream) { writeTable(a_oStream, people()); }),
              "Id  Name                 Age\n"
              " 1  J\xc3\xbcrgen        4294967295\n"
              "20                      NULL\n"
              "-3  a\"b,\\x0a\\xff           7\n");
    EXPECT_EQ(written([](auto& a_oStream) {
                  writeTable(a_oStream, client::Rows(NameList{"Id", "Name"}));
              }),
              "Id  Name\n");
}

TEST(Format, CsvFollowsTheRulesAndTellsNullFromEmpty)
{
    EXPECT_EQ(written([](auto& a_oStream) { writeCsv(a_oStream, people(), EReader::Program); }),
              "Id,Name,Age\n"
              "1,J\xc3\xbcrgen,4294967295\n"
              "20,\"\",\n"
              "-3,\"a\"\"b,\n\xff\",7\n");
}

TEST(Format, NoFormObeysTheDataOnATerminal)
{
    client::Rows oRows(NameList{"Ssid"});
    oRows.add({text("a\x1b[2J\nb")});
    const auto oCsv = [&](EReader a_eReader) {
        return written([&](auto& a_oStream) { writeCsv(a_oStream, oRows, a_eReader); });
    };
    const auto oValues = [&](EReader a_eReader) {
        return written([&](auto& a_oStream) { writeValues(a_oStream, oRows, a_eReader); });
    };
    EXPECT_EQ(oCsv(EReader::Terminal), "Ssid\na\\x1b[2J\\x0ab\n");
    EXPECT_EQ(oCsv(EReader::Program), "Ssid\n\"a\x1b[2J\nb\"\n");
    EXPECT_EQ(oValues(EReader::Terminal), "a\\x1b[2J\\x0ab\n");
    EXPECT_EQ(oValues(EReader::Program), "a\x1b[2J\nb\n");
}

TEST(Format, ValuesCannotBeTakenForOneAnother)
{
    std::ostringstream oStream;
    EXPECT_EQ(writeValues(oStream, people(), EReader::Program), "Name in row 2");
    EXPECT_EQ(oStream.str(), "") << "a part of it would look like the whole";
    EXPECT_EQ(writeValues(oStream, people(), EReader::Terminal), std::nullopt);
    EXPECT_EQ(oStream.str(), "1\nJ\xc3\xbcrgen\n4294967295\n20\n\n\n-3\na\"b,\\x0a\\xff\n7\n");
}

TEST(RowDiff, ComparesWholeRowsWithoutId)
{
    client::Rows oBefore(NameList{"Name"});
    oBefore.add({text("same")});
    oBefore.add({text("same")});
    client::Rows oAfter(NameList{"Name"});
    oAfter.add({text("same")});
    oAfter.add({text("new")});
    const RowDiff oDiff = diffRows(oBefore, oAfter);
    EXPECT_EQ(oDiff.m_lRemoved.size(), 1u);
    EXPECT_EQ(oDiff.m_lAdded.size(), 1u);
    EXPECT_TRUE(oDiff.m_lChanged.empty());

    client::Rows oOther(NameList{"Nom"});
    oOther.add({text("same")});
    EXPECT_EQ(diffRows(oAfter, oOther).m_lAdded.size(), 1u) << "other columns are another table";
    EXPECT_EQ(diffRows(oAfter, oOther).m_lRemoved.size(), 2u);
}

TEST(Format, ATextNullLooksLikeNoValue)
{
    client::Rows oRows(NameList{"Id", "Name"});
    oRows.add({integer(1), text("NULL")});
    oRows.add({integer(2), c_oNull});
    EXPECT_EQ(printed(EFormat::Table, [&](Printer& a_oPrinter) { a_oPrinter.printRows(oRows); }),
              "Id  Name\n 1  \"NULL\"\n 2  NULL\n");
}

TEST(RowDiff, ARouteThatComesDoesNotLookAsIfTheOthersHadChanged)
{
    const auto routes = [](const std::vector<const char*>& a_lDestinations) {
        client::Rows oRoutes(NameList{"Id", "Destination"});
        for (const char* pDestination : a_lDestinations) {
            oRoutes.add({integer(static_cast<int>(oRoutes.size()) + 1), text(pDestination)});
        }
        return oRoutes;
    };
    const auto oBefore = routes({"default", "lan", "guest"});
    const auto oAfter = routes({"default", "vpn", "lan", "guest"});
    const RowDiff oCame = diffRows(oBefore, oAfter, {true});
    ASSERT_EQ(oCame.m_lAdded.size(), 1u);
    EXPECT_EQ(oCame.m_lAdded[0].m_lCells[1].m_sText, "vpn");
    EXPECT_TRUE(oCame.m_lChanged.empty() && oCame.m_lRemoved.empty());
    EXPECT_EQ(diffRows(oAfter, oBefore, {true}).m_lRemoved.size(), 1u);
    const auto oOther = routes({"default", "lan", "wan"});
    EXPECT_EQ(diffRows(oBefore, oOther, {true}).m_lChanged.size(), 1u) << "no row has moved";
}

TEST(RowDiff, TheClocksOfDevicesBuryWhatChanged)
{
    const auto devices = [](int a_iClock, int a_iUp) {
        client::Rows oRows(NameList{"Id", "Name", "IsUp", "OnlineTime"});
        oRows.add({integer(1), text("br0"), integer(a_iUp), integer(a_iClock)});
        oRows.add({integer(2), text("eth0"), integer(1), integer(a_iClock)});
        return oRows;
    };
    const auto oBefore = devices(5, 0);
    const auto oAfter = devices(9, 1);
    const RowDiff oDiff = diffRows(oBefore, oAfter, {true, {"isup"}});
    EXPECT_EQ(printed(EFormat::Table, [&](Printer& a_oPrinter) { a_oPrinter.printChange("T", &oDiff); }),
              "T\n  ~ Id=1 Name=\"br0\" IsUp=0->1\n");
    EXPECT_TRUE(diffRows(oBefore, devices(9, 0), {true, {"IsUp"}}).empty());
}

TEST(Printer, ShowsWhatChanged)
{
    client::Rows oBefore(NameList{"Id", "Name"});
    oBefore.add({integer(1), text("a")});
    oBefore.add({integer(2), text("b")});
    oBefore.add({integer(3), text("c")});
    client::Rows oAfter(NameList{"Id", "Name"});
    oAfter.add({integer(4), text("d\n")});
    oAfter.add({integer(3), text("c")});
    oAfter.add({integer(2), c_oNull});
    const RowDiff oDiff = diffRows(oBefore, oAfter);
    const auto oPrint = [&](Printer& a_oPrinter) {
        a_oPrinter.printChangeHead(true);
        a_oPrinter.printChange("T", &oDiff);
    };
    EXPECT_EQ(printed(EFormat::Table, oPrint), "T\n"
                                               "  - Id=1 Name=\"a\"\n"
                                               "  ~ Id=2 Name=\"b\"->NULL\n"
                                               "  + Id=4 Name=\"d\\x0a\"\n");
    EXPECT_EQ(
        printed(EFormat::Json, oPrint),
        "{\"table\":\"T\",\"added\":[{\"Id\":4,\"Name\":\"d\\n\"}],\"removed\":[{\"Id\":1,\"Name\":\"a\"}],"
        "\"changed\":[{\"before\":{\"Id\":2,\"Name\":\"b\"},\"after\":{\"Id\":2,\"Name\":null}}]}\n");
    EXPECT_EQ(printed(EFormat::Csv, oPrint), "table,change,Id,column,before,after\n"
                                             "T,removed,1,Id,1,\n"
                                             "T,removed,1,Name,a,\n"
                                             "T,changed,2,Name,b,\n"
                                             "T,added,4,Id,,4\n"
                                             "T,added,4,Name,,\"d\n\"\n");
}

} // namespace systema::cli

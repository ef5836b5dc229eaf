// Every operation on stored and virtual tables over the socket, with every result code it can give.
#include "tests/e2e/daemontest.h"

#include <algorithm>

namespace e2e {
namespace {

using systema::ColumnList;
using testing::ElementsAre;
using testing::HasSubstr;

const ValueList& apple()
{
    static const ValueList s_lRow = row({{"Id", 1},
                                         {"Name", "apple"},
                                         {"Number", -5},
                                         {"Size", Value(EDataType::Unsigned, static_cast<int>(4000000000U))},
                                         {"Note", "red"},
                                         {"Raw", null()}});
    return s_lRow;
}

class Operations : public RunningDaemonTest
{
protected:
    template<typename Request>
    auto get(const Request& a_oRequest)
    {
        auto oResult = client().call(a_oRequest);
        EXPECT_TRUE(oResult.ok()) << oResult.text();
        return std::move(*oResult);
    }

    /// The names of a table's rows with the given column, in order of position.
    std::vector<std::string> column(const std::string& a_sTable, const std::string& a_sColumn)
    {
        std::vector<std::string> lCells;
        const auto oRows = get(request::SelectRows{a_sTable, {a_sColumn}});
        for (std::size_t i = 0; i < oRows.size(); ++i) {
            lCells.push_back(oRows[i].m_lCells[0].toValue().toText());
        }
        return lCells;
    }

    /// What one request gives, and what it leaves in the log.
    template<typename Request>
    std::vector<std::string> codeAndLog(const Request& a_oRequest)
    {
        std::string sCode;
        auto lLog = logOf([&] { sCode = std::to_string(client().code(a_oRequest)); });
        lLog.insert(lLog.begin(), sCode);
        return lLog;
    }
};

TEST_F(Operations, SchemaAndSize)
{
    ColumnList lItem;
    lItem.add("Id", EDataType::Integer);
    lItem.add("Name", EDataType::Text);
    lItem.add("Number", EDataType::Integer);
    lItem.add("Size", EDataType::Unsigned);
    lItem.add("Note", EDataType::Text);
    lItem.add("Raw", EDataType::Null);
    EXPECT_EQ(lItem, get(request::GetSchema{"Item"}));

    EXPECT_EQ(3U, get(request::GetSize{"Item"})); // without the row with Id 0
    EXPECT_EQ(0U, get(request::GetSize{"OnlyZero"}));
    EXPECT_EQ(0U, get(request::GetSize{"Scratch"}));
    EXPECT_EQ(3U, get(request::GetSize{"Twins"}));
}

TEST_F(Operations, SelectByPosition)
{
    EXPECT_EQ(apple(), get(request::SelectRow{"Item", 0}));
    EXPECT_EQ(row({{"Note", null()}, {"Name", "pear"}, {"Note", null()}}),
              get(request::SelectRow{"Item", 1, {"Note", "Name", "Note"}}));
    EXPECT_EQ(row({{"Size", null()}, {"Note", ""}}), get(request::SelectRow{"Item", 2, {"Size", "Note"}}));

    EXPECT_THAT(codeAndLog(request::SelectRow{"Item", 3}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::SelectRow{"Item", 0xffffffff}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::SelectRow{"OnlyZero", 0}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::SelectRow{"Item", 0, {"Name", "Nonsense"}}),
                ElementsAre("8", "error SQLiteWrap Error 1 (no such column: Nonsense)",
                            HasSubstr("error SQLiteWrap selectSql failed with error: 8 (")));
}

TEST_F(Operations, PositionsAreTheSameWhicheverColumnsAreRead)
{
    // An index holds the names in another order, and with that of the row with Id 0 among them.
    EXPECT_EQ(row({{"Name", "apple"}}), get(request::SelectRow{"Item", 0, {"Name"}}));
    EXPECT_EQ(row({{"Name", "O'Neil"}, {"Id", 3}}), get(request::SelectRow{"Item", 2, {"Name", "Id"}}));
    EXPECT_THAT(column("Item", "Name"), ElementsAre("apple", "pear", "O'Neil"));
    EXPECT_THAT(column("ItemView", "Name"), ElementsAre("apple", "pear", "O'Neil"));
}

TEST_F(Operations, SelectByKey)
{
    EXPECT_EQ(apple(), get(request::SelectKey{"Item", "Name", "apple"}));
    EXPECT_EQ(row({{"Id", 2}}), get(request::SelectKey{"Item", "Number", "7", {"Id"}}));
    EXPECT_EQ(row({{"Note", "zero"}}), get(request::SelectKey{"Item", "Id", "0", {"Note"}}));

    EXPECT_THAT(codeAndLog(request::SelectKey{"Item", "Name", "default"}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::SelectKey{"Item", "Id", "00"}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::SelectKey{"Item", "Note", ""}), ElementsAre("0"));
    EXPECT_THAT(codeAndLog(request::SelectKey{"Item", "Nonsense", "1"}),
                ElementsAre("8", "error SQLiteWrap Error 1 (no such column: Nonsense)",
                            HasSubstr("selectSql failed with error: 8 (")));
    EXPECT_THAT(codeAndLog(request::SelectKey{"Item", "Name", "O'Neil"}),
                ElementsAre("8", HasSubstr("syntax error"), HasSubstr("selectSql failed with error: 8 (")));
}

TEST_F(Operations, Insert)
{
    EXPECT_EQ(4, get(request::InsertKey{"Item", row({{"Name", "plum"}, {"Note", "it's \"new\""}})}));
    EXPECT_EQ(0U, client().code(request::InsertRow{"Item", row({{"Id", 9}, {"Name", "fig"}})}));
    EXPECT_EQ(10, get(request::InsertKey{"Item", row({{"Name", "nut"}, {"Number", -2147483647 - 1}})}));
    EXPECT_EQ("it's \"new\"", client().cell("Item", 4, "Note"));
    EXPECT_EQ("-2147483648", client().cell("Item", 10, "Number"));
    EXPECT_EQ(6U, get(request::GetSize{"Item"}));

    EXPECT_THAT(codeAndLog(request::InsertRow{"Item", row({{"Name", "pear"}})}),
                ElementsAre("6", "error SQLiteWrap Error 19 (UNIQUE constraint failed: Item.Name)",
                            HasSubstr("error SQLiteWrap exec failed with error: 6 (")));
    EXPECT_THAT(codeAndLog(request::InsertKey{"ItemPart", row({{"ItemId", 77}})}),
                ElementsAre("6", "error SQLiteWrap Error 19 (FOREIGN KEY constraint failed)",
                            HasSubstr("exec failed with error: 6 (")));
    EXPECT_EQ(6U, client().code(request::InsertRow{"Item", row({{"Number", 1}})}));
    for (const Value& oId : {Value(EDataType::Integer, 0), Value(EDataType::Text, "zero"), null(),
                             Value(EDataType::Unsigned, 0)}) {
        EXPECT_THAT(codeAndLog(request::InsertRow{"Item", row({{"Id", oId}, {"Name", "zero"}})}),
                    ElementsAre("6", HasSubstr("error SQLiteWrap insertRow failed with error: 6 (")));
    }
    EXPECT_THAT(codeAndLog(request::InsertKey{"Item"}),
                ElementsAre("1", HasSubstr("error SQLiteWrap insertRow failed with error: 1 (")));
    EXPECT_EQ(7U, client().code(request::InsertRow{"Item", row({{"Id", "5x"}, {"Name", "mismatch"}})}));
    EXPECT_EQ(8U, client().code(request::InsertRow{"Item", row({{"Nonsense", 1}})}));
    EXPECT_EQ(8U, client().code(request::InsertRow{"ItemView", row({{"Name", "view"}})}));
    EXPECT_EQ(6U, get(request::GetSize{"Item"}));
}

TEST_F(Operations, Update)
{
    EXPECT_EQ(0U, client().code(request::UpdateRow{"Item", 0, row({{"Note", "green"}, {"Size", null()}})}));
    EXPECT_EQ(row({{"Number", -5}, {"Size", null()}, {"Note", "green"}}),
              get(request::SelectKey{"Item", "Name", "apple", {"Number", "Size", "Note"}}));
    EXPECT_EQ(0U, client().code(request::UpdateKey{"Item", "Name", "pear", row({{"Name", "O'Pear"}})}));
    EXPECT_EQ("O'Pear", client().cell("Item", 2, "Name"));
    EXPECT_EQ(0U, client().code(request::UpdateRow{"Item", 2, row({{"Number", 1}})})); // O'Neil, with NULLs

    // Every row equal to the one at the position is changed, and every row with the key.
    EXPECT_EQ(0U, client().code(request::UpdateRow{"Twins", 1, row({{"Text", "c"}})}));
    EXPECT_THAT(column("Twins", "Text"), ElementsAre("a", "c", "c"));
    EXPECT_EQ(0U, client().code(request::UpdateKey{"Twins", "Id", "2", row({{"Text", "d"}})}));
    EXPECT_THAT(column("Twins", "Text"), ElementsAre("a", "d", "d"));

    const ValueList lNote = row({{"Note", "x"}});
    EXPECT_THAT(codeAndLog(request::UpdateRow{"Item", 3, lNote}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::UpdateKey{"Item", "Name", "none", lNote}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::UpdateKey{"Item", "Name", "default", lNote}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::UpdateKey{"Item", "Id", "0", lNote}),
                ElementsAre("4", HasSubstr("error SQLiteWrap updateKey failed with error: 4 (")));
    EXPECT_THAT(codeAndLog(request::UpdateKey{"Item", "Id", "1", row({{"Name", "O'Neil"}})}),
                ElementsAre("6", "error SQLiteWrap Error 19 (UNIQUE constraint failed: Item.Name)",
                            HasSubstr("exec failed with error: 6 (")));
    EXPECT_EQ(8U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Nonsense", 1}})}));
    EXPECT_EQ(8U, client().code(request::UpdateKey{"Item", "Nonsense", "1", lNote}));
    EXPECT_EQ(7U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Id", "text"}})}));
    EXPECT_EQ("zero", client().cell("Item", 0, "Note"));
}

TEST_F(Operations, Delete)
{
    EXPECT_THAT(codeAndLog(request::DeleteRow{"Item", 3}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::DeleteKey{"Item", "Name", "none"}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::DeleteKey{"Item", "Name", "default"}), ElementsAre("10"));
    EXPECT_THAT(codeAndLog(request::DeleteKey{"Item", "Id", "0"}),
                ElementsAre("4", HasSubstr("error SQLiteWrap deleteKey failed with error: 4 (")));
    EXPECT_THAT(codeAndLog(request::DeleteRow{"Item", 1}), // it has a part
                ElementsAre("6", "error SQLiteWrap Error 19 (FOREIGN KEY constraint failed)",
                            HasSubstr("exec failed with error: 6 (")));
    EXPECT_EQ(6U, client().code(request::DeleteAll{"Item"}));
    EXPECT_EQ(3U, get(request::GetSize{"Item"}));

    EXPECT_EQ(0U, client().code(request::DeleteRow{"Twins", 2}));
    EXPECT_THAT(column("Twins", "Text"), ElementsAre("a"));
    EXPECT_EQ(0U, client().code(request::DeleteKey{"Item", "Name", "apple"}));
    EXPECT_THAT(column("Item", "Name"), ElementsAre("pear", "O'Neil"));
    EXPECT_EQ(0U, client().code(request::DeleteAll{"ItemPart"}));
    EXPECT_EQ(0U, client().code(request::DeleteAll{"Item"}));
    EXPECT_EQ(0U, client().code(request::DeleteAll{"Item"}));
    EXPECT_EQ(0U, get(request::GetSize{"Item"}));
    EXPECT_EQ("zero", client().cell("Item", 0, "Note"));
}

TEST_F(Operations, AnyTextButNulIsKeptAsItIs)
{
    std::string sBytes;
    for (int i = 1; i < 256; ++i) {
        sBytes += static_cast<char>(i);
    }
    EXPECT_EQ(0U,
              client().code(request::InsertRow{"Scratch", row({{"Text", Value(EDataType::Text, sBytes)}})}));
    EXPECT_EQ(sBytes, client().cell("Scratch", 1, "Text"));
    EXPECT_EQ(sBytes, get(request::SelectRow{"Scratch", 0}).getValue("Text").getText());
    EXPECT_EQ(0U, client().code(request::UpdateRow{"Scratch", 0, row({{"Text", "found again"}})}));
    EXPECT_EQ("found again", client().cell("Scratch", 1, "Text"));
}

TEST_F(Operations, NulIsRefusedInEveryKindOfText)
{
    const std::string sNul("a\0b", 3);
    const ValueList lNulText = row({{"Text", Value(EDataType::Text, sNul)}});
    ValueList lNulName;
    lNulName.add(sNul, Value(EDataType::Integer, 1));
    EXPECT_THAT(logOf([&] {
                    EXPECT_EQ(7U, client().code(request::GetSize{sNul}));
                    EXPECT_EQ(7U, client().code(request::SelectRow{"Scratch", 0, {"Id", sNul}}));
                    EXPECT_EQ(7U, client().code(request::SelectKey{"Scratch", "Id", sNul}));
                    EXPECT_EQ(7U, client().code(request::InsertRow{"Scratch", lNulText}));
                    EXPECT_EQ(7U, client().code(request::InsertKey{"Scratch", lNulName}));
                    EXPECT_EQ(7U, client().subscribe({sNul}).code());
                    EXPECT_EQ(7U, client().code(request::Unsubscribe{{sNul}}));
                }),
                testing::IsEmpty());
    EXPECT_EQ(0U, get(request::GetSize{"Scratch"}));
}

TEST_F(Operations, LoggingTableSetsTheLevels)
{
    const auto set = [this](const ValueList& a_lValues) {
        return client().code(request::UpdateRow{"ConfigmanagerLogging", 0, a_lValues});
    };
    const auto offend = [this] {
        RawClient oClient(socket(), RawClient::EHello::NotYet);
        oClient.send(frameOf(request::Ping{}));
        EXPECT_EQ(5U, oClient.receiveCode());
    };
    EXPECT_THAT(logOf(offend), ElementsAre(HasSubstr("warning ConfigService ")));
    EXPECT_EQ(0U, set(row({{"ConfigService", 16}}))); // errors only
    EXPECT_THAT(logOf(offend), testing::IsEmpty());
    EXPECT_EQ("16", client().cell("ConfigmanagerLogging", 1, "ConfigService"));
    EXPECT_EQ(9U, set(row({{"ConfigService", 113}, {"Id", 1}}))); // what comes before holds
    EXPECT_THAT(logOf(offend), ElementsAre(HasSubstr("warning ConfigService ")));
    EXPECT_EQ(1U, client().code(
                      request::UpdateKey{"ConfigmanagerLogging", "Id", "1", row({{"ConfigService", 0}})}));
    EXPECT_EQ(1U, client().code(request::DeleteAll{"ConfigmanagerLogging"}));
}

TEST_F(Operations, InfoCountsClientsRequestsAndTransactions)
{
    EXPECT_LT(client().info("Uptime"), 1000U);
    EXPECT_EQ(0U, client().info("Locked"));
    const unsigned iRequests = client().info("Requests");
    RawClient oOther(socket());
    EXPECT_EQ(2U, client().info("Clients"));
    EXPECT_EQ(iRequests + 3, client().info("Requests")); // the hello, and two of ours
    EXPECT_EQ(0U, oOther.ask(request::Begin{}));
    EXPECT_EQ(1U, client().info("TransactionOpen"));
    EXPECT_EQ(1U, client().info("Transactions"));
}

TEST_F(Operations, FailureLeavesTheConnectionAndItsOrderOfAnswers)
{
    RawClient oClient(socket());
    oClient.send(frameOf(request::GetSize{"Item"}, 1) + frameOf(request::GetSize{"Nonsense"}, 2) +
                 makeFrame(EKind::Request, EOperation(99), 3, "whatever") +
                 frameOf(request::InsertRow{"Item", row({{"Name", "pear"}})}, 4) +
                 frameOf(request::Ping{}, 5));
    std::vector<unsigned> lCodes;
    for (std::uint32_t iId = 1; iId <= 5; ++iId) {
        lCodes.push_back(oClient.receiveCode(iId).value_or(999));
    }
    EXPECT_THAT(lCodes, ElementsAre(0, 8, 5, 6, 0));
}

} // namespace
} // namespace e2e

// Every operation on stored and virtual tables over the socket, with every result code it can give.
#include "tests/e2e/daemontest.h"

namespace e2e {
namespace {

using systema::ColumnList;

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
};

TEST_F(Operations, SchemaAndSize)
{
    ColumnList lItem;
    for (const auto& [pName, eType] : {std::pair("Id", EDataType::Integer),
                                       {"Name", EDataType::Text},
                                       {"Number", EDataType::Integer},
                                       {"Size", EDataType::Unsigned},
                                       {"Note", EDataType::Text},
                                       {"Raw", EDataType::Null}}) {
        lItem.add(pName, eType);
    }
    EXPECT_EQ(lItem, get(request::GetSchema{"Item"}));
    EXPECT_EQ(3U, client().count("Item")); // without the row with Id 0
    EXPECT_EQ(0U, client().count("OnlyZero"));
    EXPECT_EQ(0U, client().count("Scratch"));
}

TEST_F(Operations, SelectByPosition)
{
    EXPECT_EQ(apple(), get(request::SelectRow{"Item", 0}));
    EXPECT_EQ(row({{"Note", null()}, {"Name", "pear"}, {"Note", null()}}),
              get(request::SelectRow{"Item", 1, {"Note", "Name", "Note"}}));
    EXPECT_EQ(row({{"Size", null()}, {"Note", ""}}), get(request::SelectRow{"Item", 2, {"Size", "Note"}}));
    // An index holds the names in another order, and with that of the row with Id 0 among them.
    EXPECT_EQ(row({{"Name", "O'Neil"}, {"Id", 3}}), get(request::SelectRow{"Item", 2, {"Name", "Id"}}));
    EXPECT_THAT(client().rows("Item", {"Name"}), ElementsAre("apple", "pear", "O'Neil"));
    EXPECT_THAT(client().rows("ItemView", {"Name"}), ElementsAre("apple", "pear", "O'Neil"));

    EXPECT_THAT(client().codes(request::SelectRow{"Item", 3}, request::SelectRow{"Item", 0xffffffff},
                               request::SelectRow{"OnlyZero", 0}),
                Each(10U));
    EXPECT_EQ(8U, client().code(request::SelectRow{"Item", 0, {"Name", "Nonsense"}}));
}

TEST_F(Operations, SelectByKey)
{
    EXPECT_EQ(apple(), get(request::SelectKey{"Item", "Name", "apple"}));
    EXPECT_EQ(row({{"Id", 2}}), get(request::SelectKey{"Item", "Number", "7", {"Id"}}));
    EXPECT_EQ(row({{"Note", "zero"}}), get(request::SelectKey{"Item", "Id", "0", {"Note"}}));
    EXPECT_EQ(row({{"Id", 3}}), get(request::SelectKey{"Item", "Note", "", {"Id"}}));
    EXPECT_THAT(
        client().codes(request::SelectKey{"Item", "Name", "default"}, request::SelectKey{"Item", "Id", "00"}),
        Each(10U));
    EXPECT_EQ(8U, client().code(request::SelectKey{"Item", "Name", "O'Neil"}));
}

TEST_F(Operations, FailuresAreLoggedButNotRowsThatAreMissing)
{
    // One client has one line of a kind in a second.
    Client oInserts(socket());
    Client oDeletes(socket());
    EXPECT_THAT(logOf([&] {
                    EXPECT_EQ(10U, client().code(request::SelectKey{"Item", "Name", "none"}));
                    EXPECT_EQ(10U, client().code(request::UpdateRow{"Item", 3, row({{"Note", "x"}})}));
                    EXPECT_EQ(10U, client().code(request::DeleteKey{"Item", "Name", "none"}));
                    EXPECT_EQ(8U, client().code(request::SelectKey{"Item", "Nonsense", "1"}));
                    EXPECT_EQ(6U, oInserts.code(request::InsertRow{"Item", row({{"Name", "pear"}})}));
                    EXPECT_EQ(4U, oDeletes.code(request::DeleteKey{"Item", "Id", "0"}));
                }),
                ElementsAre("error SQLiteWrap Error 1 (no such column: Nonsense)",
                            HasSubstr("error SQLiteWrap selectSql failed with error: 8 ("),
                            "error SQLiteWrap Error 19 (UNIQUE constraint failed: Item.Name)",
                            HasSubstr("error SQLiteWrap exec failed with error: 6 ("),
                            HasSubstr("error SQLiteWrap deleteKey failed with error: 4 (")));
}

TEST_F(Operations, Insert)
{
    EXPECT_EQ(4, get(request::InsertKey{"Item", row({{"Name", "plum"}, {"Note", "it's \"new\""}})}));
    EXPECT_EQ(0U, client().code(request::InsertRow{"Item", row({{"Id", 9}, {"Name", "fig"}})}));
    EXPECT_EQ(10, get(request::InsertKey{"Item", row({{"Name", "nut"}, {"Number", -2147483647 - 1}})}));
    EXPECT_EQ("it's \"new\"", client().cell("Item", 4, "Note"));
    EXPECT_EQ("-2147483648", client().cell("Item", 10, "Number"));

    EXPECT_THAT(client().codes(request::InsertKey{"ItemPart", row({{"ItemId", 77}})},
                               request::InsertRow{"Item", row({{"Number", 1}})}),
                Each(6U));
    for (const Value& oId : {Value(EDataType::Integer, 0), Value(EDataType::Text, "zero"), null(),
                             Value(EDataType::Unsigned, 0)}) {
        EXPECT_EQ(6U, client().code(request::InsertRow{"Item", row({{"Id", oId}, {"Name", "zero"}})}));
    }
    EXPECT_EQ(1U, client().code(request::InsertKey{"Item"}));
    EXPECT_EQ(7U, client().code(request::InsertRow{"Item", row({{"Id", "5x"}, {"Name", "mismatch"}})}));
    EXPECT_THAT(client().codes(request::InsertRow{"Item", row({{"Nonsense", 1}})},
                               request::InsertRow{"ItemView", row({{"Name", "view"}})}),
                Each(8U));
    EXPECT_EQ(6U, client().count("Item"));
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
    EXPECT_THAT(client().rows("Twins", {"Text"}), ElementsAre("a", "c", "c"));
    EXPECT_EQ(0U, client().code(request::UpdateKey{"Twins", "Id", "2", row({{"Text", "d"}})}));
    EXPECT_THAT(client().rows("Twins", {"Text"}), ElementsAre("a", "d", "d"));

    const ValueList lNote = row({{"Note", "x"}});
    EXPECT_EQ(10U, client().code(request::UpdateKey{"Item", "Name", "default", lNote}));
    EXPECT_EQ(4U, client().code(request::UpdateKey{"Item", "Id", "0", lNote}));
    EXPECT_EQ(6U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Name", "O'Neil"}})}));
    EXPECT_EQ(7U, client().code(request::UpdateKey{"Item", "Id", "1", row({{"Id", "text"}})}));
    EXPECT_THAT(client().codes(request::UpdateKey{"Item", "Id", "1", row({{"Nonsense", 1}})},
                               request::UpdateKey{"Item", "Nonsense", "1", lNote}),
                Each(8U));
    EXPECT_EQ("zero", client().cell("Item", 0, "Note"));
}

TEST_F(Operations, Delete)
{
    EXPECT_THAT(client().codes(request::DeleteRow{"Item", 3}, request::DeleteKey{"Item", "Name", "default"}),
                Each(10U));
    // One row has a part.
    EXPECT_THAT(client().codes(request::DeleteRow{"Item", 1}, request::DeleteAll{"Item"}), Each(6U));
    EXPECT_EQ(3U, client().count("Item"));

    EXPECT_EQ(0U, client().code(request::DeleteRow{"Twins", 2}));
    EXPECT_THAT(client().rows("Twins", {"Text"}), ElementsAre("a"));
    EXPECT_EQ(0U, client().code(request::DeleteKey{"Item", "Name", "apple"}));
    EXPECT_THAT(client().rows("Item", {"Name"}), ElementsAre("pear", "O'Neil"));
    EXPECT_THAT(client().codes(request::DeleteAll{"ItemPart"}, request::DeleteAll{"Item"},
                               request::DeleteAll{"Item"}),
                Each(0U));
    EXPECT_EQ(0U, client().count("Item"));
    EXPECT_EQ("zero", client().cell("Item", 0, "Note"));
}

TEST_F(Operations, AnyTextButNulIsKeptAsItIs)
{
    std::string sBytes;
    for (int i = 1; i < 256; ++i) {
        sBytes += static_cast<char>(i);
    }
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", sBytes.c_str()}})}));
    EXPECT_EQ(sBytes, client().cell("Scratch", 1, "Text"));
    EXPECT_EQ(0U, client().code(request::UpdateRow{"Scratch", 0, row({{"Text", "found again"}})}));
    EXPECT_EQ("found again", client().cell("Scratch", 1, "Text"));

    const std::string sNul("a\0b", 3);
    const ValueList lNulText = row({{"Text", Value(EDataType::Text, sNul)}});
    ValueList lNulName;
    lNulName.add(sNul, Value(EDataType::Integer, 1));
    EXPECT_THAT(client().codes(request::GetSize{sNul}, request::SelectRow{"Scratch", 0, {"Id", sNul}},
                               request::SelectKey{"Scratch", "Id", sNul},
                               request::InsertRow{"Scratch", lNulText},
                               request::InsertKey{"Scratch", lNulName}, request::Subscribe{{sNul}},
                               request::Unsubscribe{{sNul}}),
                Each(7U));
    EXPECT_EQ(1U, client().count("Scratch"));
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
    EXPECT_EQ(0U, set(row({{"ConfigService", 16}}))); // errors only
    EXPECT_THAT(logOf(offend), IsEmpty());
    EXPECT_EQ(9U, set(row({{"ConfigService", 113}, {"Id", 1}}))); // what comes before holds
    EXPECT_THAT(logOf(offend), ElementsAre(HasSubstr("warning ConfigService ")));
    EXPECT_THAT(
        client().codes(request::UpdateKey{"ConfigmanagerLogging", "Id", "1", row({{"ConfigService", 0}})},
                       request::DeleteAll{"ConfigmanagerLogging"}),
        Each(1U));
}

TEST_F(Operations, InfoCountsClientsRequestsAndTransactions)
{
    EXPECT_LT(client().info("Uptime"), 1000U);
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
    EXPECT_THAT(oClient.receiveCodes(5), ElementsAre(0, 8, 5, 6, 0));
}

} // namespace
} // namespace e2e

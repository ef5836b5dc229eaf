// Bulk reading through the dispatcher, by a plugin's own means and position by position.
#include "systema/positioncursor.h"

#include "tests/row.h"
#include "tests/unit/systema/dispatcherfixture.h"
#include "tests/unit/systema/rowtexts.h"

#include <gmock/gmock.h>

#include <memory>

using systema::EResultCode;
using systema::IRowCursor;
using systema::NameList;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::row;

namespace {

class PositionCursorTest : public DispatcherTest
{
protected:
    EResultCode openRows(unsigned a_iFirst, unsigned a_iCount, const NameList& a_lColumns = {})
    {
        return m_oDispatcher.openRows(m_pCursor, m_pMe, "Stored", a_iFirst, a_iCount, a_lColumns);
    }
    /// Fetches into a sink for that many rows.
    EResultCode fetch(unsigned a_iRows = 1000)
    {
        RowTexts oSink(a_iRows);
        const EResultCode eResult = m_pCursor->fetch(oSink);
        m_lRows = oSink.m_lRows;
        return eResult;
    }

    std::unique_ptr<IRowCursor> m_pCursor;
    std::vector<std::string> m_lRows;
};

} // namespace

TEST_F(PositionCursorTest, HandsOutTheRangeInPortionsAndThenEnds)
{
    for (const int iId : {0, 1, 2, 3, 4}) {
        m_oStored.m_lRows.push_back(row({{"Id", iId}}));
    }
    ASSERT_EQ(openRows(1, 3), EResultCode::Success);
    EXPECT_EQ(m_pCursor->getColumns(), NameList({"Id"}));
    EXPECT_EQ(fetch(2), EResultCode::Success);
    EXPECT_THAT(m_lRows, ElementsAre("1 ", "2 "));
    EXPECT_EQ(fetch(2), EResultCode::NoRow);
    EXPECT_THAT(m_lRows, ElementsAre("3 "));
    EXPECT_EQ(fetch(), EResultCode::NoRow);
    EXPECT_THAT(m_lRows, IsEmpty());

    ASSERT_EQ(openRows(3, systema::c_iAllRows), EResultCode::Success);
    EXPECT_EQ(fetch(), EResultCode::NoRow);
    EXPECT_THAT(m_lRows, ElementsAre("3 ", "4 "));
    ASSERT_EQ(openRows(0, 0), EResultCode::Success);
    EXPECT_EQ(fetch(), EResultCode::NoRow);
    EXPECT_THAT(m_lRows, IsEmpty());
}

TEST_F(PositionCursorTest, EveryRowHasTheColumnsOfTheFirst)
{
    m_oStored.m_lRows = {row({{"Id", 1}, {"Extra", "x"}}), row({{"Extra", "y"}, {"More", 1}}), row({})};
    m_oStored.m_lRows[2].add("Id", systema::Value(systema::EDataType::Unsigned, -1));
    ASSERT_EQ(openRows(0, systema::c_iAllRows), EResultCode::Success);
    EXPECT_EQ(m_pCursor->getColumns(), NameList({"Id", "Extra"}));
    EXPECT_EQ(fetch(), EResultCode::NoRow);
    EXPECT_THAT(m_lRows, ElementsAre("1 'x' ", "null 'y' ", "4294967295u null "));
}

TEST_F(PositionCursorTest, ATableThatChangesMeanwhileEndsTheRead)
{
    m_oStored.m_lRows = {row({{"Id", 1}}), row({{"Id", 2}}), row({{"Id", 3}})};
    const std::function<void()> aChanges[] = {
        [this] { write(m_pOther, "Stored"); },
        [this] {
            begin(m_pMe);
            write(m_pMe, "Stored"); // as the owner sees it, though nobody is told yet
        },
        [this] { rollback(m_pMe); },
        [this] {
            NameList lTicked = {"Stored"};
            m_oDispatcher.tick(lTicked);
        },
    };
    for (const auto& oChange : aChanges) {
        ASSERT_EQ(openRows(0, systema::c_iAllRows), EResultCode::Success);
        EXPECT_EQ(fetch(1), EResultCode::Success);
        oChange();
        EXPECT_EQ(fetch(1), EResultCode::Busy);
        EXPECT_THAT(m_lRows, IsEmpty());
    }
    ASSERT_EQ(openRows(0, systema::c_iAllRows), EResultCode::Success);
    EXPECT_EQ(fetch(1), EResultCode::Success);
    write(m_pOther, "Virtual"); // another table
    EXPECT_EQ(fetch(), EResultCode::NoRow);
}

TEST_F(PositionCursorTest, AFailureIsReportedWhereItHappens)
{
    m_oStored.m_mResults["selectRow"] = EResultCode::NoKey;
    EXPECT_EQ(openRows(0, 1, {"Nonsense"}), EResultCode::NoKey);
    EXPECT_EQ(m_pCursor, nullptr);
    EXPECT_EQ(m_oDispatcher.openRows(m_pCursor, m_pMe, "Unknown", 0, 1, {}), EResultCode::NoTable);

    m_oStored.m_mResults.clear();
    m_oStored.m_lRows = {row({{"Id", 1}}), row({{"Id", 2}}), row({{"Id", 3}})};
    ASSERT_EQ(openRows(0, 3), EResultCode::Success);
    EXPECT_EQ(fetch(1), EResultCode::Success);
    m_oStored.m_mResults["selectRow"] = EResultCode::Failure;
    EXPECT_EQ(fetch(), EResultCode::Failure);
    EXPECT_THAT(m_lRows, ElementsAre("2 ")); // was read before
}

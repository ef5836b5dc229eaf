#include "tests/row.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

using testing::PrintToString;

namespace systema {

TEST(Printers, AFailedComparisonShowsNamesAndValuesInsteadOfBytes)
{
    const ValueList lRow =
        tests::row({{"Id", 1}, {"Name", "lan 1"}, {"Size", Value(3, -1)}, {"Note", Value(EDataType::Null)}});
    EXPECT_EQ(PrintToString(lRow), R"({Id=1, Name="lan 1", Size=4294967295u, Note=null})");
    EXPECT_EQ(PrintToString(std::vector{ValueList(), lRow.size() > 9 ? lRow : ValueList()}), "{ {}, {} }");
    EXPECT_EQ(PrintToString(std::optional(NameList{"Id", "Name"})), R"(({"Id", "Name"}))");
    ColumnList lSchema;
    lSchema.add("Id", EDataType::Integer);
    lSchema.add("Odd", 77);
    EXPECT_EQ(PrintToString(lSchema), "{Id integer, Odd ?}");
    EXPECT_EQ(PrintToString(EResultCode(EResultCode::NoTable)), "8 (no such table or column)");
}

} // namespace systema

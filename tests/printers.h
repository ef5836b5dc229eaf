// What a failed comparison shows of our own types: names and values, as they read in a test.
// tests/CMakeLists.txt has every test program include it, for googletest prints the bytes of a type without a
// printer, and two files of one program must not differ in that.
#pragma once

#include "systema/lists.h"

#include <gtest/gtest-printers.h>

#include <iterator>
#include <ostream>
#include <string>

namespace systema {

namespace protocol {

inline void PrintTo(EResultCode a_eCode, std::ostream* a_pStream)
{
    a_eCode.put(*a_pStream);
}

inline void PrintTo(EDataType a_eType, std::ostream* a_pStream)
{
    constexpr const char* c_aNames[] = {"?", "null", "integer", "unsigned", "text"};
    *a_pStream << (a_eType < std::size(c_aNames) ? c_aNames[a_eType] : "?");
}

} // namespace protocol

inline void PrintTo(const Value& a_oValue, std::ostream* a_pStream)
{
    switch (a_oValue.getType()) {
    case EDataType::Null:
        *a_pStream << "null";
        break;
    case EDataType::Text:
        *a_pStream << testing::PrintToString(a_oValue.getText());
        break;
    default:
        *a_pStream << a_oValue.toText() << (a_oValue.getType() == EDataType::Unsigned ? "u" : "");
    }
}

/// The elements, each as the function prints it, as in {Id=1, Name="lan1"}.
template<typename List, typename Print>
void printElements(const List& a_lList, std::ostream& a_oStream, Print a_oPrint)
{
    const char* pSeparator = "{";
    for (const auto& oElement : a_lList) {
        a_oStream << pSeparator;
        a_oPrint(oElement);
        pSeparator = ", ";
    }
    a_oStream << (a_lList.empty() ? "{}" : "}");
}

inline void PrintTo(const NameList& a_lNames, std::ostream* a_pStream)
{
    printElements(a_lNames, *a_pStream,
                  [&](const std::string& a_sName) { *a_pStream << testing::PrintToString(a_sName); });
}

inline void PrintTo(const ValueList& a_lRow, std::ostream* a_pStream)
{
    printElements(a_lRow, *a_pStream, [&](const ValueList::Entry& a_oCell) {
        *a_pStream << a_oCell.first << '=';
        PrintTo(a_oCell.second, a_pStream);
    });
}

inline void PrintTo(const ColumnList& a_lColumns, std::ostream* a_pStream)
{
    printElements(a_lColumns, *a_pStream, [&](const ColumnList::Entry& a_oColumn) {
        *a_pStream << a_oColumn.first << ' ';
        PrintTo(a_oColumn.second, a_pStream);
    });
}

} // namespace systema

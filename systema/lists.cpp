#include "systema/lists.h"

#include "zel/assert.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace systema {

void ValueList::add(std::string a_sName, Value a_oValue)
{
    m_lEntries.emplace_back(std::move(a_sName), std::move(a_oValue));
}

const Value* ValueList::find(std::string_view a_sName) const
{
    auto it = std::ranges::find(m_lEntries, a_sName, &Entry::first);
    return it == m_lEntries.end() ? nullptr : &it->second;
}

std::string ValueList::toText(std::string_view a_sName) const
{
    const Value* pValue = find(a_sName);
    return pValue == nullptr ? std::string() : pValue->toText();
}

const Value& ValueList::getValue(std::string_view a_sName) const
{
    const Value* pValue = find(a_sName);
    zel::error::Assert(pValue != nullptr, "true == hasValue( a_sName)");
    return *pValue;
}

Value& ValueList::getValue(std::string_view a_sName)
{
    return const_cast<Value&>(std::as_const(*this).getValue(a_sName));
}

bool NameList::hasName(std::string_view a_sName) const
{
    return std::ranges::find(m_lNames, a_sName) != m_lNames.end();
}

void NameList::splice(NameList& a_lOther)
{
    std::ranges::move(a_lOther.m_lNames, std::back_inserter(m_lNames));
    a_lOther.clear();
}

void NameList::put(std::ostream& a_oStream) const
{
    const char* pSeparator = "";
    for (const auto& sName : m_lNames) {
        a_oStream << pSeparator << sName;
        pSeparator = ", ";
    }
}

const ColumnList::Entry* ColumnList::getColumn(std::string_view a_sName) const
{
    auto it = std::ranges::find(m_lColumns, a_sName, &Entry::first);
    return it == m_lColumns.end() ? nullptr : &*it;
}

} // namespace systema

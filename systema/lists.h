// The three ordered lists of the plugin contract: a row, a list of names, the schema of a table.
// Names are compared exactly, letter case included. All three are plain values.
#pragma once

#include "systema/value.h"

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace systema {

/// One row: (column name, value) pairs in the order of insertion.
class ValueList
{
public:
    using Entry = std::pair<std::string, Value>;

    void add(std::string a_sName, Value a_oValue);
    bool hasValue(std::string_view a_sName) const { return find(a_sName) != nullptr; }
    /// The value of the first pair with the name; asking for a name that is not there is an assertion.
    Value& getValue(std::string_view a_sName);
    const Value& getValue(std::string_view a_sName) const;
    /// The same, null when the name is not there.
    const Value* find(std::string_view a_sName) const;
    /// The value as a person would write it, empty when the name is not there.
    std::string toText(std::string_view a_sName) const;
    std::size_t size() const { return m_lEntries.size(); }
    bool empty() const { return m_lEntries.empty(); }
    void clear() { m_lEntries.clear(); }
    void reserve(std::size_t a_iSize) { m_lEntries.reserve(a_iSize); }

    auto begin() const { return m_lEntries.begin(); }
    auto end() const { return m_lEntries.end(); }
    bool operator==(const ValueList&) const = default;

private:
    std::vector<Entry> m_lEntries;
};

/// An ordered list of names. As the columns of a select an empty list means all columns.
class NameList
{
public:
    NameList() = default;
    NameList(std::initializer_list<std::string> a_lNames) : m_lNames(a_lNames) {}
    explicit NameList(std::vector<std::string> a_lNames) : m_lNames(std::move(a_lNames)) {}

    void add(std::string a_sName) { m_lNames.push_back(std::move(a_sName)); }
    bool hasName(std::string_view a_sName) const;
    /// Moves all names of the other list to the end of this one.
    void splice(NameList& a_lOther);
    std::size_t size() const { return m_lNames.size(); }
    bool empty() const { return m_lNames.empty(); }
    void clear() { m_lNames.clear(); }
    /// Prints the names, separated by ", ".
    void put(std::ostream& a_oStream) const;

    const std::string& operator[](std::size_t a_iIndex) const { return m_lNames[a_iIndex]; }
    auto begin() const { return m_lNames.begin(); }
    auto end() const { return m_lNames.end(); }
    bool operator==(const NameList&) const = default;

private:
    std::vector<std::string> m_lNames;
};

/// The schema of a table: (column name, type) entries in column order.
class ColumnList
{
public:
    using Entry = std::pair<std::string, protocol::EDataType>;

    void add(std::string a_sName, unsigned a_iType) { m_lColumns.emplace_back(std::move(a_sName), a_iType); }
    /// The entry of the name, null when there is none; lives until the list is changed.
    const Entry* getColumn(std::string_view a_sName) const;
    std::size_t size() const { return m_lColumns.size(); }
    bool empty() const { return m_lColumns.empty(); }
    void clear() { m_lColumns.clear(); }

    auto begin() const { return m_lColumns.begin(); }
    auto end() const { return m_lColumns.end(); }
    bool operator==(const ColumnList&) const = default;

private:
    std::vector<Entry> m_lColumns;
};

} // namespace systema

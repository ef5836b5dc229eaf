#include "status/passwd.h"

#include "zel/fileparser.h"
#include "zel/log.h"
#include "zel/systempath.h"

#include <utility>

namespace zel {

using configmanager::serverlib::Column;
using configmanager::serverlib::integer;
using systema::EDataType;
using systema::EResultCode;
using systema::Value;

namespace {

using User = Passwd::User;

template<std::string User::*Text>
Value textOf(const User& a_oUser)
{
    return Value(EDataType::Text, a_oUser.*Text);
}

constexpr Column<User> c_aColumns[] = {
    {"Id", EDataType::Integer, [](const User& a_oUser) { return integer(a_oUser.m_iId); }},
    {"Username", EDataType::Text, textOf<&User::m_sUsername>},
    {"UserId", EDataType::Text, textOf<&User::m_sUserId>},
    {"GroupId", EDataType::Text, textOf<&User::m_sGroupId>},
    {"Gecos", EDataType::Text, textOf<&User::m_sGecos>},
    {"HomeDirectory", EDataType::Text, textOf<&User::m_sHomeDirectory>},
};

} // namespace

Passwd::Passwd(WallClock a_oNow)
    : SingleTable("Passwd", c_aColumns),
      m_iModule(ZEL_Sysloglevel_registerModul("Passwd")),
      m_oInterval(std::move(a_oNow), 4)
{
}

EResultCode Passwd::getSchema(systema::ColumnList& a_columns, const std::string& a_table)
{
    a_columns.clear();
    return SingleTable::getSchema(a_columns, a_table);
}

/// Reads the accounts anew when it is time to.
bool Passwd::refresh()
{
    if (!m_oInterval.isOver()) {
        return true;
    }
    m_lRows.clear();
    FileParser oParser;
    if (oParser.parse(FileParser::EMode::File, systemPath("/etc/passwd"), "", ':')) {
        for (const auto& lFields : oParser.getLines()) {
            const auto field = [&](std::size_t a_iIndex) { return FileParser::getToken(lFields, a_iIndex); };
            m_lRows.push_back({0, field(0), field(2), field(3), field(4), field(5)});
        }
    }
    ZEL_Sysloglevel_debug(m_iModule, here(), "%zu accounts", m_lRows.size());
    m_oInterval.restart();
    return true;
}

} // namespace zel

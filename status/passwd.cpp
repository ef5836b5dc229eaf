#include "status/passwd.h"

#include "zel/fileparser.h"
#include "zel/systempath.h"

#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;

namespace {

using User = Passwd::User;

constexpr Column<User> c_aColumns[] = {
    column<&User::m_iId>("Id"),         column<&User::m_sUsername>("Username"),
    column<&User::m_sUserId>("UserId"), column<&User::m_sGroupId>("GroupId"),
    column<&User::m_sGecos>("Gecos"),   column<&User::m_sHomeDirectory>("HomeDirectory"),
};

} // namespace

Passwd::Passwd(BootClock a_oNow)
    : SingleTable("Passwd", c_aColumns),
      m_oInterval(std::move(a_oNow), c_iReadSeconds)
{
}

EResultCode Passwd::getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable)
{
    a_lColumns.clear();
    return SingleTable::getSchema(a_lColumns, a_sTable);
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
    m_oInterval.restart();
    return true;
}

} // namespace zel

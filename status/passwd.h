// The table "Passwd": the accounts of the system, without their passwords and shells.
//
// Owned by the status host. Main thread only. Read when the table is asked for, at most about every five
// seconds, and never announced. A file that cannot be read has no accounts.
#pragma once

#include "status/readinterval.h"
#include "status/singletable.h"

#include <cstdint>
#include <ctime>
#include <string>

namespace zel {

struct PasswdUser
{
    std::int32_t m_iId = 0; // see rows.h; 0 for a new row
    std::string m_sUsername;
    std::string m_sUserId;
    std::string m_sGroupId;
    std::string m_sGecos;
    std::string m_sHomeDirectory;
};

class Passwd : public SingleTable<PasswdUser>
{
public:
    using User = PasswdUser;

    static constexpr std::time_t c_iReadSeconds = 4;

    /// The time is asked for at each access to the table.
    explicit Passwd(BootClock a_oNow);

    void init() override {}
    /// Replaces what is in the list. 0.
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    void update(systema::NameList&) override {}
    bool announces(const std::string&) const override { return false; }

private:
    bool refresh() override;

    ReadInterval m_oInterval;
};

} // namespace zel

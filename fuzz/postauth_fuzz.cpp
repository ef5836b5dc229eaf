// Arbitrary bytes as the message of a PPP server and as the peer file of its link: rates come from their keys
// alone, and user and password are single words without their quotes.
#include "fuzz/require.h"
#include "status/pppstatus.h"
#include "systema/configdispatcher.h"
#include "tests/unit/status/fakeppphelper.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/log.h"

namespace {

bool isWord(const std::string& a_sText)
{
    return a_sText.find_first_of(std::string(" \n\0", 3)) == std::string::npos && !a_sText.starts_with('"');
}

/// A table with one link.
class Table
{
public:
    Table()
    {
        ZEL_Sysloglevel_changeTracelevel("PppStatus", 0);
        m_oHelper.m_mLinks = {{"ppp0", {2, ""}}};
        m_oTable.init();
    }

    systema::ValueList read(const std::string& a_sText)
    {
        m_oHelper.m_mLinks["ppp0"].m_sMessage = a_sText;
        writeFile(m_oPeers.file("pppoe0"), a_sText);
        systema::ValueList lRow;
        require(m_oTable.getRow("PppStatus", lRow, 0, {}) == systema::EResultCode::Success);
        return lRow;
    }

private:
    const TempDir m_oPeers;
    FakePppHelper m_oHelper;
    systema::ConfigDispatcher m_oDispatcher;
    zel::PppStatus m_oTable{m_oHelper, m_oPeers.path(), m_oDispatcher, [] { return std::time_t(0); }};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    static Table oTable;
    const std::string sText(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    const auto lRow = oTable.read(sText);
    require(lRow.getValue("PostAuthMessage").getText() == sText);
    if (sText.find("UI-SBR:") == std::string::npos && sText.find("SRU=") == std::string::npos) {
        require(lRow.getValue("PostAuthUpstream").getInteger() == 0);
        require(lRow.getValue("PostAuthDownstream").getInteger() == 0);
    }
    require(isWord(lRow.getValue("User").getText()));
    require(isWord(lRow.getValue("Password").getText()));
    return 0;
}

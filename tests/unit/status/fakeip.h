// Takes the place of the tool "ip".
#pragma once

#include "tests/unit/status/faketool.h"

class FakeIp : public FakeTool
{
public:
    /// Prints an empty list for both families.
    FakeIp() : FakeTool("ip")
    {
        lists("-4", "[]");
        lists("-6", "[]");
    }

    /// From now on the tool prints the text for the family, "-4" or "-6".
    void lists(const std::string& a_sFamily, const std::string& a_sText)
    {
        writeFile(m_oDir.file("list" + a_sFamily), a_sText);
        behaves("cat " + m_oDir.file("list") + "$1");
    }
};

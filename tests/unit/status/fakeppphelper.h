// A platform with the PPP links that the test gives it.
#pragma once

#include "status/ippphelper.h"

#include <map>

class FakePppHelper : public zel::IPppHelper
{
public:
    struct Link
    {
        int m_iStatus;
        std::string m_sMessage;
    };

    std::map<std::string, Link> m_mLinks;
    unsigned m_iQuestions = 0; // about the state of a link

    std::vector<std::string> getPppInterfaces() override
    {
        std::vector<std::string> lNames;
        for (const auto& [sName, oLink] : m_mLinks) {
            lNames.push_back(sName);
        }
        return lNames;
    }
    int getPppStatus(const std::string& a_sInterface) override
    {
        ++m_iQuestions;
        m_iStatus = m_mLinks[a_sInterface].m_iStatus;
        return m_iStatus;
    }
    std::string getPppStatusString() override { return "state " + std::to_string(m_iStatus); }
    std::string getPostAuthMessage(const std::string& a_sInterface) override
    {
        return m_mLinks[a_sInterface].m_sMessage;
    }

private:
    int m_iStatus = 0;
};

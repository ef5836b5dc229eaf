// What the tests of the dispatcher share: a dispatcher with a clock that the test turns, a plugin with a
// virtual and one with a stored table, and subscribers.
#pragma once

#include "systema/configdispatcher.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Keeps what it is told.
class Subscriber : public systema::IConfigSubscriber
{
public:
    void notify(const systema::NameList& a_lChangedTables) override
    {
        m_lTold.push_back(a_lChangedTables);
        if (m_oWhenTold) {
            m_oWhenTold();
        }
    }
    std::vector<systema::NameList> take() { return std::exchange(m_lTold, {}); }

    std::function<void()> m_oWhenTold;

private:
    std::vector<systema::NameList> m_lTold;
};

class DispatcherTest : public testing::Test
{
protected:
    using ConfigDispatcher = systema::ConfigDispatcher;
    using EResultCode = systema::EResultCode;
    using NameList = systema::NameList;

    DispatcherTest()
    {
        m_oDispatcher.attachTables(m_oVirtual);
        m_oDispatcher.attachTables(m_oStored);
    }

    /// What the subscriber is told by one sending.
    std::vector<NameList> told(Subscriber& a_oSubscriber)
    {
        m_oDispatcher.sendNotifications();
        return a_oSubscriber.take();
    }
    EResultCode write(const void* a_pClient, const std::string& a_sTable)
    {
        return m_oDispatcher.insertRow(a_pClient, a_sTable, {});
    }
    EResultCode read(const void* a_pClient, const std::string& a_sTable)
    {
        unsigned int iSize = 0;
        return m_oDispatcher.getSize(iSize, a_pClient, a_sTable);
    }
    EResultCode begin(const void* a_pClient) { return m_oDispatcher.startTransaction(a_pClient); }
    EResultCode commit(const void* a_pClient) { return m_oDispatcher.commitTransaction(a_pClient); }
    EResultCode rollback(const void* a_pClient) { return m_oDispatcher.rollbackTransaction(a_pClient); }
    RecordingPlugin::Calls takeCalls() { return std::exchange(m_lCalls, {}); }

    RecordingPlugin::Calls m_lCalls;
    std::chrono::seconds m_oNow{0};
    ConfigDispatcher m_oDispatcher{[this] { return ConfigDispatcher::Clock::time_point(m_oNow); }};
    RecordingPlugin m_oVirtual{"virtual", {"Virtual"}, m_lCalls};
    StoredPlugin m_oStored{"stored", {"Stored"}, m_lCalls};

    Subscriber m_oFirst;
    Subscriber m_oSecond;

    // Handles of two connections.
    const void* const m_pMe = &m_lCalls;
    const void* const m_pOther = &m_oNow;
};

// A subscriber that calls a function: for components that listen to tables without being subscribers
// themselves.
//
// A member of the component whose function it calls; the publisher must outlive it. Main thread only.
// Going, it leaves every table it was subscribed to, so that nothing is told to a component that is gone.
#pragma once

#include "systema/configpublisher.h"

#include <functional>
#include <string>

namespace configmanager::serverlib {

class GenericSubscriber : public systema::IConfigSubscriber
{
public:
    using Callback = std::function<void(const systema::NameList&)>;

    /// Subscribes to nothing yet: hand it to the publisher for that. The name is for logs. The callback gets
    /// the changed tables and must not destroy the subscriber.
    GenericSubscriber(systema::IConfigPublisher& a_oPublisher, std::string a_sName, Callback a_oCallback);
    ~GenericSubscriber() override;
    GenericSubscriber(const GenericSubscriber&) = delete;
    GenericSubscriber& operator=(const GenericSubscriber&) = delete;

    const std::string& getName() const { return m_sName; }

    void notify(const systema::NameList& a_lChangedTables) override { m_oCallback(a_lChangedTables); }

private:
    systema::IConfigPublisher& m_oPublisher;
    const std::string m_sName;
    const Callback m_oCallback;
};

} // namespace configmanager::serverlib

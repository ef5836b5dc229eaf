// Change notifications inside the process.
#pragma once

#include "systema/lists.h"

#include <string>

namespace systema {

/// Is told the names of the tables that changed, each once for any number of changes since the last time.
class IConfigSubscriber
{
public:
    virtual ~IConfigSubscriber() = default;

    /// Called on the main thread while notifications are sent. What it writes is told on the next pass.
    /// It may subscribe and unsubscribe anyone, itself included. An exception is logged and goes no further;
    /// after std::bad_alloc it is told again with the next notifications.
    virtual void notify(const NameList& a_lChangedTables) = 0;
};

/// Delivers change notifications. Subscribers must unsubscribe before they go.
class IConfigPublisher
{
public:
    virtual ~IConfigPublisher() = default;

    /// Adds the subscriber to each table; a subscriber hears of a table once however often it subscribes.
    /// False when a name is not a known table: the subscription of that name then waits until the table is
    /// attached; the other names are subscribed.
    virtual bool subscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables) = 0;
    /// Removes the subscriber from each table.
    virtual void unsubscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables) = 0;
    /// Removes the subscriber from every table.
    virtual void unsubscribeAll(IConfigSubscriber& a_oSubscriber) = 0;
    /// True when somebody subscribes to the table.
    virtual bool hasSubscriber(const std::string& a_sTable) const = 0;
};

} // namespace systema

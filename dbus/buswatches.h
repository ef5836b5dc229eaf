// The socket of a connection to the bus, polled for as long as the caller says and never longer.
//
// In place of the binding's own dispatcher, which touches freed watches when the bus dies while something is
// unsent, and takes its lock twice when a time-out removes itself. Owned by the connection; the binding finds
// it as its default dispatcher. Main thread only. Nothing throws: libdbus calls most of it.
#pragma once

#include "dbus/binding.h"

#include <array>
#include <chrono>
#include <optional>

namespace zel {

class BusWatches : public DBus::Dispatcher
{
public:
    BusWatches() { DBus::default_dispatcher = this; }
    ~BusWatches() override { DBus::default_dispatcher = nullptr; }
    BusWatches(const BusWatches&) = delete;
    BusWatches& operator=(const BusWatches&) = delete;

    /// Waits until the socket is ready, reads or writes what it can without waiting, and hands over the
    /// messages that have come. A signal of the system ends the wait early. False when the socket was not
    /// ready; libdbus reads some 2 KiB at a time, so there may be more when it was, and no message complete
    /// yet.
    bool wait(std::chrono::milliseconds a_oMost);

private:
    /// Its state is asked for before each poll.
    struct SocketWatch : DBus::Watch
    {
        using Watch::Watch;
        void toggle() override {}
    };

    void enter() override {}
    void leave() override {}
    DBus::Watch* add_watch(DBus::Watch::Internal* a_pWatch) override;
    void rem_watch(DBus::Watch* a_pWatch) override;
    /// Only pending calls of libdbus have time-outs; none are made.
    DBus::Timeout* add_timeout(DBus::Timeout::Internal*) override { return nullptr; }
    void rem_timeout(DBus::Timeout*) override {}

    std::array<std::optional<SocketWatch>, 4> m_aWatches; // a connection has one to read and one to write
};

} // namespace zel

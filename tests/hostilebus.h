// A bus that behaves badly, at the socket of a test: it goes along with each client up to a certain point and
// says nothing from then on. It runs in a thread of its own and ends with its object.
#pragma once

#include "zel/uniquefd.h"

#include <dbus/dbus.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <iterator>
#include <list>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tests {

class HostileBus
{
public:
    /// The last thing that it does.
    enum class EUpTo
    {
        Nothing, // not even take a connection: its backlog is full
        Accept,
        Authenticate,
        GreetOnce,    // answer the first client; accept the others
        Greet,        // and read what comes after it
        GreetAndStop, // reading, too
    };

    HostileBus(const std::string& a_sSocket, EUpTo a_eUpTo)
        : m_eUpTo(a_eUpTo),
          m_oListener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un oAddress{AF_UNIX, {}};
        a_sSocket.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
        const auto* pAddress = reinterpret_cast<const sockaddr*>(&oAddress);
        ::unlink(a_sSocket.c_str());
        if (::bind(m_oListener.get(), pAddress, sizeof oAddress) != 0 ||
            ::listen(m_oListener.get(), a_eUpTo == EUpTo::Nothing ? 0 : SOMAXCONN) != 0 ||
            ::pipe2(m_aStop.data(), O_CLOEXEC) != 0) {
            std::abort();
        }
        if (a_eUpTo == EUpTo::Nothing) {
            m_oFiller.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            ::connect(m_oFiller.get(), pAddress, sizeof oAddress);
        } else {
            m_oThread = std::thread([this] { serve(); });
        }
    }
    ~HostileBus()
    {
        ::close(m_aStop[1]);
        if (m_oThread.joinable()) {
            m_oThread.join();
        }
        ::close(m_aStop[0]);
    }
    HostileBus(const HostileBus&) = delete;
    HostileBus& operator=(const HostileBus&) = delete;

    /// Taken so far.
    unsigned connections() const { return m_iConnections; }

private:
    struct Client
    {
        zel::UniqueFd m_oSocket;
        EUpTo m_eUpTo;
        std::string m_sInput{};
        bool m_bAuthenticated = false;
        bool m_bRead = true;
    };

    void serve()
    {
        for (;;) {
            std::vector<pollfd> lPolls{{m_aStop[0], POLLIN, 0}, {m_oListener.get(), POLLIN, 0}};
            for (const auto& oClient : m_lClients) {
                lPolls.push_back({oClient.m_bRead ? oClient.m_oSocket.get() : -1, POLLIN, 0});
            }
            ::poll(lPolls.data(), lPolls.size(), -1);
            if (lPolls[0].revents != 0) {
                return;
            }
            std::size_t i = 2;
            for (auto it = m_lClients.begin(); it != m_lClients.end(); ++i) {
                it = lPolls[i].revents == 0 || receive(*it) ? std::next(it) : m_lClients.erase(it);
            }
            if (lPolls[1].revents != 0) {
                const bool bFirst = m_iConnections++ == 0;
                m_lClients.push_back(
                    {zel::UniqueFd(::accept4(m_oListener.get(), nullptr, nullptr, SOCK_CLOEXEC)),
                     m_eUpTo != EUpTo::GreetOnce ? m_eUpTo
                     : bFirst                    ? EUpTo::Greet
                                                 : EUpTo::Accept});
            }
        }
    }

    /// False when the client has gone.
    static bool receive(Client& a_oClient)
    {
        std::array<char, 4096> aBuffer;
        const ssize_t iSize = ::read(a_oClient.m_oSocket.get(), aBuffer.data(), aBuffer.size());
        if (iSize <= 0) {
            return false;
        }
        a_oClient.m_sInput.append(aBuffer.data(), static_cast<std::size_t>(iSize));
        if (a_oClient.m_eUpTo == EUpTo::Accept) {
            a_oClient.m_sInput.clear();
        } else if (!a_oClient.m_bAuthenticated) {
            authenticate(a_oClient);
        }
        if (a_oClient.m_bAuthenticated && a_oClient.m_eUpTo != EUpTo::Authenticate) {
            greet(a_oClient);
        }
        return true;
    }

    static void authenticate(Client& a_oClient)
    {
        for (std::size_t iEnd = 0; (iEnd = a_oClient.m_sInput.find("\r\n")) != std::string::npos;) {
            const std::string sLine = a_oClient.m_sInput.substr(0, iEnd);
            a_oClient.m_sInput.erase(0, iEnd + 2);
            if (sLine.starts_with("BEGIN")) {
                a_oClient.m_bAuthenticated = true;
                return;
            }
            say(a_oClient, sLine.starts_with("NEGOTIATE") ? "AGREE_UNIX_FD\r\n"
                                                          : "OK 0123456789abcdef0123456789abcdef\r\n");
        }
    }

    /// Answers the first message, which is a greeting.
    static void greet(Client& a_oClient)
    {
        const int iNeeded = dbus_message_demarshal_bytes_needed(a_oClient.m_sInput.data(),
                                                                static_cast<int>(a_oClient.m_sInput.size()));
        if (iNeeded <= 0 || a_oClient.m_sInput.size() < static_cast<std::size_t>(iNeeded)) {
            return;
        }
        DBusMessage* const pHello = dbus_message_demarshal(a_oClient.m_sInput.data(), iNeeded, nullptr);
        a_oClient.m_sInput.clear();
        if (dbus_message_has_member(pHello, "Hello")) {
            DBusMessage* const pReply = dbus_message_new_method_return(pHello);
            const char* const pName = ":1.1";
            dbus_message_append_args(pReply, DBUS_TYPE_STRING, &pName, DBUS_TYPE_INVALID);
            dbus_message_set_serial(pReply, 1);
            char* pBytes = nullptr;
            int iSize = 0;
            dbus_message_marshal(pReply, &pBytes, &iSize);
            say(a_oClient, std::string(pBytes, static_cast<std::size_t>(iSize)));
            dbus_free(pBytes);
            dbus_message_unref(pReply);
            a_oClient.m_bRead = a_oClient.m_eUpTo != EUpTo::GreetAndStop;
        }
        dbus_message_unref(pHello);
    }

    static void say(const Client& a_oClient, const std::string& a_sText)
    {
        if (::send(a_oClient.m_oSocket.get(), a_sText.data(), a_sText.size(), MSG_NOSIGNAL) < 0) {
            return; // it has gone, which the next read finds
        }
    }

    const EUpTo m_eUpTo;
    const zel::UniqueFd m_oListener;
    zel::UniqueFd m_oFiller;
    std::array<int, 2> m_aStop{};
    std::atomic<unsigned> m_iConnections = 0;
    std::list<Client> m_lClients;
    std::thread m_oThread;
};

/// For the names of tests.
inline std::string nameOf(HostileBus::EUpTo a_eUpTo)
{
    constexpr std::array aNames{"Nothing", "Accept", "Authenticate", "GreetOnce", "Greet", "GreetAndStop"};
    return aNames.at(static_cast<std::size_t>(a_eUpTo));
}

inline void PrintTo(HostileBus::EUpTo a_eUpTo, std::ostream* a_pStream)
{
    *a_pStream << nameOf(a_eUpTo);
}

} // namespace tests

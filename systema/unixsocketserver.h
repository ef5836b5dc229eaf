// The listening Unix socket and what accepts its connections. Owned by main; main thread only.
#pragma once

#include "systema/eventdispatcher.h"
#include "zel/uniquefd.h"

#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>

namespace systema::net {

/// A listening stream socket with a name in the file system. Failures throw std::system_error.
class UnixSocketServer
{
public:
    UnixSocketServer();
    /// Closes the socket and removes its name.
    ~UnixSocketServer();
    UnixSocketServer(const UnixSocketServer&) = delete;
    UnixSocketServer& operator=(const UnixSocketServer&) = delete;

    /// Throws when the path is too long for a socket, with the limit.
    static void checkPath(const std::string& a_sPath);
    /// Binds to a name beside the path, with the mode whatever the umask. A socket that a dead process left
    /// at either name is removed; one that answers, or a file of another kind, is left alone and an error. In
    /// a directory where everybody may make files, what another user has put there gives way, whatever it is.
    void bind(const std::string& a_sPath, mode_t a_iMode);
    /// Listens, and then gives the socket the path: who finds it there can connect.
    void listen(int a_iBacklog);
    int getFd() const { return m_oSocket.get(); }
    /// True when it listened and its path is no longer its own: nothing is there, or something else.
    bool hasLostPath() const;
    /// Binds another socket to the path and listens, as at first. Returns the old one, which its clients may
    /// still be connected to; when it throws, nothing has changed.
    zel::UniqueFd makeAgain();

private:
    struct File
    {
        dev_t m_iDevice;
        ino_t m_iInode;
    };

    bool hasName(const std::string& a_sName) const;

    zel::UniqueFd m_oSocket;
    std::string m_sPath; // empty until bound
    std::string m_sName; // that it has: beside the path until it listens, then the path
    File m_oFile{};      // that has the name
    mode_t m_iMode = 0;
    int m_iBacklog = 0;
};

/// Takes over new connections.
class IConnectionSink
{
public:
    virtual ~IConnectionSink() = default;

    virtual void takeConnection(zel::UniqueFd a_oSocket) = 0;
};

/// Descriptors that connections leave for others: the databases' journals, the pipes of commands.
constexpr rlim_t c_iSpareDescriptors = 32;

/// Accepts connections and hands them to the sink. A socket whose name was removed, as by who cleans /tmp up,
/// is made again within seconds; the connections that exist go on. When the process or the system is out of
/// memory or of descriptors (but for the spare ones), accepting pauses and resumes by itself; the connections
/// that exist go on.
class UnixSocketAcceptor : public IEventHandler
{
public:
    UnixSocketAcceptor(UnixSocketServer& a_oServer, EventDispatcher& a_oEventDispatcher,
                       IConnectionSink& a_oSink);
    ~UnixSocketAcceptor() override;
    UnixSocketAcceptor(const UnixSocketAcceptor&) = delete;
    UnixSocketAcceptor& operator=(const UnixSocketAcceptor&) = delete;

    void handleEvent(int a_iFd) override;

private:
    bool hasSpareDescriptors() const;
    void checkName();
    void pause(int a_iError);
    void resume();

    const int m_iModule;
    UnixSocketServer& m_oServer;
    EventDispatcher& m_oEventDispatcher;
    IConnectionSink& m_oSink;
    std::optional<EventDispatcher::TimerId> m_oPause;
    std::optional<EventDispatcher::TimerId> m_oCheck;
    bool m_bRemovalLogged = false; // since the name was there
    bool m_bPauseLogged = false;   // since the last connection that could be accepted
};

} // namespace systema::net

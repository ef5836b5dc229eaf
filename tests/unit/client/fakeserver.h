// The server's end of a socket pair, with a thread that answers each request with what the test has laid out.
// Requests beyond the script are recorded and left without an answer.
#pragma once

#include "client/connection.h"
#include "systema/wire.h"
#include "zel/uniquefd.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace systema::client {

using wire::EKind;
using wire::EOperation;
using wire::Reader;
using wire::Writer;

struct Request
{
    EOperation m_eOperation;
    std::string m_sBody;
};

class FakeServer
{
public:
    using Body = std::function<void(Writer&)>;

    FakeServer()
    {
        int aPair[2] = {-1, -1};
        ::socketpair(AF_UNIX, SOCK_STREAM, 0, aPair);
        m_oOurs.reset(aPair[0]);
        m_oTheirs.reset(aPair[1]);
        m_oThread = std::thread([this] { serve(); });
    }
    ~FakeServer()
    {
        ::shutdown(m_oOurs.get(), SHUT_RDWR);
        m_oThread.join();
    }

    /// Connects, with an answer to the hello.
    Status accept(Connection& a_oConnection, std::uint16_t a_iVersion = wire::c_iVersion)
    {
        {
            const std::lock_guard oLock(m_oMutex);
            m_lScript.push_front({answer(EKind::Reply, 0, [=](Writer& a_oWriter) {
                a_oWriter.u16(a_iVersion);
                a_oWriter.text("2.13.0");
            })});
        }
        return attach(a_oConnection);
    }
    Status attach(Connection& a_oConnection) { return a_oConnection.attach(std::move(m_oTheirs)); }

    // What the next request is answered with: frames, up to the reply or the end of the connection.

    void part(const Body& a_oBody) { add(answer(EKind::Part, 0, a_oBody)); }
    void event(EOperation a_eOperation, const std::string& a_sText)
    {
        raw(bytes(EKind::Event, a_eOperation, 0, 0, [&](Writer& a_oWriter) { a_oWriter.text(a_sText); }));
    }
    void raw(const std::string& a_sBytes)
    {
        add([=](const wire::Header&) { return a_sBytes; });
    }
    void reply(std::uint16_t a_iCode = 0, const Body& a_oBody = {})
    {
        add(answer(EKind::Reply, a_iCode, a_oBody));
        endAnswer();
    }
    void hangUp()
    {
        add([this](const wire::Header&) {
            m_bHangUp = true;
            return std::string();
        });
        endAnswer();
    }

    /// Sends at once. False when nobody listens any more.
    bool send(std::string_view a_sBytes)
    {
        return ::send(m_oOurs.get(), a_sBytes.data(), a_sBytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(a_sBytes.size());
    }
    static std::string bytes(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId,
                             std::uint16_t a_iCode = 0, const Body& a_oBody = {})
    {
        std::string sBytes;
        Writer oWriter(sBytes);
        oWriter.begin(a_eKind, a_eOperation, a_iId, a_iCode);
        if (a_oBody) {
            a_oBody(oWriter);
        }
        oWriter.end();
        return sBytes;
    }

    /// The requests since the last call, without the hello. Those that were answered are surely among them.
    std::vector<Request> requests()
    {
        const std::lock_guard oLock(m_oMutex);
        return std::exchange(m_lRequests, {});
    }
    std::vector<EOperation> operations()
    {
        std::vector<EOperation> lOperations;
        for (const Request& oRequest : requests()) {
            lOperations.push_back(oRequest.m_eOperation);
        }
        return lOperations;
    }

private:
    using MakeFrame = std::function<std::string(const wire::Header& a_oRequest)>;
    using Answer = std::vector<MakeFrame>;

    static MakeFrame answer(EKind a_eKind, std::uint16_t a_iCode, const Body& a_oBody)
    {
        return [=](const wire::Header& a_oRequest) {
            return bytes(a_eKind, a_oRequest.m_eOperation, a_oRequest.m_iId, a_iCode, a_oBody);
        };
    }
    void add(MakeFrame a_oFrame) { m_oAnswer.push_back(std::move(a_oFrame)); }
    void endAnswer()
    {
        const std::lock_guard oLock(m_oMutex);
        m_lScript.push_back(std::exchange(m_oAnswer, {}));
    }

    bool receive(std::string& a_sBytes)
    {
        return a_sBytes.empty() || // recv would wait for a byte
               ::recv(m_oOurs.get(), a_sBytes.data(), a_sBytes.size(), MSG_WAITALL) ==
                   static_cast<ssize_t>(a_sBytes.size());
    }
    void serve()
    {
        std::string sHeader(wire::c_iHeaderSize, '\0');
        while (!m_bHangUp && receive(sHeader)) {
            const wire::Header oHeader = *wire::readHeader(sHeader);
            std::string sBody(oHeader.bodySize(), '\0');
            receive(sBody);
            serveRequest(oHeader, std::move(sBody));
        }
        ::shutdown(m_oOurs.get(), SHUT_RDWR);
    }
    void serveRequest(const wire::Header& a_oHeader, std::string a_sBody)
    {
        Answer oAnswer;
        {
            const std::lock_guard oLock(m_oMutex);
            if (a_oHeader.m_eOperation != EOperation::Hello) {
                m_lRequests.push_back({a_oHeader.m_eOperation, std::move(a_sBody)});
            }
            if (!m_lScript.empty()) {
                oAnswer = std::move(m_lScript.front());
                m_lScript.pop_front();
            }
        }
        std::string sBytes;
        for (const MakeFrame& oFrame : oAnswer) {
            sBytes += oFrame(a_oHeader);
        }
        send(sBytes);
    }

    zel::UniqueFd m_oOurs;
    zel::UniqueFd m_oTheirs;
    bool m_bHangUp = false; // set and read by the thread
    Answer m_oAnswer;       // being laid out
    std::mutex m_oMutex;    // guards what follows
    std::deque<Answer> m_lScript;
    std::vector<Request> m_lRequests;
    std::thread m_oThread;
};

} // namespace systema::client

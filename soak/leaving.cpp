#include "soak/leaving.h"

#include "bench/unixaddress.h"
#include "soak/tables.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/socket.h>

namespace soak {

namespace {

using namespace std::chrono_literals;
using systema::client::ResultOf;
namespace wire = systema::wire;

constexpr auto c_oCloseTimeout = 30s;
constexpr std::size_t c_iUnreadRequests = 30;
constexpr std::uint32_t c_iBeginMs = 3000;

/// True once there is something to read, or the connection is closed; false after that time.
bool waitForInput(int a_iSocket, std::chrono::milliseconds a_oTime)
{
    pollfd oPoll{a_iSocket, POLLIN, 0};
    return ::poll(&oPoll, 1, static_cast<int>(a_oTime.count())) > 0;
}

/// Sends a request, as far as the socket takes it, and does not wait for the answer.
template<typename Request>
void sendOnly(Session& a_oSession, const Request& a_oRequest)
{
    auto oStatus = a_oSession.connection().submit(a_oRequest, [](const ResultOf<Request>&) {});
    if (oStatus.ok()) {
        oStatus = a_oSession.connection().processWritable();
    }
    a_oSession.count("request sent, answer not awaited", oStatus, c_iOk);
}

void sendRaw(Session& a_oSession, std::string_view a_sBytes)
{
    // A socket that is full, or closed by the daemon already, is as good.
    [[maybe_unused]] const auto iSent = ::send(a_oSession.connection().descriptor(), a_sBytes.data(),
                                               a_sBytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

/// Reads what still comes until the daemon has closed the connection, which it must, or the run is over. What
/// the daemon said last counts.
void awaitClose(Session& a_oSession, int a_iSocket, Codes a_iAllowed, const char* a_pKind)
{
    const auto oEnd = Clock::now() + c_oCloseTimeout;
    std::string sInput;
    std::array<char, 4096> aBuffer;
    for (ssize_t iRead = 1; iRead > 0;) {
        if (waitForInput(a_iSocket, c_oSlice)) {
            iRead = ::recv(a_iSocket, aBuffer.data(), aBuffer.size(), 0);
            sInput.append(aBuffer.data(), static_cast<std::size_t>(std::max<ssize_t>(iRead, 0)));
        } else if (a_oSession.world().isOver()) {
            return;
        } else if (Clock::now() >= oEnd) {
            a_oSession.fault(a_pKind + std::string(": the connection is not closed"));
            return;
        }
    }
    Status oLast;
    std::string_view sRest = sInput;
    while (const auto oHeader = wire::readHeader(sRest)) {
        if (oHeader->m_eKind == wire::EKind::Reply) {
            oLast = Status::refused(oHeader->m_iCode);
        }
        sRest.remove_prefix(std::min(sRest.size(), oHeader->frameSize()));
    }
    a_oSession.count(a_pKind, oLast, a_iAllowed);
}

void withNothingOpen(Session& a_oSession)
{
    a_oSession.count("disconnect with nothing open");
}

void inRequest(Session& a_oSession)
{
    std::string sFrame;
    wire::Writer oWriter(sFrame);
    oWriter.begin(wire::EKind::Request, wire::EOperation::DeleteAll, 1);
    request::write(oWriter, request::DeleteAll{"NtpServer"});
    oWriter.end();
    sendRaw(a_oSession, std::string_view(sFrame).substr(0, 1 + a_oSession.random().below(sFrame.size() - 1)));
    a_oSession.world().pause(20ms);
    a_oSession.count("disconnect in a request");
}

void beforeAnswer(Session& a_oSession)
{
    sendOnly(a_oSession, request::DeleteRow{c_pCommonTable, 0});
    a_oSession.count("disconnect before the answer");
}

void inBulkRead(Session& a_oSession)
{
    sendOnly(a_oSession, request::SelectRows{c_pLargeTable});
    waitForInput(a_oSession.connection().descriptor(), c_oSlice);
    a_oSession.count("disconnect in a bulk read");
}

void whileQueued(Session& a_oSession)
{
    a_oSession.unsubscribe(); // what comes is the answer
    sendOnly(a_oSession, request::Begin{c_iBeginMs});
    a_oSession.count(waitForInput(a_oSession.connection().descriptor(), 30ms)
                         ? "disconnect right after a begin"
                         : "disconnect while queued for a transaction");
}

void whileSubscribed(Session& a_oSession)
{
    a_oSession.subscribe(systema::NameList{"NtpServer", "CallBlock", "DhcpLeases", "NetifCounter"}, true);
    a_oSession.world().pause(a_oSession.random().pause(1s)); // in which it does not read
    a_oSession.count("disconnect while subscribed");
}

void withOutputUnread(Session& a_oSession)
{
    for (std::size_t i = 0; i < c_iUnreadRequests; ++i) {
        sendOnly(a_oSession, request::SelectRows{c_pLargeTable});
    }
    a_oSession.world().pause(a_oSession.random().pause(1s));
    a_oSession.count("disconnect with unread output");
}

void byMistake(Session& a_oSession)
{
    std::string sBytes("\x02\0\0\0", 4); // an impossible length
    while (sBytes.size() < wire::c_iHeaderSize) {
        sBytes += static_cast<char>(a_oSession.random().below(2));
    }
    sendRaw(a_oSession, sBytes);
    awaitClose(a_oSession, a_oSession.connection().descriptor(), oneOf(EResultCode::Protocol),
               "disconnect for a protocol error");
}

void withoutHello(Session& a_oSession)
{
    a_oSession.connection().close();
    const bench::UnixAddress oAddress(a_oSession.world().m_sSocket);
    const zel::UniqueFd oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(oSocket.get(), oAddress.get(), bench::UnixAddress::size()) == 0) {
        awaitClose(a_oSession, oSocket.get(), c_iOk, "disconnect without hello");
    }
}

constexpr std::array c_aWays = {
    &withNothingOpen, &inRequest,        &beforeAnswer, &inBulkRead,   &whileQueued,
    &whileSubscribed, &withOutputUnread, &byMistake,    &withoutHello,
};

} // namespace

void leave(Session& a_oSession, std::size_t a_iTurn)
{
    a_oSession.random().pick(c_aWays, a_iTurn)(a_oSession);
    a_oSession.connection().close();
}

} // namespace soak

#include "soak/attacker.h"

#include "bench/unixaddress.h"
#include "client/request.h"
#include "systema/refusal.h"
#include "zel/fifo.h"
#include "zel/systempath.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace soak {

namespace {

namespace wire = systema::wire;
using systema::EResultCode;
using wire::EKind;
using wire::EOperation;

constexpr std::size_t c_iMostRequests = 200; // in a conversation
constexpr std::size_t c_iMostInFlight = 40;
constexpr std::size_t c_iUnreadRequests = 100;
constexpr std::size_t c_iCrowd = 100;
constexpr std::chrono::milliseconds c_oLongestSilence{500};

std::string kindOf(const OddRequest& a_oRequest)
{
    return "request " + std::to_string(static_cast<unsigned>(a_oRequest.m_eOperation)) +
           (a_oRequest.m_sTable.empty() ? "" : " of " + a_oRequest.m_sTable);
}

} // namespace

void Attacker::run()
{
    static constexpr std::pair<std::size_t, void (Attacker::*)()> c_aWays[] = {
        {30, &Attacker::converse},    {10, &Attacker::sendDamagedFrame}, {4, &Attacker::sendNoise},
        {4, &Attacker::leaveInFrame}, {2, &Attacker::readNothing},       {1, &Attacker::crowd},
        {2, &Attacker::writeToFifo},
    };
    while (!m_oWorld.isOver()) {
        m_sInput.clear();
        m_lPending.clear();
        m_bDamaged = false;
        m_bExplains = false;
        if (!connect()) {
            return;
        }
        (this->*m_oRequests.random().pickByWeight(c_aWays).second)();
        m_oSocket.reset();
    }
}

void Attacker::converse()
{
    if (!greet()) {
        return;
    }
    bool bGoesOn = true;
    for (std::size_t iLeft = m_oRequests.random().below(c_iMostRequests); bGoesOn && iLeft > 0;) {
        const std::size_t iNow = std::min(iLeft, 1 + m_oRequests.random().below(c_iMostInFlight));
        for (std::size_t i = 0; i < iNow; ++i) {
            request();
        }
        iLeft -= iNow;
        bGoesOn = readAnswers();
    }
    m_oWorld.m_oTally.count("conversation");
}

void Attacker::sendDamagedFrame()
{
    if (greet()) {
        request();
        m_bDamaged = true;
        const std::string sFrame = m_oRequests.makeDamaged(++m_iId);
        send(sFrame);
        ::shutdown(m_oSocket.get(), SHUT_WR); // the daemon may wait for the rest of a frame
        while (read()) {
        }
        m_oWorld.m_oTally.count("damaged frame");
    }
}

void Attacker::sendNoise()
{
    m_bDamaged = true;
    const std::string sNoise = m_oRequests.makeNoise();
    send(sNoise);
    ::shutdown(m_oSocket.get(), SHUT_WR);
    while (read()) {
    }
    m_oWorld.m_oTally.count("noise");
}

void Attacker::leaveInFrame()
{
    if (greet()) {
        const std::string sFrame = m_oRequests.make(++m_iId).m_sFrame;
        send(std::string_view(sFrame).substr(0, m_oRequests.random().below(sFrame.size())));
        m_oWorld.m_oTally.count("leave in a frame");
    }
}

void Attacker::readNothing()
{
    if (greet()) {
        for (std::size_t i = 0; i < c_iUnreadRequests; ++i) {
            const std::string sFrame = m_oRequests.make(++m_iId).m_sFrame;
            if (::send(m_oSocket.get(), sFrame.data(), sFrame.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
                break;
            }
        }
        m_oWorld.pause(m_oRequests.random().pause(c_oLongestSilence));
        m_oWorld.m_oTally.count("leave without reading");
    }
}

void Attacker::crowd()
{
    std::vector<zel::UniqueFd> lSockets;
    for (std::size_t i = 0; i < c_iCrowd && connect(); ++i) {
        lSockets.push_back(std::move(m_oSocket));
    }
    m_oWorld.m_oTally.count("crowd of silent connections");
}

void Attacker::writeToFifo()
{
    static constexpr std::string_view c_aBegins[] = {"", "dump -", "waittime ", "persistmode ", "trigger"};
    const auto oFifo =
        zel::sys::openFifo(zel::systemPath("/tmp/ledgerd.fifo"), O_WRONLY | O_NONBLOCK); // it may be full
    const std::string sCommand = std::string(m_oRequests.random().pick(c_aBegins)) + m_oRequests.makeNoise();
    [[maybe_unused]] const auto iWritten = ::write(oFifo.get(), sCommand.data(), sCommand.size());
    m_oWorld.m_oTally.count("noise in the FIFO");
}

bool Attacker::connect()
{
    const bench::UnixAddress oAddress(m_oWorld.m_sSocket);
    m_oSocket.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    while (::connect(m_oSocket.get(), oAddress.get(), bench::UnixAddress::size()) != 0) {
        if (errno != EINTR) {
            fault(std::string("cannot connect: ") + std::strerror(errno));
            return false;
        }
    }
    return true;
}

bool Attacker::greet()
{
    std::string sFrame;
    wire::Writer oWriter(sFrame);
    oWriter.begin(EKind::Request, EOperation::Hello, ++m_iId);
    request::write(oWriter, request::Hello{"storm"});
    oWriter.end();
    send(sFrame);
    m_lPending.push_back({m_iId, {EOperation::Hello, {}, {}, [](std::string_view) { return true; }}});
    return readAnswers();
}

void Attacker::request()
{
    OddRequest oRequest = m_oRequests.make(++m_iId);
    const std::string sFrame = std::exchange(oRequest.m_sFrame, {});
    send(sFrame);
    if (oRequest.m_eOperation == EOperation::Hello) {
        // A second one ends the connection, unless its text is refused before that.
        m_bDamaged = true;
        ::shutdown(m_oSocket.get(), SHUT_WR);
    }
    m_lPending.push_back({m_iId, std::move(oRequest)});
}

void Attacker::send(std::string_view a_sBytes)
{
    while (!a_sBytes.empty() && !m_oWorld.isOver()) {
        const ssize_t iSent =
            // cppcheck-suppress invalidLifetime ; the caller holds the text
            ::send(m_oSocket.get(), a_sBytes.data(), a_sBytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (iSent >= 0) {
            a_sBytes.remove_prefix(static_cast<std::size_t>(iSent));
        } else if (errno != EAGAIN || !wait(POLLIN | POLLOUT) || (isReadable() && !read())) {
            return; // closed; what is pending tells whether it should have been
        }
    }
}

bool Attacker::readAnswers()
{
    while (!m_lPending.empty()) {
        if (!read()) {
            return false;
        }
    }
    return true;
}

bool Attacker::isReadable() const
{
    pollfd oPoll{m_oSocket.get(), POLLIN, 0};
    return ::poll(&oPoll, 1, 0) > 0;
}

/// Waits for one of the events. False when the run is over, or after too long a time, which is a fault.
bool Attacker::wait(short a_iEvents)
{
    const auto oEnd = Clock::now() + c_oAnswerTimeout;
    pollfd oPoll{m_oSocket.get(), a_iEvents, 0};
    while (::poll(&oPoll, 1, static_cast<int>(c_oSlice.count())) <= 0) {
        if (m_oWorld.isOver()) {
            return false;
        }
        if (Clock::now() >= oEnd) {
            const bool bAsked = !m_lPending.empty();
            fault("no answer to " + (bAsked ? kindOf(m_lPending.front().m_oRequest) : "nothing"));
            return false;
        }
    }
    return true;
}

bool Attacker::read()
{
    if (!wait(POLLIN)) {
        return false;
    }
    std::array<char, 65536> aBuffer;
    const ssize_t iRead = ::recv(m_oSocket.get(), aBuffer.data(), aBuffer.size(), 0);
    if (iRead <= 0) {
        if (!m_bDamaged && !m_oWorld.isOver()) {
            fault("the daemon closes a connection that is at no fault");
        }
        return false;
    }
    m_sInput.append(aBuffer.data(), static_cast<std::size_t>(iRead));
    std::string_view sRest = m_sInput;
    for (auto oHeader = wire::readHeader(sRest); oHeader; oHeader = wire::readHeader(sRest)) {
        if (!oHeader->isPossible()) {
            fault("an impossible frame");
            return false;
        }
        if (sRest.size() < oHeader->frameSize()) {
            break;
        }
        take(*oHeader, sRest.substr(wire::c_iHeaderSize, oHeader->bodySize()));
        sRest.remove_prefix(oHeader->frameSize());
    }
    m_sInput.erase(0, m_sInput.size() - sRest.size());
    return true;
}

void Attacker::take(const wire::Header& a_oHeader, std::string_view a_sBody)
{
    if (a_oHeader.m_eKind == EKind::Event) {
        const bool bKnown = a_oHeader.m_eOperation == EOperation::TableChanged ||
                            a_oHeader.m_eOperation == EOperation::TransactionLost;
        wire::Reader oReader(a_sBody);
        oReader.text();
        if (!bKnown || !oReader.complete()) {
            fault("a malformed event");
        }
        return;
    }
    if (m_bDamaged) {
        return;
    }
    if (m_lPending.empty() || m_lPending.front().m_iId != a_oHeader.m_iId ||
        m_lPending.front().m_oRequest.m_eOperation != a_oHeader.m_eOperation) {
        fault("an answer to what was not asked");
        m_bDamaged = true; // nothing that follows can be judged
        return;
    }
    const OddRequest& oRequest = m_lPending.front().m_oRequest;
    const std::string sKind = "request " + std::to_string(static_cast<unsigned>(oRequest.m_eOperation));
    const bool bSuccess = a_oHeader.m_iCode == EResultCode::Success;
    if (bSuccess ? !oRequest.m_oRead(a_sBody) : !mayRefuseWith(a_sBody)) {
        fault(kindOf(oRequest) + ": a malformed answer");
    }
    m_bExplains = m_bExplains || (bSuccess && oRequest.m_eOperation == EOperation::Explain);
    if (a_oHeader.m_eKind == EKind::Reply) {
        constexpr Codes c_iAny = (1U << (EResultCode::NoRow + 1U)) - 1;
        m_oWorld.m_oTally.count(sKind, Status::refused(a_oHeader.m_iCode), c_iAny, sKind);
        m_lPending.pop_front();
    }
}

bool Attacker::mayRefuseWith(std::string_view a_sBody) const
{
    if (a_sBody.empty() || !m_bExplains) {
        return a_sBody.empty();
    }
    wire::Reader oReader(a_sBody);
    const std::string_view sReason = oReader.text();
    return oReader.complete() && !sReason.empty() && sReason.size() <= systema::c_iReasonLimit;
}

void Attacker::fault(const std::string& a_sWhat)
{
    m_oWorld.m_oTally.fault(a_sWhat);
}

} // namespace soak

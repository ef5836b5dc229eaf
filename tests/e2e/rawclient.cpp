#include "tests/e2e/rawclient.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace e2e {

using systema::wire::c_iHeaderSize;

void PrintTo(const Frame& a_oFrame, std::ostream* a_pStream)
{
    *a_pStream << "kind " << int(a_oFrame.m_eKind) << ", operation " << int(a_oFrame.m_eOperation)
               << ", code " << a_oFrame.m_iCode << ", id " << a_oFrame.m_iId << ", body "
               << testing::PrintToString(a_oFrame.m_sBody);
}

std::string makeFrame(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId, std::string_view a_sBody)
{
    std::string sFrame;
    systema::wire::Writer oWriter(sFrame);
    oWriter.begin(a_eKind, a_eOperation, a_iId);
    sFrame += a_sBody;
    oWriter.end();
    return sFrame;
}

std::string repeat(std::string_view a_sText, std::size_t a_iTimes)
{
    std::string sAll;
    for (; a_iTimes > 0; --a_iTimes) {
        sAll += a_sText;
    }
    return sAll;
}

RawClient::RawClient(const std::string& a_sSocket, EHello a_eHello)
    : m_oSocket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    a_sSocket.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
    EXPECT_EQ(0, ::connect(descriptor(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress))
        << a_sSocket << ": errno " << errno;
    if (a_eHello == EHello::Said) {
        EXPECT_EQ(0U, ask(request::Hello{"e2e"}));
    }
}

void RawClient::send(std::string_view a_sBytes)
{
    while (!a_sBytes.empty()) {
        const std::size_t iSent = sendSome(a_sBytes);
        a_sBytes.remove_prefix(iSent);
        pollfd oPoll{descriptor(), POLLOUT, 0};
        if (iSent == 0 &&
            (errno != EAGAIN || ::poll(&oPoll, 1, std::chrono::milliseconds(c_oDeadline).count()) <= 0)) {
            return;
        }
    }
}

std::size_t RawClient::sendSome(std::string_view a_sBytes)
{
    std::size_t iAll = 0;
    ssize_t iSent = 0;
    while (iAll < a_sBytes.size() &&
           (iSent = ::send(descriptor(), a_sBytes.data() + iAll, a_sBytes.size() - iAll,
                           MSG_DONTWAIT | MSG_NOSIGNAL)) > 0) {
        iAll += static_cast<std::size_t>(iSent);
    }
    return iAll;
}

void RawClient::finish()
{
    ::shutdown(descriptor(), SHUT_WR);
}

bool RawClient::hasInput() const
{
    pollfd oPoll{descriptor(), POLLIN, 0};
    return !m_sInput.empty() || ::poll(&oPoll, 1, 0) > 0;
}

bool RawClient::hasEnded() const
{
    pollfd oPoll{descriptor(), 0, 0};
    return ::poll(&oPoll, 1, 0) > 0;
}

bool RawClient::fill(std::size_t a_iSize)
{
    std::array<char, 64 * 1024> aBuffer;
    while (m_sInput.size() < a_iSize) {
        pollfd oPoll{descriptor(), POLLIN, 0};
        if (::poll(&oPoll, 1, std::chrono::milliseconds(c_oDeadline).count()) <= 0) {
            ADD_FAILURE() << "the daemon neither answers nor closes the connection";
            return false;
        }
        const ssize_t iRead = ::recv(descriptor(), aBuffer.data(), aBuffer.size(), 0);
        if (iRead <= 0) { // an error, too, is a connection that was closed
            EXPECT_TRUE(m_sInput.empty()) << "the connection ends within a frame";
            return false;
        }
        m_sInput.append(aBuffer.data(), static_cast<std::size_t>(iRead));
    }
    return true;
}

std::optional<Frame> RawClient::receive()
{
    if (!fill(c_iHeaderSize)) {
        return {};
    }
    const auto oHeader = systema::wire::readHeader(m_sInput);
    if (!oHeader->isPossible()) {
        ADD_FAILURE() << "a frame of length " << oHeader->m_iLength;
        return {};
    }
    if (!fill(oHeader->frameSize())) {
        return {};
    }
    Frame oFrame{oHeader->m_eKind, oHeader->m_eOperation, oHeader->m_iCode, oHeader->m_iId,
                 m_sInput.substr(c_iHeaderSize, oHeader->bodySize())};
    m_sInput.erase(0, oHeader->frameSize());
    return oFrame;
}

std::optional<unsigned> RawClient::receiveLast()
{
    auto oFrame = receive();
    while (oFrame && oFrame->m_eKind == EKind::Part) {
        oFrame = receive();
    }
    return oFrame ? std::optional(oFrame->m_iCode) : std::nullopt;
}

std::optional<unsigned> RawClient::receiveCode(std::uint32_t a_iId)
{
    const auto oFrame = receive();
    if (!oFrame) {
        return {};
    }
    EXPECT_EQ(EKind::Reply, oFrame->m_eKind);
    EXPECT_EQ(a_iId, oFrame->m_iId);
    return oFrame->m_iCode;
}

std::vector<unsigned> RawClient::receiveCodes(std::uint32_t a_iLastId)
{
    std::vector<unsigned> lCodes;
    std::optional<unsigned> oCode;
    while (lCodes.size() < a_iLastId &&
           (oCode = receiveCode(static_cast<std::uint32_t>(lCodes.size()) + 1))) {
        lCodes.push_back(*oCode);
    }
    EXPECT_EQ(a_iLastId, lCodes.size());
    return lCodes;
}

} // namespace e2e

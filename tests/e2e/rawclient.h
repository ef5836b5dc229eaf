// A client that sends whatever bytes a test wants, and reads frames. Owned by the test; never waits longer
// than the deadline, after which the test fails.
#pragma once

#include "client/request.h"
#include "systema/wire.h"
#include "tests/e2e/process.h"
#include "zel/uniquefd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace e2e {

namespace request = systema::client::request;
using systema::wire::EKind;
using systema::wire::EOperation;

struct Frame
{
    EKind m_eKind{};
    EOperation m_eOperation{};
    unsigned m_iCode = 0;
    std::uint32_t m_iId = 0;
    std::string m_sBody;

    bool operator==(const Frame&) const = default;
};

// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Frame& a_oFrame, std::ostream* a_pStream);

/// A whole frame with the body given.
std::string makeFrame(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId, std::string_view a_sBody);

/// A request as a whole frame.
template<typename Request>
std::string frameOf(const Request& a_oRequest, std::uint32_t a_iId = 1)
{
    std::string sFrame;
    systema::wire::Writer oWriter(sFrame);
    oWriter.begin(EKind::Request, Request::c_eOperation, a_iId);
    request::write(oWriter, a_oRequest);
    oWriter.end();
    return sFrame;
}

std::string repeat(std::string_view a_sText, std::size_t a_iTimes);

class RawClient
{
public:
    enum class EHello
    {
        Said,
        NotYet
    };

    explicit RawClient(const std::string& a_sSocket, EHello a_eHello = EHello::Said);

    int descriptor() const { return m_oSocket.get(); }

    /// Sends all of it; what the daemon no longer takes is lost.
    void send(std::string_view a_sBytes);
    /// Sends what the socket takes at once, and gives how much that was.
    std::size_t sendSome(std::string_view a_sBytes);
    /// Nothing more will be sent.
    void finish();
    void close() { m_oSocket.reset(); }

    /// The next frame; nothing when the daemon has closed the connection.
    std::optional<Frame> receive();
    /// True when a frame, or the end, is there already.
    bool hasInput() const;
    /// True when the daemon has closed the connection, whatever is still to be read.
    bool hasEnded() const;
    /// The code of the next frame, which must be the reply to the request.
    std::optional<unsigned> receiveCode(std::uint32_t a_iId = 1);
    /// The codes of the next replies, which must have the ids from 1 to this.
    std::vector<unsigned> receiveCodes(std::uint32_t a_iLastId);
    /// The code of the reply behind all parts of an answer; nothing when the daemon has closed the
    /// connection.
    std::optional<unsigned> receiveLast();
    /// True when the daemon closes without another word.
    bool isClosed() { return !receive(); }

    template<typename Request>
    std::optional<unsigned> ask(const Request& a_oRequest)
    {
        send(frameOf(a_oRequest, ++m_iLastId));
        return receiveCode(m_iLastId);
    }

private:
    bool fill(std::size_t a_iSize);

    zel::UniqueFd m_oSocket;
    std::string m_sInput;
    std::uint32_t m_iLastId = 1000000; // far from the ids that tests choose
};

} // namespace e2e

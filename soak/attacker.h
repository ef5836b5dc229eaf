// A client that means no good: it talks in every wrong way, and checks that whatever the daemon answers keeps
// to the protocol. One thread each; what the daemon does wrong is a fault of the run.
#pragma once

#include "soak/oddrequests.h"
#include "soak/world.h"
#include "zel/uniquefd.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

class Attacker
{
public:
    /// Both must outlive it.
    Attacker(World& a_oWorld, const std::vector<Table>& a_lTables, Random a_oRandom)
        : m_oWorld(a_oWorld),
          m_oRequests(a_lTables, a_oRandom)
    {
    }

    /// Attacks until the run is over.
    void run();

private:
    /// What the daemon has not answered yet.
    struct Pending
    {
        std::uint32_t m_iId;
        OddRequest m_oRequest;
    };

    void converse();
    void sendDamagedFrame();
    void sendNoise();
    void leaveInFrame();
    void readNothing();
    void crowd();
    void writeToFifo();

    bool connect();
    bool greet();
    void send(std::string_view a_sBytes);
    void request();
    /// Reads until nothing is pending; false once the daemon has closed the connection, or the run is over.
    bool readAnswers();
    bool isReadable() const;
    bool wait(short a_iEvents);
    bool read();
    /// A refusal has no body, or the reason once that was asked for.
    bool mayRefuseWith(std::string_view a_sBody) const;
    void take(const systema::wire::Header& a_oHeader, std::string_view a_sBody);
    void fault(const std::string& a_sWhat);

    World& m_oWorld;
    OddRequests m_oRequests;
    zel::UniqueFd m_oSocket;
    std::string m_sInput;
    std::deque<Pending> m_lPending;
    std::uint32_t m_iId = 0;
    bool m_bExplains = false; // reasons are told
    bool m_bDamaged = false;  // a damaged frame was sent: any answer may come, and the end
};

} // namespace soak

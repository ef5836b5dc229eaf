// The base of tests that talk to a running ledgerd: a sandbox, the daemon in it, and clients.
//
// A test starts the daemon once its files are as it wants them. Whatever the test does, the daemon is
// stopped at its end and must then end with status 0.
#pragma once

#include "client/connection.h"
#include "client/transaction.h"
#include "tests/e2e/process.h"
#include "tests/e2e/rawclient.h"
#include "tests/e2e/sandbox.h"
#include "tests/row.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace e2e {

using namespace std::chrono_literals;
using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using systema::client::Transaction;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using tests::row;

/// A connection that is there, or the test has failed.
class Client : public systema::client::Connection
{
public:
    explicit Client(const std::string& a_sSocket);

    /// The result code of a request.
    template<typename Request>
    unsigned code(const Request& a_oRequest)
    {
        const systema::client::Status oStatus = call(a_oRequest);
        EXPECT_FALSE(oStatus.isConnectionError()) << oStatus.text();
        return oStatus.code();
    }

    /// The result codes of requests, one after the other.
    template<typename... Requests>
    std::vector<unsigned> codes(const Requests&... a_lRequests)
    {
        return {code(a_lRequests)...};
    }

    /// A number of the server's information.
    unsigned info(const std::string& a_sName);
    /// The number of a table's rows.
    unsigned count(const std::string& a_sTable);
    /// The cell of the row with the Id, as a person would write it.
    std::string cell(const std::string& a_sTable, int a_iId, const std::string& a_sColumn);
    /// A table's rows in order of position, each as its cells with blanks between them.
    std::vector<std::string> rows(const std::string& a_sTable, const NameList& a_lColumns = {});
    /// Waits until so many tables are told as changed, and gives them with any more that come along.
    std::set<std::string> awaitChanges(std::size_t a_iCount);
    /// The tables told as changed so far, in order of name.
    std::vector<std::string> changes();
};

class DaemonTest : public testing::Test
{
protected:
    /// The program is a daemon of ours, on whichever device.
    explicit DaemonTest(std::string a_sProgram = LEDGERD_BINARY);
    void TearDown() override;

    /// Starts the daemon with its paths in the sandbox, waits until it answers and connects the client.
    void start(std::vector<std::string> a_lMoreOptions = {}, std::function<void()> a_oInChild = {});
    /// The options that put every path into the sandbox, and more.
    std::vector<std::string> paths(const std::vector<std::string>& a_lMore = {}) const;
    /// Starts another process of the daemon's program, and waits for its end.
    Finished runDaemon(std::vector<std::string> a_lOptions) const;
    /// Stops the daemon and expects that it ends as it should.
    void stop();

    const std::string& socket() const { return m_sSocket; }
    Client& client() { return *m_pClient; }
    Process& daemon() { return *m_pDaemon; }
    /// The text that setNote writes.
    std::string note() { return client().cell("Item", 1, "Note"); }
    /// Runs ledgerctl with this daemon.
    Finished ledgerctl(std::vector<std::string> a_lArguments, std::string a_sInput = {}) const;
    /// All rows of all stored tables, as text.
    std::string exported() const;

    /// A writer's end of the daemon's FIFO; none when nobody reads it.
    zel::UniqueFd openFifo() const;
    /// Writes a command to the FIFO and returns when it has taken effect.
    void command(const std::string& a_sCommand);

    /// What the daemon logs while the function runs, without times and line numbers: "error Module text".
    std::vector<std::string> logOf(const std::function<void()>& a_oFunction);
    /// The resident memory of the daemon, in KiB.
    std::size_t memory() const { return std::stoul(status("VmRSS")); }
    /// A line of the daemon's status in /proc.
    std::string status(const std::string& a_sName) const;
    /// True when the daemon has nothing to do.
    bool isWaiting() const { return status("State").starts_with("S"); }
    /// A file of the sandbox as the daemon sees it.
    std::string seenByDaemon(const std::string& a_sBelow) const;

    const Sandbox m_oSandbox;

private:
    const std::string m_sProgram;
    const std::string m_sSocket;
    std::unique_ptr<Process> m_pDaemon;
    std::unique_ptr<Client> m_pClient;
};

/// The same, with the daemon running when a test begins.
class RunningDaemonTest : public DaemonTest
{
protected:
    void SetUp() override { start(); }
};

/// Mounts a disk of the size at the place, seen by this process and its children alone.
bool mountSmallDisk(const std::string& a_sPlace, const std::string& a_sSize = "4m");
/// The write that most tests make.
inline request::UpdateKey setNote(const std::string& a_sNote)
{
    return {"Item", "Id", "1", row({{"Note", a_sNote.c_str()}})};
}

inline Value null()
{
    return Value(EDataType::Null);
}

} // namespace e2e

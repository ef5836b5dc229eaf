// The operations of one client: reads a request's arguments, calls the dispatcher, writes the reply's body.
//
// Owned by the client's session; main thread only. Knows nothing of sockets and frames: what an operation
// needs beyond its reply, the answer asks of the session. A request that cannot be understood is answered
// with the reason, one that throws is logged and fails.
#pragma once

#include "systema/configpublisher.h"
#include "systema/rowsource.h"
#include "systema/wire.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace systema {
class ConfigDispatcher;
}

namespace zel::cfg {

class ConfigServiceManager;

constexpr std::size_t c_iNamesLimit = 1000;     // names in one list of a request
constexpr std::size_t c_iProgramNameLimit = 64; // bytes kept of the name that a client gives itself

using TableSet = std::set<std::string, std::less<>>;

/// How the session is to answer a request; at most one of the last three is set.
struct Answer
{
    systema::EResultCode m_eResult = systema::EResultCode::Failure; // any but 0: the reply is this code alone
    const char* m_pMalformed = nullptr;                    // refused, with the connection: the reason
    std::string m_sReason = {};                            // of a refusal, for the client
    std::unique_ptr<systema::IRowCursor> m_pRows = {};     // the reply is these rows
    std::optional<std::chrono::milliseconds> m_oWait = {}; // the reply waits, so long, for a transaction
};

class RequestHandler
{
public:
    /// The handle is the dispatcher's name for the client. The changes are the tables to tell the client of,
    /// besides those that the subscriber is notified of. All must live as long as this object.
    RequestHandler(ConfigServiceManager& a_oManager, const void* a_pHandle,
                   systema::IConfigSubscriber& a_oSubscriber, TableSet& a_lChanges);

    /// Serves one request. Unless the answer is a plain 0, what was written to the reply is to be discarded.
    Answer handle(systema::wire::EOperation a_eOperation, systema::wire::Reader& a_oRequest,
                  systema::wire::Writer& a_oReply);

    /// The client has said hello.
    bool isGreeted() const { return m_bGreeted; }
    /// As the client named itself.
    const std::string& getProgram() const { return m_sProgram; }

private:
    using EResultCode = systema::EResultCode;
    using Reader = systema::wire::Reader;
    using Writer = systema::wire::Writer;
    using Handler = EResultCode (RequestHandler::*)(Reader&, Writer&);
    static Handler findHandler(systema::wire::EOperation a_eOperation);

    EResultCode call(systema::wire::EOperation a_eOperation, Reader& a_oRequest, Writer& a_oReply);
    /// Refuses the request and the connection for the reason. Always 5.
    EResultCode malformed(const char* a_pWhat);
    /// Calls the function if the request was read to its end and is as it should be. Its code, or 5 when the
    /// request is malformed, 7 when a text holds a NUL byte.
    template<typename Function>
    EResultCode whenComplete(const Reader& a_oRequest, Function a_oFunction);

    // The operations that are the dispatcher's: the request holds the arguments in their order, the reply
    // what the operation gives.
    template<typename... Parameters>
    using Operation = EResultCode (systema::ConfigDispatcher::*)(Parameters...);
    template<auto c_pOperation>
    EResultCode forward(Reader& a_oRequest, Writer& a_oReply);
    template<typename Argument>
    Argument read(Reader& a_oRequest);
    template<typename... Arguments, typename Function>
    EResultCode callWith(Reader& a_oRequest, Function a_oFunction);
    template<typename... Arguments>
    EResultCode callDispatcher(Reader& a_oRequest, Writer& a_oReply,
                               Operation<const void*, Arguments...> a_pOperation);
    template<typename Result, typename... Arguments>
    EResultCode callDispatcher(Reader& a_oRequest, Writer& a_oReply,
                               Operation<Result&, const void*, Arguments...> a_pOperation);
    static void put(Writer& a_oReply, int a_iValue) { a_oReply.i32(a_iValue); }
    static void put(Writer& a_oReply, unsigned int a_iValue) { a_oReply.u32(a_iValue); }
    static void put(Writer& a_oReply, const systema::ColumnList& a_lColumns) { a_oReply.columns(a_lColumns); }
    static void put(Writer& a_oReply, const systema::TableDescription& a_oDescription)
    {
        a_oReply.description(a_oDescription);
    }
    static void put(Writer& a_oReply, const systema::ValueList& a_lValues) { a_oReply.values(a_lValues); }
    void put(Writer&, std::unique_ptr<systema::IRowCursor>& a_pRows)
    {
        m_oAnswer.m_pRows = std::move(a_pRows);
    }

    // One handler each for the others.
    EResultCode hello(Reader& a_oRequest, Writer& a_oReply);
    EResultCode ping(Reader& a_oRequest, Writer& a_oReply);
    EResultCode explain(Reader& a_oRequest, Writer& a_oReply);
    EResultCode info(Reader& a_oRequest, Writer& a_oReply);
    EResultCode getTables(Reader& a_oRequest, Writer& a_oReply);
    EResultCode begin(Reader& a_oRequest, Writer& a_oReply);
    EResultCode subscribe(Reader& a_oRequest, Writer& a_oReply);
    EResultCode unsubscribe(Reader& a_oRequest, Writer& a_oReply);

    ConfigServiceManager& m_oManager;
    systema::ConfigDispatcher& m_oDispatcher;
    const void* const m_pHandle;
    systema::IConfigSubscriber& m_oSubscriber;
    TableSet& m_lChanges;

    bool m_bGreeted = false;
    bool m_bExplains = false; // refusals, to this client
    std::string m_sProgram;
    Answer m_oAnswer; // to the request being served
};

} // namespace zel::cfg

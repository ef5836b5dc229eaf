#include "configmanager/requesthandler.h"

#include "configmanager/configservicemanager.h"
#include "systema/refusal.h"
#include "zel/exception.h"
#include "zel/log.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace zel::cfg {

using systema::ConfigDispatcher;
using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using systema::wire::EOperation;

RequestHandler::RequestHandler(ConfigServiceManager& a_oManager, const void* a_pHandle,
                               systema::IConfigSubscriber& a_oSubscriber, TableSet& a_lChanges)
    : m_oManager(a_oManager),
      m_oDispatcher(a_oManager.getDispatcher()),
      m_pHandle(a_pHandle),
      m_oSubscriber(a_oSubscriber),
      m_lChanges(a_lChanges)
{
}

Answer RequestHandler::handle(EOperation a_eOperation, Reader& a_oRequest, Writer& a_oReply)
{
    m_oAnswer = {};
    systema::noteRefusal(EResultCode::Success, {}); // forgets what another client's request left
    m_oAnswer.m_eResult = call(a_eOperation, a_oRequest, a_oReply);
    if (m_bExplains && m_oAnswer.m_eResult != EResultCode::Success) {
        m_oAnswer.m_sReason = systema::takeRefusal(m_oAnswer.m_eResult);
    }
    return std::move(m_oAnswer);
}

EResultCode RequestHandler::call(EOperation a_eOperation, Reader& a_oRequest, Writer& a_oReply)
{
    if (!m_bGreeted && a_eOperation != EOperation::Hello) {
        return malformed("a request before hello");
    }
    const Handler pHandler = findHandler(a_eOperation);
    if (pHandler == nullptr) {
        return EResultCode::Protocol;
    }
    try {
        return (this->*pHandler)(a_oRequest, a_oReply);
    } catch (...) {
        ZEL_Sysloglevel_error(m_oManager.getModule(), zel::here(), "Request %u of %s failed: %s",
                              static_cast<unsigned>(a_eOperation), m_sProgram.c_str(),
                              zel::error::describeException());
        return EResultCode::Failure;
    }
}

EResultCode RequestHandler::malformed(const char* a_pWhat)
{
    m_oAnswer.m_pMalformed = a_pWhat;
    return EResultCode::Protocol;
}

template<typename Function>
EResultCode RequestHandler::whenComplete(const Reader& a_oRequest, Function a_oFunction)
{
    if (!a_oRequest.complete()) {
        return malformed("a malformed request");
    }
    if (m_oAnswer.m_pMalformed != nullptr) {
        return EResultCode::Protocol;
    }
    return a_oRequest.sawNul() ? EResultCode::Mismatch : a_oFunction();
}

template<typename Argument>
Argument RequestHandler::read(Reader& a_oRequest)
{
    if constexpr (std::is_same_v<Argument, unsigned int>) {
        return a_oRequest.u32();
    } else if constexpr (std::is_same_v<Argument, std::string>) {
        return std::string(a_oRequest.text());
    } else if constexpr (std::is_same_v<Argument, ValueList>) {
        return a_oRequest.values();
    } else {
        NameList lNames = a_oRequest.names();
        if (lNames.size() > c_iNamesLimit) {
            malformed("too many names in a request");
        }
        return lNames;
    }
}

template<typename... Arguments, typename Function>
EResultCode RequestHandler::callWith(Reader& a_oRequest, Function a_oFunction)
{
    const std::tuple<std::remove_cvref_t<Arguments>...> oArguments{
        read<std::remove_cvref_t<Arguments>>(a_oRequest)...}; // braces: from left to right
    return whenComplete(a_oRequest, [&] { return std::apply(a_oFunction, oArguments); });
}

template<typename... Arguments>
EResultCode RequestHandler::callDispatcher(Reader& a_oRequest, Writer&,
                                           Operation<const void*, Arguments...> a_pOperation)
{
    return callWith<Arguments...>(a_oRequest, std::bind_front(a_pOperation, &m_oDispatcher, m_pHandle));
}

template<typename Result, typename... Arguments>
EResultCode RequestHandler::callDispatcher(Reader& a_oRequest, Writer& a_oReply,
                                           Operation<Result&, const void*, Arguments...> a_pOperation)
{
    Result oResult{};
    const EResultCode eResult = callWith<Arguments...>(
        a_oRequest, std::bind_front(a_pOperation, &m_oDispatcher, std::ref(oResult), m_pHandle));
    put(a_oReply, oResult);
    return eResult;
}

template<auto c_pOperation>
EResultCode RequestHandler::forward(Reader& a_oRequest, Writer& a_oReply)
{
    return callDispatcher(a_oRequest, a_oReply, c_pOperation);
}

RequestHandler::Handler RequestHandler::findHandler(EOperation a_eOperation)
{
    struct Row
    {
        EOperation m_eOperation;
        Handler m_pHandler;
    };
    static constexpr Row c_aHandlers[] = {
        {EOperation::Hello, &RequestHandler::hello},
        {EOperation::Ping, &RequestHandler::ping},
        {EOperation::Info, &RequestHandler::info},
        {EOperation::Explain, &RequestHandler::explain},
        {EOperation::GetTables, &RequestHandler::getTables},
        {EOperation::GetSchema, &RequestHandler::forward<&ConfigDispatcher::getSchema>},
        {EOperation::Describe, &RequestHandler::forward<&ConfigDispatcher::describe>},
        {EOperation::GetSize, &RequestHandler::forward<&ConfigDispatcher::getSize>},
        {EOperation::SelectRow, &RequestHandler::forward<&ConfigDispatcher::selectRow>},
        {EOperation::SelectKey, &RequestHandler::forward<&ConfigDispatcher::selectKey>},
        {EOperation::SelectRows, &RequestHandler::forward<&ConfigDispatcher::openRows>},
        {EOperation::InsertRow, &RequestHandler::forward<&ConfigDispatcher::insertRow>},
        {EOperation::InsertKey, &RequestHandler::forward<&ConfigDispatcher::insertKey>},
        {EOperation::UpdateRow, &RequestHandler::forward<&ConfigDispatcher::updateRow>},
        {EOperation::UpdateKey, &RequestHandler::forward<&ConfigDispatcher::updateKey>},
        {EOperation::DeleteRow, &RequestHandler::forward<&ConfigDispatcher::deleteRow>},
        {EOperation::DeleteKey, &RequestHandler::forward<&ConfigDispatcher::deleteKey>},
        {EOperation::DeleteAll, &RequestHandler::forward<&ConfigDispatcher::deleteAll>},
        {EOperation::Begin, &RequestHandler::begin},
        {EOperation::Commit, &RequestHandler::forward<&ConfigDispatcher::commitTransaction>},
        {EOperation::Rollback, &RequestHandler::forward<&ConfigDispatcher::rollbackTransaction>},
        {EOperation::Subscribe, &RequestHandler::subscribe},
        {EOperation::Unsubscribe, &RequestHandler::unsubscribe},
    };
    const auto* pRow = std::ranges::find(c_aHandlers, a_eOperation, &Row::m_eOperation);
    return pRow != std::end(c_aHandlers) ? pRow->m_pHandler : nullptr;
}

EResultCode RequestHandler::hello(Reader& a_oRequest, Writer& a_oReply)
{
    const std::uint32_t iMagic = a_oRequest.u32();
    const std::uint16_t iVersion = a_oRequest.u16();
    m_sProgram.assign(a_oRequest.text().substr(0, c_iProgramNameLimit));
    return whenComplete(a_oRequest, [&]() -> EResultCode {
        if (iMagic != systema::wire::c_iMagic || m_bGreeted) {
            return malformed("a hello that is none");
        }
        if (iVersion != systema::wire::c_iVersion) {
            return malformed("another version of the protocol"); // no later request could be understood
        }
        m_bGreeted = true;
        a_oReply.u16(systema::wire::c_iVersion);
        a_oReply.text(LEDGERD_VERSION);
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::ping(Reader& a_oRequest, Writer&)
{
    return whenComplete(a_oRequest, [] { return EResultCode::Success; });
}

EResultCode RequestHandler::explain(Reader& a_oRequest, Writer&)
{
    return whenComplete(a_oRequest, [&] {
        m_bExplains = true;
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::info(Reader& a_oRequest, Writer& a_oReply)
{
    return whenComplete(a_oRequest, [&] {
        a_oReply.values(m_oManager.getInfo());
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::getTables(Reader& a_oRequest, Writer& a_oReply)
{
    using systema::wire::ETableFilter;
    const auto eFilter = static_cast<ETableFilter>(a_oRequest.u8());
    if (eFilter > ETableFilter::Persistent) {
        return malformed("an unknown filter of tables");
    }
    return whenComplete(a_oRequest, [&] {
        NameList lAll;
        m_oDispatcher.getTables(lAll, m_pHandle);
        NameList lTables;
        for (const auto& sTable : lAll) {
            if (eFilter == ETableFilter::All ||
                (eFilter == ETableFilter::Stored && m_oDispatcher.isStored(sTable)) ||
                (eFilter == ETableFilter::Persistent && m_oDispatcher.isPersistent(sTable))) {
                lTables.add(sTable);
            }
        }
        a_oReply.names(lTables);
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::begin(Reader& a_oRequest, Writer&)
{
    const std::chrono::milliseconds oWait(a_oRequest.u32());
    return whenComplete(a_oRequest, [&]() -> EResultCode {
        // Changes are told, a lock is made so, what is due is saved, and those who waited begin, before a new
        // transaction: otherwise one that begins again and again would keep everybody else waiting. The pass
        // that does so ends at once.
        const bool bAfterPass = !m_oDispatcher.isTransactionOpen() && !m_oDispatcher.isLocked() &&
                                (m_oManager.hasQueue() || m_oDispatcher.isPassEndAwaited());
        if (bAfterPass) {
            m_oManager.getEventDispatcher().endPass();
        } else {
            const EResultCode eResult = m_oDispatcher.startTransaction(m_pHandle);
            if (eResult != EResultCode::Busy || oWait.count() == 0) {
                return eResult;
            }
        }
        m_oAnswer.m_oWait = oWait;
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::subscribe(Reader& a_oRequest, Writer&)
{
    const NameList lTables = read<NameList>(a_oRequest);
    const std::uint8_t iFlags = a_oRequest.u8();
    return whenComplete(a_oRequest, [&] {
        // All or none; a name that nobody serves must not cost memory for ever.
        if (!std::ranges::all_of(lTables,
                                 [&](const auto& a_sTable) { return m_oDispatcher.hasTable(a_sTable); })) {
            return EResultCode::NoTable;
        }
        m_oDispatcher.subscribe(m_oSubscriber, lTables);
        if (iFlags & systema::wire::c_iTellAtOnce) {
            m_lChanges.insert(lTables.begin(), lTables.end());
        }
        return EResultCode::Success;
    });
}

EResultCode RequestHandler::unsubscribe(Reader& a_oRequest, Writer&)
{
    const NameList lTables = read<NameList>(a_oRequest);
    return whenComplete(a_oRequest, [&] {
        if (lTables.empty()) {
            m_oDispatcher.unsubscribeAll(m_oSubscriber);
            m_lChanges.clear();
        } else {
            m_oDispatcher.unsubscribe(m_oSubscriber, lTables);
            for (const auto& sTable : lTables) {
                m_lChanges.erase(sTable);
            }
        }
        return EResultCode::Success;
    });
}

} // namespace zel::cfg

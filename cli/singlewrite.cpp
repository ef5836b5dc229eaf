#include "cli/cascade.h"
#include "cli/commands.h"
#include "cli/keycheck.h"
#include "cli/namecheck.h"
#include "cli/utf8.h"
#include "cli/write.h"
#include "client/transaction.h"

#include <chrono>
#include <utility>

namespace systema::cli {

namespace {

/// A write or commit whose answer does not come has perhaps been made.
template<typename Answer>
Answer unlessUnanswered(Answer a_oAnswer)
{
    if (!a_oAnswer.isConnectionError()) {
        return a_oAnswer;
    }
    return client::Status::disconnected(std::string(a_oAnswer.text()) +
                                        "; it may be written or not: read before writing it again");
}

/// Makes the write by each of the keys that are found for it.
template<typename Request>
client::ResultOf<Request> writeByKeys(client::Connection& a_oConnection, Request a_oRequest,
                                      const Arguments& a_oArguments, KeyCheck& a_oKeys)
{
    const auto oKeys = a_oKeys.find(a_oArguments);
    client::ResultOf<Request> oAnswer{client::Status(oKeys)};
    if constexpr (requires { a_oRequest.m_sKeyColumn; }) {
        for (auto it = oKeys->begin(); oAnswer.ok() && it != oKeys->end(); ++it) {
            a_oRequest.m_sKeyColumn = it->m_sColumn;
            a_oRequest.m_sKeyValue = *it->m_oText;
            oAnswer = a_oConnection.call(a_oRequest);
            if (it != oKeys->begin() && isGoneBefore(a_oArguments, oAnswer)) {
                oAnswer = client::Status();
            }
        }
    }
    return oAnswer;
}

/// Makes a write. One whose keys are to be found, and a deletion that takes rows of other tables with it, are
/// made in a transaction of their own, as is one that is refused because another client has a transaction: it
/// waits for the end of that, and the refusal has changed nothing. Any other write is made without a
/// transaction: some tables can be written at any time, and the end of a transaction resets its time-out.
/// Gives also what went with the deletion.
template<typename Request>
client::ResultOf<Request> write(client::Connection& a_oConnection, const Request& a_oRequest,
                                const Arguments& a_oArguments, std::string& a_sGone)
{
    KeyCheck oKeys(a_oConnection);
    Cascade oCascade(a_oConnection);
    const bool bByKeys = oKeys.concerns(a_oArguments);
    const bool bCascade = oCascade.concerns(a_oArguments);
    if (!bByKeys && !bCascade) {
        auto oAnswer = unlessUnanswered(a_oConnection.call(a_oRequest));
        if (oAnswer.code() != EResultCode::Busy) {
            return oAnswer;
        }
    }
    const std::chrono::milliseconds oWait = a_oArguments.m_oTimeout.value_or(c_oAnswerTimeout);
    client::Transaction oTransaction(a_oConnection); // rolls back unless it is committed
    if (client::Status oBegun = explainBusy(oTransaction.begin(oWait), oWait, "-t"); !oBegun.ok()) {
        return oBegun;
    }
    oCascade.start();
    auto oAnswer = bByKeys ? writeByKeys(a_oConnection, a_oRequest, a_oArguments, oKeys)
                           : a_oConnection.call(a_oRequest);
    if (oAnswer.ok()) {
        a_sGone = oCascade.describe();
        if (auto oCommitted = oTransaction.commit(); !oCommitted.ok()) {
            return unlessUnanswered(oCommitted);
        }
    }
    return oAnswer;
}

} // namespace

Outcome runWrite(Session& a_oSession, const Arguments& a_oArguments)
{
    auto oValues = Schemas(a_oSession.m_oConnection).typedValues(a_oArguments);
    if (!oValues.ok()) {
        return explained(a_oSession, oValues, a_oArguments);
    }
    const auto oCall = [&](const auto& a_oRequest) -> Outcome {
        std::string sGone;
        const auto oAnswer = write(a_oSession.m_oConnection, a_oRequest, a_oArguments, sGone);
        std::vector<std::int32_t> lIds;
        if (oAnswer.ok()) {
            addId(lIds, oAnswer);
        }
        if (oAnswer.ok() && !sGone.empty()) {
            a_oSession.m_oErrors << "ledgerctl: deleted with it: " << printable(sGone) << std::endl;
        }
        if (!lIds.empty()) {
            a_oSession.m_oPrinter.printIds(lIds);
        }
        return explained(a_oSession, oAnswer, a_oArguments);
    };
    return std::visit(oCall, makeWrite(a_oArguments, std::move(*oValues)));
}

} // namespace systema::cli

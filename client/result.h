// What an operation came to: success, a result code of the server, or a connection that is of no use.
//
// Plain values; the client library reports every failure this way and throws nothing.
#pragma once

#include "systema/protocol.h"

#include <chrono>
#include <string>
#include <string_view>
#include <utility>

namespace systema::client {

/// A duration as messages show it: whole seconds as "2 s", any other as "1500 ms".
inline std::string timeText(std::chrono::milliseconds a_oTime)
{
    const auto oSeconds = std::chrono::duration_cast<std::chrono::seconds>(a_oTime);
    return oSeconds == a_oTime ? std::to_string(oSeconds.count()) + " s"
                               : std::to_string(a_oTime.count()) + " ms";
}

class [[nodiscard]] Status
{
public:
    /// Success.
    Status() = default;
    /// A request that the server, or the library in its place, refused. Code 0 is success; without a text
    /// the status has that of the code.
    static Status refused(EResultCode a_eCode, std::string a_sText = {})
    {
        return Status(a_eCode == EResultCode::Success ? EKind::Success : EKind::Refused, a_eCode,
                      std::move(a_sText));
    }
    /// No connection, one that broke, or a server that does not keep to the protocol.
    static Status disconnected(std::string a_sText)
    {
        return Status(EKind::Disconnected, EResultCode::Failure, std::move(a_sText));
    }

    bool ok() const { return m_eKind == EKind::Success; }
    bool isConnectionError() const { return m_eKind == EKind::Disconnected; }
    /// The result code; 1 for a connection error.
    EResultCode code() const { return m_eCode; }
    /// What a person should read. Lives as long as the status.
    std::string_view text() const { return m_sText.empty() ? m_eCode.strerror() : std::string_view(m_sText); }

private:
    enum class EKind
    {
        Success,
        Refused,
        Disconnected
    };

    Status(EKind a_eKind, EResultCode a_eCode, std::string a_sText)
        : m_eKind(a_eKind),
          m_eCode(a_eCode),
          m_sText(std::move(a_sText))
    {
    }

    EKind m_eKind = EKind::Success;
    EResultCode m_eCode;
    std::string m_sText;
};

/// A status and, with success, what was asked for; after a failure the value is an empty one.
template<typename T>
class [[nodiscard]] Result : public Status
{
public:
    Result(Status a_oStatus, T a_oValue = {}) : Status(std::move(a_oStatus)), m_oValue(std::move(a_oValue)) {}

    T& operator*() { return m_oValue; }
    const T& operator*() const { return m_oValue; }
    T* operator->() { return &m_oValue; }
    const T* operator->() const { return &m_oValue; }

private:
    T m_oValue;
};

} // namespace systema::client

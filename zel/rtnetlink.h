// Sends requests to the kernel's rtnetlink, and parses its answers.
//
// Functions without state; any thread. The answer is that of the thread's network namespace. The kernel
// answers within the call that sends the request, so nothing waits. Nothing throws but std::bad_alloc and
// what a receiver throws.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <span>

namespace zel::net {

using Bytes = std::span<const char>;

/// The structure that the bytes start with; what is missing of it is 0.
template<class Struct>
Struct startOf(Bytes a_lBytes)
{
    Struct oStruct{};
    std::copy_n(a_lBytes.data(), std::min(sizeof(oStruct), a_lBytes.size()),
                reinterpret_cast<char*>(&oStruct));
    return oStruct;
}

/// The bytes without the first ones; empty when there are no more.
inline Bytes skip(Bytes a_lBytes, std::size_t a_iCount)
{
    return a_lBytes.subspan(std::min(a_iCount, a_lBytes.size()));
}

/// Sends the request, a whole message, and calls the receiver with each message of the answer; with none when
/// the kernel refuses the request.
void askKernel(Bytes a_lRequest, const std::function<void(Bytes a_lMessage)>& a_oReceiver);

/// The bytes after the head of a message; fewer when the message was cut.
Bytes contentOf(Bytes a_lMessage);

/// Calls the receiver with each attribute that follows the structure at the start of a message's content, up
/// to an attribute of a bad length.
void forEachAttribute(Bytes a_lContent, std::size_t a_iStructSize,
                      const std::function<void(unsigned a_iType, Bytes a_lValue)>& a_oReceiver);

} // namespace zel::net

// Questions to rtnetlink, and how its answers are taken apart.
//
// Functions without state; any thread. The answer is that of the thread's network namespace. The kernel
// answers while it takes the question, so that nothing waits. Nothing throws but std::bad_alloc and what a
// receiver throws.
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

/// Sends the question, a whole message, and hands over each message of the answer; none when the kernel
/// refuses it.
void askKernel(Bytes a_lQuestion, const std::function<void(Bytes a_lMessage)>& a_oReceiver);

/// What comes after the head of a message, or fewer bytes when the message was cut.
Bytes contentOf(Bytes a_lMessage);

/// Hands over each attribute after the structure that a message's content starts with, up to one of a bad
/// length.
void forEachAttribute(Bytes a_lContent, std::size_t a_iStructSize,
                      const std::function<void(unsigned a_iType, Bytes a_lValue)>& a_oReceiver);

} // namespace zel::net

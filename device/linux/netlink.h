// A question to the kernel over a netlink socket of libnl, and its answer.
//
// One thread. A refusal is a result. Nothing throws but std::bad_alloc, and what a receiver throws: that
// comes out once the library has read the answer to its end.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

struct nl_sock;
struct nl_msg;

namespace zel::device {

using Bytes = std::span<const unsigned char>;

/// What is told of an answer: its messages one by one, each without its netlink header.
using Receiver = std::function<void(Bytes a_lMessage)>;

enum class EAnswer
{
    Whole,
    Refused, // some of it may have been told
    TimedOut // may still come, and would be taken for that of the next question
};

/// Waits as long as the socket lets it.
EAnswer ask(nl_sock& a_oSocket, nl_msg& a_oQuestion, const Receiver& a_oReceiver);

} // namespace zel::device

// Received bytes, taken out again as whole frames. Owned by the connection; its memory is bounded by the
// frame limit, whatever a header claims.
#pragma once

#include "systema/wire.h"

#include <memory>
#include <span>
#include <string_view>

namespace systema::client {

class InputBuffer
{
public:
    enum class ENext
    {
        Frame,
        Incomplete, // more bytes are needed
        Impossible  // the bytes cannot be a frame
    };

    /// Room to receive into, never empty. Moves bytes: views of frames taken out before are void.
    std::span<char> room();
    /// Bytes that were put into the room.
    void add(std::size_t a_iSize) { m_iEnd += a_iSize; }
    /// Takes the next frame out; its body lives until room() or clear() is called.
    ENext next(wire::Header& a_oHeader, std::string_view& a_sBody);
    void clear() { m_iBegin = m_iEnd = 0; }

private:
    std::string_view content() const { return {m_pBytes.get() + m_iBegin, m_iEnd - m_iBegin}; }

    std::unique_ptr<char[]> m_pBytes;
    std::size_t m_iCapacity = 0;
    std::size_t m_iBegin = 0;
    std::size_t m_iEnd = 0;
};

} // namespace systema::client

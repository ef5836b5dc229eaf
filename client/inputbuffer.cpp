#include "client/inputbuffer.h"

#include <algorithm>
#include <cstring>

namespace systema::client {

namespace {
constexpr std::size_t c_iUsualCapacity = 128 * 1024;
constexpr std::size_t c_iLeastRoom = 32 * 1024;
} // namespace

std::span<char> InputBuffer::room()
{
    const auto oHeader = wire::readHeader(content());
    const std::size_t iFrame = oHeader && oHeader->isPossible() ? oHeader->frameSize() : wire::c_iHeaderSize;
    const std::size_t iNeeded = std::max({c_iUsualCapacity, iFrame, content().size() + 1});
    if (iNeeded > m_iCapacity) {
        auto pBytes = std::make_unique_for_overwrite<char[]>(iNeeded);
        std::ranges::copy(content(), pBytes.get());
        m_pBytes = std::move(pBytes);
        m_iCapacity = iNeeded;
        m_iEnd -= m_iBegin;
        m_iBegin = 0;
    } else if (m_iBegin == m_iEnd) {
        clear();
    } else if (m_iBegin > 0 && (m_iBegin + iFrame > m_iCapacity || m_iCapacity - m_iEnd < c_iLeastRoom)) {
        std::memmove(m_pBytes.get(), m_pBytes.get() + m_iBegin, content().size());
        m_iEnd -= m_iBegin;
        m_iBegin = 0;
    }
    return {m_pBytes.get() + m_iEnd, m_iCapacity - m_iEnd};
}

InputBuffer::ENext InputBuffer::next(wire::Header& a_oHeader, std::string_view& a_sBody)
{
    const auto oHeader = wire::readHeader(content());
    if (!oHeader) {
        return ENext::Incomplete;
    }
    if (!oHeader->isPossible()) {
        return ENext::Impossible;
    }
    if (content().size() < oHeader->frameSize()) {
        return ENext::Incomplete;
    }
    a_oHeader = *oHeader;
    a_sBody = content().substr(wire::c_iHeaderSize, oHeader->bodySize());
    m_iBegin += oHeader->frameSize();
    return ENext::Frame;
}

} // namespace systema::client

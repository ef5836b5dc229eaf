// The kernel's list of connections while it is read, a bit at a time.
//
// Owned by the table of connections; main thread only. Nothing throws but std::bad_alloc.
#pragma once

#include "status/connectionlist.h"
#include "status/ipfilter.h"
#include "zel/lines.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace zel {

class ConnectionReading
{
public:
    using Clock = std::chrono::steady_clock;

    /// A longer line is read as several.
    static constexpr std::size_t c_iLineBufferSize = 512;
    /// Of a longer list the rest is left out.
    static constexpr std::int32_t c_iMostLines = 262144;
    static constexpr std::size_t c_iMostBytes = 64U << 20U;

    enum class EState
    {
        Unfinished,
        Done,
        Failed // the list cannot be read
    };

    /// Begins to read the file; what the filter is true for is left out.
    ConnectionReading(const std::string& a_sPath, IpFilter a_oFilter);

    /// Reads one piece at least, and no further one after that time.
    EState read(Clock::time_point a_oEnd);
    /// The connections, once they are read.
    std::shared_ptr<ConnectionList> takeList() { return std::move(m_pList); }
    std::int32_t getLineCount() const { return m_iLine; }
    /// True when the list is longer than what was read of it.
    bool isCut() const { return m_bCut; }

private:
    void addLine(std::string_view a_sLine);

    TextFile m_oFile;
    const IpFilter m_oFilter;
    LineCutter m_oCutter;
    std::shared_ptr<ConnectionList> m_pList = std::make_shared<ConnectionList>();
    std::size_t m_iBytesLeft = c_iMostBytes;
    std::int32_t m_iLine = 0;
    bool m_bCut = false;
};

} // namespace zel

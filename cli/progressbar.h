// A bar on the terminal that grows with the work done, and is gone with the object. Without a terminal it
// writes nothing.
#pragma once

#include <cstddef>
#include <ostream>

namespace systema::cli {

class ProgressBar
{
public:
    ProgressBar(std::ostream& a_oStream, bool a_bShown, std::size_t a_iTotal);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// One more piece is done.
    void advance();

private:
    void draw();

    std::ostream& m_oStream;
    const bool m_bShown;
    const std::size_t m_iTotal;
    std::size_t m_iDone = 0;
    std::size_t m_iPercent = 0; // as drawn
};

} // namespace systema::cli

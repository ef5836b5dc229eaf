// Keeps one client from flooding the log: of one kind, client and second the first line is logged, the others
// are counted and told in one line when the second is over, with what they said, each text once, as far as
// there is room.
//
// Used by the logger, under its mutex. The table is fixed. A user has a quarter of it, so that none keeps the
// lines of others out; what finds no place in it is counted as well, all together. Nothing here fails.
#pragma once

#include "zel/logclient.h"
#include "zel/source.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>

namespace zel {

/// A line before it is put together. Its kind is the place that it comes from: head (the module) and source.
struct LogLine
{
    int m_iPriority;           // of syslog, with the facility
    std::string_view m_sLevel; // static text
    SourceTag m_oSource;
    std::string_view m_sHead;
    std::string_view m_sText;
};

/// What was not logged of one kind and client: a line with all its texts, the number of lines, and whether
/// there were other texts.
struct LogSummary
{
    LogLine m_oLine;
    unsigned m_iMore;
    bool m_bOthers;
};

class LogLimit
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds c_oWindow{1};
    static constexpr std::size_t c_iEntries = 64;
    static constexpr std::size_t c_iEntriesOfUser = c_iEntries / 4;

    /// True when the line is to be logged; otherwise it is counted.
    bool admits(const LogClient::Id& a_oClient, const LogLine& a_oLine, Clock::time_point a_oNow);

    /// Calls the function with a LogSummary for all whose second is over, and forgets them. Lines that found
    /// no place have an empty head.
    template<class Function>
    void takeEnded(Clock::time_point a_oNow, Function a_oFunction)
    {
        for (std::size_t i = 0; m_iUsed > 0 && i < m_aEntries.size(); ++i) {
            Entry& oEntry = m_aEntries[i];
            if (oEntry.m_bUsed && a_oNow - oEntry.m_oStart >= c_oWindow) {
                if (oEntry.m_iMore > 0) {
                    a_oFunction(oEntry.summary());
                }
                oEntry.m_bUsed = false;
                --m_iUsed;
            }
        }
    }

private:
    template<std::size_t Room>
    class Text
    {
    public:
        static std::string_view cut(std::string_view a_sText) { return a_sText.substr(0, Room); }
        std::string_view get() const { return {m_aText.data(), m_iSize}; }
        std::size_t room() const { return Room - m_iSize; }
        void clear() { m_iSize = 0; }
        void add(std::string_view a_sText)
        {
            const std::string_view sFits = a_sText.substr(0, room());
            std::copy(sFits.begin(), sFits.end(), m_aText.begin() + m_iSize);
            m_iSize += sFits.size();
        }

    private:
        std::array<char, Room> m_aText{};
        std::size_t m_iSize = 0;
    };

    struct Entry
    {
        LogSummary summary() const
        {
            return {{m_iPriority, m_sLevel, m_oSource, m_oHead.get(), m_oTexts.get()}, m_iMore, m_bOthers};
        }
        void count(const LogLine& a_oLine);

        bool m_bUsed = false;
        LogClient::Id m_oClient{};
        SourceTag m_oSource{};
        Clock::time_point m_oStart{};
        unsigned m_iLogged = 0;
        unsigned m_iMore = 0;
        int m_iPriority = 0;
        std::string_view m_sLevel;
        bool m_bOthers = false; // texts that found no room
        Text<128> m_oHead;
        Text<320> m_oTexts;
    };

    Entry* find(const LogClient::Id& a_oClient, const LogLine& a_oLine);
    Entry* findPlace(uid_t a_iUser);
    void use(Entry& a_oEntry, const LogClient::Id& a_oClient, const LogLine& a_oLine,
             Clock::time_point a_oNow);

    // The last one is for what finds no place.
    std::array<Entry, c_iEntries + 1> m_aEntries{};
    std::size_t m_iUsed = 0;
};

} // namespace zel

#include "restore/dump.h"

#include "restore/textfile.h"

#include <algorithm>
#include <string_view>

using systema::SqliteFile;

namespace zel::cfg {

namespace {

constexpr std::string_view c_sBegin = "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n";
constexpr std::size_t c_iLinesOfBegin = 2;
constexpr std::string_view c_sEndOfStatement = ";\n";
constexpr std::string_view c_sCommit = "COMMIT;\n";
constexpr std::size_t c_iBlock = 64 * 1024;

/// Runs a dump's statements as they are read, so that the memory holds a few of them and never all.
class Statements
{
public:
    Statements(SqliteFile& a_oDatabase, TextFile& a_oFile, const Limits& a_oLimits)
        : m_oDatabase(a_oDatabase),
          m_oFile(a_oFile),
          m_oLimits(a_oLimits)
    {
    }

    void run()
    {
        while (m_oFile.left() > 0) {
            m_oFile.read(m_sText, c_iBlock);
            runComplete();
            if (m_sText.size() > m_oLimits.m_iDatabase) {
                throw std::runtime_error("line " + std::to_string(m_iLine) + ": a statement of more than " +
                                         std::to_string(m_oLimits.m_iDatabase / c_iMiB) + " MiB");
            }
        }
        m_oDatabase.runForeign(m_sText, m_iLine);
        if (!SqliteFile::isComplete(";" + m_sText)) { // a comment alone ends no statement of its own
            throw std::runtime_error("the last statement has no end");
        }
    }

private:
    /// Runs what is read up to the last end of a statement, unless that stands within a trigger or a text.
    void runComplete()
    {
        const auto iEnd = std::string_view(m_sText).substr(m_iSearched).rfind(c_sEndOfStatement);
        if (iEnd != std::string_view::npos) {
            const std::string sRest = m_sText.substr(m_iSearched + iEnd + c_sEndOfStatement.size());
            m_sText.resize(m_sText.size() - sRest.size());
            if (SqliteFile::isComplete(m_sText)) {
                m_oDatabase.runForeign(m_sText, m_iLine);
                m_iLine += static_cast<std::size_t>(std::ranges::count(m_sText, '\n'));
                m_sText.clear();
            }
            m_sText += sRest;
        }
        m_iSearched = m_sText.empty() ? 0 : m_sText.size() - 1;
    }

    SqliteFile& m_oDatabase;
    TextFile& m_oFile;
    const Limits& m_oLimits;
    std::string m_sText;                       // read and not run yet
    std::size_t m_iSearched = 0;               // so far no end of a statement in it can be run
    std::size_t m_iLine = 1 + c_iLinesOfBegin; // of its beginning
};

} // namespace

void loadDump(SqliteFile& a_oDatabase, const std::string& a_sFile, const Limits& a_oLimits)
{
    TextFile oFile(a_sFile);
    if (oFile.size() == 0) {
        throw std::runtime_error("empty");
    }
    std::string sBegin;
    oFile.read(sBegin, c_sBegin.size());
    if (sBegin != c_sBegin) {
        throw std::runtime_error("does not begin as a dump");
    }
    if (!oFile.cutEnd(c_sCommit)) {
        throw std::runtime_error("cut off or rolled back: does not end with COMMIT");
    }
    SqliteFile::Transaction oTransaction(a_oDatabase);
    Statements(a_oDatabase, oFile, a_oLimits).run();
    oTransaction.commit();
    if (const auto oDamage = a_oDatabase.checkIntegrity()) {
        throw std::runtime_error(*oDamage);
    }
}

} // namespace zel::cfg

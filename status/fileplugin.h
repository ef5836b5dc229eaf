// Text files as tables, a table for each file, named by its path: the first line names the columns, and every
// further one is a row, cut at its spaces.
//
// Owned by the status host, which adds the files. Main thread only. A file is read at the start and whenever
// the kernel reports a change of it; one that cannot be read has no rows. One that cannot be reached in
// time, as its mount does not answer, keeps its rows.
#pragma once

#include "configmanager/filewatcher.h"
#include "status/istatusinfosubplugin.h"
#include "zel/timedcall.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace zel {

class FilePlugin : public IStatusInfoSubPlugin
{
public:
    struct Line
    {
        std::int32_t m_iNumber;            // its Id: counted from 1, without the line that names the columns
        std::vector<std::string> m_lTexts; // one a column, but for empty ones at the end

        bool operator==(const Line&) const = default;
    };

    /// The lines of a file as they were when it was last read, none before.
    class File
    {
    public:
        using Names = std::vector<std::string>;

        /// Without columns the first line of the file names them.
        File(std::string a_sPath, Names a_lColumns);

        /// Reads the file anew, line by line over the old ones. True when the table changed since it was last
        /// settled: its lines did, or the columns that these have.
        bool read();
        /// True from the begin, and since it was outdated, until it is settled.
        bool isOutdated() const { return m_bOutdated; }
        void setOutdated() { m_bOutdated = true; }
        /// True when the table changed since it was last settled.
        bool isChanged() const { return m_bChanged; }
        /// To be called when whoever must know of the change knows of it.
        void markClean() { m_bOutdated = m_bChanged = false; }
        /// What of the file is not in the table, and why, empty when all is.
        const std::string& getFault() const { return m_sFault; }
        /// True when the file has more than is read of one; what comes after that is left out.
        bool isCut() const { return m_bCut; }

        void getSchema(systema::ColumnList& a_lColumns) const;
        unsigned getLineCount() const { return static_cast<unsigned>(m_lLines.size()); }
        /// The line at a position, counted from 0; null past the end. It lives until the next read.
        const Line* getLine(unsigned a_iPosition) const;
        /// The first line whose key column has the value; null when none has, or the key is no column.
        const Line* getLine(const std::string& a_sKeyColumn, const std::string& a_sKeyValue) const;
        /// Appends the wanted columns of a line in the order wanted, all when none is named. 0; 9.
        systema::EResultCode toValueList(systema::ValueList& a_lRow, const Line& a_oLine,
                                         const systema::NameList& a_lWanted) const;

    private:
        void addFault(const std::string& a_sFault);
        void setColumns(Names a_lColumns);
        void setLine(std::size_t a_iPosition, Names a_lTexts);

        const std::string m_sPath;
        const bool m_bFixedColumns;
        Names m_lColumns;
        std::vector<Line> m_lLines;
        std::string m_sFault;
        bool m_bCut = false;
        bool m_bOutdated = true;
        bool m_bChanged = false;
    };

    /// How long an update waits at most for all files that do not answer.
    static constexpr std::chrono::milliseconds c_oCeiling{300};

    FilePlugin();

    /// The columns are names with commas between them; an empty text leaves them to the file.
    static File createFile(const std::string& a_sPath, const std::string& a_sColumns);
    /// The path is the name of the table.
    void addFile(const std::string& a_sPath, const File& a_oFile);

    void init() override;
    bool hasTable(const std::string& a_sTable) const override { return m_mFiles.contains(a_sTable); }
    void getTableNames(systema::NameList& a_lTables) const override;
    /// 0, 8.
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) override;
    /// 0; 8; 9 for an unknown column; 10.
    systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                unsigned int a_iPosition, const systema::NameList& a_lColumns) override;
    /// The same; 10 for an unknown key column too.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    bool announcesEveryChange() const override { return true; }
    void update(systema::NameList& a_lChangedTables) override;

private:
    using Clock = std::chrono::steady_clock;

    struct Mapped
    {
        explicit Mapped(File a_oFile) : m_oFile(std::move(a_oFile)) {}

        File m_oFile;
        configmanager::serverlib::FileWatcher m_oWatcher{};
        TimedCall m_oCall{};
        bool m_bLate = false;
    };

    bool refresh(const std::string& a_sPath, Mapped& a_oMapped, Clock::time_point a_oEnd);
    void read(const std::string& a_sPath, File& a_oFile);
    template<typename Operation>
    systema::EResultCode withFile(const std::string& a_sTable, Operation a_oOperation) const;

    const int m_iModule;
    std::map<std::string, Mapped> m_mFiles;
};

} // namespace zel

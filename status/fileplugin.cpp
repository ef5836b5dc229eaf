#include "status/fileplugin.h"

#include "configmanager/columntable.h"
#include "zel/convert.h"
#include "zel/fileparser.h"
#include "zel/lines.h"
#include "zel/log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <utility>

namespace zel {

using configmanager::serverlib::matchesKey;
using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

namespace {

constexpr const char* c_pId = "Id";
constexpr std::uint32_t c_iReadEvents = IN_CREATE | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

Value number(const FilePlugin::Line& a_oLine)
{
    return Value(EDataType::Integer, a_oLine.m_iNumber);
}

Value text(const FilePlugin::Line& a_oLine, std::size_t a_iColumn)
{
    return Value(EDataType::Text, FileParser::getToken(a_oLine.m_lTexts, a_iColumn));
}

/// Appends the wanted columns of the line; 10 when it is null.
EResultCode select(ValueList& a_lRow, const FilePlugin::File& a_oFile, const FilePlugin::Line* a_pLine,
                   const NameList& a_lWanted)
{
    return a_pLine == nullptr ? EResultCode(EResultCode::NoRow)
                              : a_oFile.toValueList(a_lRow, *a_pLine, a_lWanted);
}

} // namespace

FilePlugin::File::File(std::string a_sPath, Names a_lColumns)
    : m_sPath(std::move(a_sPath)),
      m_bFixedColumns(!a_lColumns.empty()),
      m_lColumns(std::move(a_lColumns))
{
}

bool FilePlugin::File::read()
{
    std::size_t iLines = 0;
    bool bNamed = m_bFixedColumns;
    const auto oTake = [&](Names a_lTexts) {
        if (std::exchange(bNamed, true)) {
            setLine(iLines++, std::move(a_lTexts));
        } else {
            setColumns(std::move(a_lTexts));
        }
    };
    m_sFault.clear();
    FileParser oParser;
    errno = 0;
    const bool bRead = oParser.parse(FileParser::EMode::File, m_sPath, "", ' ', oTake);
    m_bCut = bRead && oParser.isCut();
    if (!bRead) {
        m_sFault = errno != 0 ? std::strerror(errno) : "not a regular file";
        m_sFault += ": the table is empty";
        iLines = 0;
    } else if (!bNamed) {
        setColumns({});
    }
    if (iLines < m_lLines.size()) {
        m_bChanged = true;
        m_lLines.erase(m_lLines.begin() + static_cast<std::ptrdiff_t>(iLines), m_lLines.end());
        m_lLines.shrink_to_fit();
    }
    return m_bChanged;
}

/// Keeps the first, which a file of many is like.
void FilePlugin::File::addFault(const std::string& a_sFault)
{
    if (m_sFault.empty()) {
        m_sFault = a_sFault;
    }
}

void FilePlugin::File::setColumns(Names a_lColumns)
{
    m_bChanged = m_bChanged || (a_lColumns != m_lColumns && !m_lLines.empty());
    for (auto it = a_lColumns.begin(); it != a_lColumns.end(); ++it) {
        if (*it == c_pId || std::find(a_lColumns.begin(), it, *it) != it) {
            addFault("the column " + *it + " cannot be asked for, there is another of that name");
        }
    }
    m_lColumns = std::move(a_lColumns);
}

void FilePlugin::File::setLine(std::size_t a_iPosition, Names a_lTexts)
{
    if (a_lTexts.size() > m_lColumns.size()) {
        addFault("lines such as that with Id " + std::to_string(a_iPosition + 1) +
                 " have more words than there are columns; they are left out");
        a_lTexts.resize(m_lColumns.size());
    }
    Line oLine{static_cast<std::int32_t>(a_iPosition + 1), std::move(a_lTexts)};
    if (a_iPosition == m_lLines.size()) {
        m_lLines.push_back(std::move(oLine));
        m_bChanged = true;
    } else if (m_lLines[a_iPosition] != oLine) {
        m_lLines[a_iPosition] = std::move(oLine);
        m_bChanged = true;
    }
}

void FilePlugin::File::getSchema(systema::ColumnList& a_lColumns) const
{
    a_lColumns.add(c_pId, EDataType::Integer);
    for (const auto& sColumn : m_lColumns) {
        a_lColumns.add(sColumn, EDataType::Text);
    }
}

const FilePlugin::Line* FilePlugin::File::getLine(unsigned a_iPosition) const
{
    return a_iPosition < m_lLines.size() ? &m_lLines[a_iPosition] : nullptr;
}

const FilePlugin::Line* FilePlugin::File::getLine(const std::string& a_sKeyColumn,
                                                  const std::string& a_sKeyValue) const
{
    if (a_sKeyColumn == c_pId) {
        // The number 0 becomes the greatest position, which is past the end.
        const Line* pLine = getLine(static_cast<unsigned>(lowest32Bits(a_sKeyValue.c_str())) - 1);
        return pLine != nullptr && matchesKey(number(*pLine), a_sKeyValue) ? pLine : nullptr;
    }
    const auto itColumn = std::ranges::find(m_lColumns, a_sKeyColumn);
    if (itColumn == m_lColumns.end()) {
        return nullptr;
    }
    const auto iColumn = static_cast<std::size_t>(itColumn - m_lColumns.begin());
    const auto itLine = std::ranges::find_if(m_lLines, [&](const Line& a_oLine) {
        return FileParser::getToken(a_oLine.m_lTexts, iColumn) == a_sKeyValue;
    });
    return itLine == m_lLines.end() ? nullptr : &*itLine;
}

EResultCode FilePlugin::File::toValueList(ValueList& a_lRow, const Line& a_oLine,
                                          const NameList& a_lWanted) const
{
    if (a_lWanted.empty()) {
        a_lRow.add(c_pId, number(a_oLine));
        for (std::size_t iColumn = 0; iColumn < m_lColumns.size(); ++iColumn) {
            a_lRow.add(m_lColumns[iColumn], text(a_oLine, iColumn));
        }
    }
    for (const auto& sName : a_lWanted) {
        const auto itColumn = std::ranges::find(m_lColumns, sName);
        if (sName == c_pId) {
            a_lRow.add(sName, number(a_oLine));
        } else if (itColumn != m_lColumns.end()) {
            a_lRow.add(sName, text(a_oLine, static_cast<std::size_t>(itColumn - m_lColumns.begin())));
        } else {
            return EResultCode::NoKey;
        }
    }
    return EResultCode::Success;
}

FilePlugin::FilePlugin() : m_iModule(ZEL_Sysloglevel_registerModul("FilePlug")) {}

FilePlugin::File FilePlugin::createFile(const std::string& a_sPath, const std::string& a_sColumns)
{
    File::Names lColumns;
    std::istringstream oColumns(a_sColumns);
    for (std::string sColumn; std::getline(oColumns, sColumn, ',');) {
        lColumns.push_back(sColumn);
    }
    return {a_sPath, std::move(lColumns)};
}

void FilePlugin::addFile(const std::string& a_sPath, const File& a_oFile)
{
    if (!m_mFiles.try_emplace(a_sPath, a_oFile).second) {
        ZEL_Sysloglevel_warning(m_iModule, here(), "%s is given twice", a_sPath.c_str());
    } else if (!a_sPath.starts_with('/')) {
        ZEL_Sysloglevel_warning(m_iModule, here(),
                                "%s is no absolute path: which file it is depends on the directory",
                                a_sPath.c_str());
    }
}

void FilePlugin::init()
{
    const auto oEnd = Clock::now() + c_oCeiling;
    for (auto& [sPath, oMapped] : m_mFiles) {
        if (refresh(sPath, oMapped, oEnd)) {
            oMapped.m_oFile.markClean();
        }
    }
}

void FilePlugin::getTableNames(NameList& a_lTables) const
{
    for (const auto& [sPath, oMapped] : m_mFiles) {
        a_lTables.add(sPath);
    }
}

EResultCode FilePlugin::getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable)
{
    return withFile(a_sTable, [&](const File& a_oFile) {
        a_oFile.getSchema(a_lColumns);
        return EResultCode();
    });
}

EResultCode FilePlugin::getRowCount(const std::string& a_sTable, unsigned int& a_iCount)
{
    return withFile(a_sTable, [&](const File& a_oFile) {
        a_iCount = a_oFile.getLineCount();
        return EResultCode();
    });
}

EResultCode FilePlugin::getRow(const std::string& a_sTable, ValueList& a_lRow, unsigned int a_iPosition,
                               const NameList& a_lColumns)
{
    return withFile(a_sTable, [&](const File& a_oFile) {
        return select(a_lRow, a_oFile, a_oFile.getLine(a_iPosition), a_lColumns);
    });
}

EResultCode FilePlugin::getRowByKey(const std::string& a_sTable, ValueList& a_lRow,
                                    const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                    const NameList& a_lColumns)
{
    return withFile(a_sTable, [&](const File& a_oFile) {
        return select(a_lRow, a_oFile, a_oFile.getLine(a_sKeyColumn, a_sKeyValue), a_lColumns);
    });
}

void FilePlugin::update(NameList& a_lChangedTables)
{
    const auto oEnd = Clock::now() + c_oCeiling;
    for (auto& [sPath, oMapped] : m_mFiles) {
        const bool bLate = !refresh(sPath, oMapped, oEnd);
        if (bLate && !oMapped.m_bLate) {
            ZEL_Sysloglevel_error(m_iModule, here(), "%s does not answer, what was read last is served",
                                  sPath.c_str());
        }
        oMapped.m_bLate = bLate;
        if (!bLate && oMapped.m_oFile.isChanged()) {
            a_lChangedTables.add(sPath);
            ZEL_Sysloglevel_info(m_iModule, here(), "%s has changed", sPath.c_str());
        }
        if (!bLate) {
            oMapped.m_oFile.markClean(); // after all that can throw: else the next update finishes it
        }
    }
}

/// Reads the file if it has changed. False when it does not answer by that time; nothing is read then.
bool FilePlugin::refresh(const std::string& a_sPath, Mapped& a_oMapped, Clock::time_point a_oEnd)
{
    auto& [oFile, oWatcher, oCall, bLate] = a_oMapped;
    const auto answers = [&](std::function<void()> a_oUse) {
        const auto oLeft = std::chrono::duration_cast<std::chrono::milliseconds>(a_oEnd - Clock::now());
        return oCall.run(std::move(a_oUse), std::max(oLeft, std::chrono::milliseconds(0)));
    };
    // What was done without waiting a moment ago is done without waiting now.
    if (!answers([a_sPath] {
            struct stat oStatus;
            [[maybe_unused]] const int iResult = ::stat(a_sPath.c_str(), &oStatus);
        })) {
        return false;
    }
    oWatcher.watch(a_sPath); // before the read: what changes after that is told then
    oWatcher.doCheck();
    if ((oWatcher.takeEvents(a_sPath) & c_iReadEvents) != 0) {
        oFile.setOutdated();
    }
    if (!oFile.isOutdated()) {
        return true;
    }
    const bool bReadable = answers([a_sPath] {
        readText(a_sPath, FileParser::c_iMostBytes, ELinks::Followed, [](std::string_view) {});
    });
    if (bReadable) {
        read(a_sPath, oFile);
    }
    return bReadable;
}

/// Reads the file; what is wrong with it is logged when it became so, not each time it is written.
void FilePlugin::read(const std::string& a_sPath, File& a_oFile)
{
    const bool bWasCut = a_oFile.isCut();
    const std::string sFault = a_oFile.getFault();
    a_oFile.read();
    if (!a_oFile.getFault().empty() && a_oFile.getFault() != sFault) {
        ZEL_Sysloglevel_warning(m_iModule, here(), "%s: %s", a_sPath.c_str(), a_oFile.getFault().c_str());
    }
    if (a_oFile.isCut() && !bWasCut) {
        ZEL_Sysloglevel_error(m_iModule, here(), "%s is too long, only its first %u lines are served",
                              a_sPath.c_str(), a_oFile.getLineCount());
    }
}

/// What the operation answers for the file, 8 when there is no such table.
template<typename Operation>
EResultCode FilePlugin::withFile(const std::string& a_sTable, Operation a_oOperation) const
{
    const auto it = m_mFiles.find(a_sTable);
    return it == m_mFiles.end() ? EResultCode(EResultCode::NoTable) : a_oOperation(it->second.m_oFile);
}

} // namespace zel

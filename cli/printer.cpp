#include "cli/printer.h"

#include "cli/cell.h"
#include "cli/json.h"
#include "cli/utf8.h"

namespace systema::cli {

namespace {

Value text(std::string a_sText)
{
    return Value(EDataType::Text, std::move(a_sText));
}

/// The identity of a row, such as Id=3 Name="br0". Leaves out a column that the table does not have, and one
/// that is shown as changed.
std::string rowName(const RowChange& a_oChange)
{
    std::string sName;
    for (const char* pColumn : {"Id", "Name"}) {
        const wire::Cell* pCell = a_oChange.m_oAfter.find(pColumn);
        const bool bId = sName.empty() && std::string_view(pColumn) == "Id";
        if (pCell != nullptr && (bId || sameCell(*pCell, *a_oChange.m_oBefore.find(pColumn)))) {
            sName += std::string(" ") + pColumn + "=" + literal(*pCell);
        }
    }
    return sName;
}

void writeWholeRow(std::ostream& a_oStream, char a_cMark, const client::RowView& a_oRow)
{
    a_oStream << "  " << a_cMark;
    for (std::size_t i = 0; i < a_oRow.m_lCells.size(); ++i) {
        a_oStream << ' ' << printable(a_oRow.m_lColumns[i]) << '=' << literal(a_oRow.m_lCells[i]);
    }
    a_oStream << '\n';
}

void writeChangedRow(std::ostream& a_oStream, const RowChange& a_oChange, const RowDiff& a_oDiff)
{
    const auto& [oBefore, oAfter] = a_oChange;
    a_oStream << "  ~" << rowName(a_oChange);
    for (std::size_t i = 0; i < oAfter.m_lCells.size(); ++i) {
        if (a_oDiff.differs(a_oChange, i)) {
            a_oStream << ' ' << printable(oAfter.m_lColumns[i]) << '=' << literal(oBefore.m_lCells[i]) << "->"
                      << literal(oAfter.m_lCells[i]);
        }
    }
    a_oStream << '\n';
}

/// A line of CSV for a cell; a null pointer stands for a row that is not there.
void addCsvCell(client::Rows& a_oLines, const std::string& a_sTable, const char* a_pChange,
                const client::RowView* a_pBefore, const client::RowView* a_pAfter, std::size_t a_iColumn)
{
    // cppcheck-suppress [nullPointer, nullPointerRedundantCheck] ; one of the two is always there
    const client::RowView& oRow = a_pAfter != nullptr ? *a_pAfter : *a_pBefore;
    const auto oCell = [=](const client::RowView* a_pRow) {
        return a_pRow != nullptr ? a_pRow->m_lCells[a_iColumn].toValue() : Value(EDataType::Null);
    };
    const wire::Cell* pId = oRow.find("Id");
    a_oLines.add({text(a_sTable), text(a_pChange), pId != nullptr ? pId->toValue() : Value(EDataType::Null),
                  text(oRow.m_lColumns[a_iColumn]), oCell(a_pBefore), oCell(a_pAfter)});
}

NameList changeColumns(bool a_bRows)
{
    return a_bRows ? NameList{"table", "change", "Id", "column", "before", "after"} : NameList{"table"};
}

void addDiff(client::Rows& a_oLines, const std::string& a_sTable, const RowDiff& a_oDiff)
{
    for (const auto& oRow : a_oDiff.m_lRemoved) {
        for (std::size_t i = 0; i < oRow.m_lCells.size(); ++i) {
            addCsvCell(a_oLines, a_sTable, "removed", &oRow, nullptr, i);
        }
    }
    for (const auto& oChange : a_oDiff.m_lChanged) {
        for (std::size_t i = 0; i < oChange.m_oAfter.m_lCells.size(); ++i) {
            if (a_oDiff.differs(oChange, i)) {
                addCsvCell(a_oLines, a_sTable, "changed", &oChange.m_oBefore, &oChange.m_oAfter, i);
            }
        }
    }
    for (const auto& oRow : a_oDiff.m_lAdded) {
        for (std::size_t i = 0; i < oRow.m_lCells.size(); ++i) {
            addCsvCell(a_oLines, a_sTable, "added", nullptr, &oRow, i);
        }
    }
    if (a_oLines.empty()) { // an empty table at the start, or rows that could not be compared
        const Value oNull(EDataType::Null);
        a_oLines.add({text(a_sTable), oNull, oNull, oNull, oNull, oNull});
    }
}

void writeTextDiff(std::ostream& a_oStream, const RowDiff& a_oDiff)
{
    for (const auto& oRow : a_oDiff.m_lRemoved) {
        writeWholeRow(a_oStream, '-', oRow);
    }
    for (const auto& oChange : a_oDiff.m_lChanged) {
        writeChangedRow(a_oStream, oChange, a_oDiff);
    }
    for (const auto& oRow : a_oDiff.m_lAdded) {
        writeWholeRow(a_oStream, '+', oRow);
    }
}

JsonPtr jsonRows(const std::vector<client::RowView>& a_lRows)
{
    JsonPtr oRows(json_object_new_array());
    for (const auto& oRow : a_lRows) {
        addElement(oRows, jsonRow(oRow));
    }
    return oRows;
}

void addDiff(const JsonPtr& a_oChange, const RowDiff& a_oDiff)
{
    addMember(a_oChange, "added", jsonRows(a_oDiff.m_lAdded));
    addMember(a_oChange, "removed", jsonRows(a_oDiff.m_lRemoved));
    JsonPtr oChanged(json_object_new_array());
    for (const auto& [oBefore, oAfter] : a_oDiff.m_lChanged) {
        JsonPtr oPair(json_object_new_object());
        addMember(oPair, "before", jsonRow(oBefore));
        addMember(oPair, "after", jsonRow(oAfter));
        addElement(oChanged, std::move(oPair));
    }
    addMember(a_oChange, "changed", std::move(oChanged));
}

const char* stateName(CommandResult::EState a_eState)
{
    using enum CommandResult::EState;
    switch (a_eState) {
    case NotRun:
        return "not run";
    case Done:
        return "done";
    case Undone:
        return "undone";
    case Failed:
        return "failed";
    case Unknown:
        break;
    }
    return "unknown";
}

JsonPtr jsonResult(const CommandResult& a_oResult)
{
    JsonPtr oResult(json_object_new_object());
    addMember(oResult, "line", JsonPtr(json_object_new_int64(a_oResult.m_iLine)));
    addMember(oResult, "state", jsonText(stateName(a_oResult.m_eState)));
    if (a_oResult.m_oId && a_oResult.m_eState == CommandResult::EState::Done) {
        addMember(oResult, "id", JsonPtr(json_object_new_int64(*a_oResult.m_oId)));
    }
    if (a_oResult.m_oFailure) {
        addMember(oResult, "error", jsonText(a_oResult.m_oFailure->m_sText));
        addMember(oResult, "code", JsonPtr(json_object_new_int64(a_oResult.m_oFailure->m_iExit)));
    }
    return oResult;
}

} // namespace

void Printer::printFlat(const client::Rows& a_oRows, bool a_bHeader)
{
    if (m_eFormat == EFormat::Csv) {
        writeCsv(m_oStream, a_oRows, m_eReader);
    } else {
        writeTable(m_oStream, a_oRows, a_bHeader);
    }
}

void Printer::printRows(const client::Rows& a_oRows)
{
    if (m_eFormat == EFormat::Json) {
        writeJson(m_oStream, a_oRows);
    } else {
        printFlat(a_oRows, true);
    }
}

Outcome Printer::printValues(const client::Rows& a_oRows)
{
    if (const auto oColumn = writeValues(m_oStream, a_oRows, m_eReader)) {
        return client::Status::refused(EResultCode::Failure,
                                       "a value of " + *oColumn +
                                           " has more than one line; read it alone, or with --json or --csv");
    }
    return {};
}

void Printer::printNames(const std::string& a_sTitle, const NameList& a_lNames)
{
    if (m_eFormat == EFormat::Json) {
        JsonPtr oNames(json_object_new_array());
        for (const auto& sName : a_lNames) {
            addElement(oNames, jsonText(sName));
        }
        m_oStream << oNames << '\n';
        return;
    }
    client::Rows oRows(NameList{a_sTitle});
    for (const auto& sName : a_lNames) {
        oRows.add({text(sName)});
    }
    printFlat(oRows, false);
}

void Printer::printSchema(const TableSchema& a_oSchema)
{
    if (m_eFormat == EFormat::Json) {
        writeSchemaJson(m_oStream, a_oSchema);
        return;
    }
    printFlat(schemaRows(a_oSchema, m_eFormat == EFormat::Csv), true);
    if (m_eFormat == EFormat::Table && a_oSchema.m_oDescription) {
        m_oStream << '\n' << tableText(*a_oSchema.m_oDescription) << '\n';
    }
}

void Printer::printCount(std::uint32_t a_iCount)
{
    if (m_eFormat == EFormat::Json) {
        m_oStream << a_iCount << '\n';
        return;
    }
    client::Rows oRows(NameList{"count"});
    oRows.add({Value(EDataType::Unsigned, static_cast<int>(a_iCount))});
    printFlat(oRows, false);
}

void Printer::printIds(const std::vector<std::int32_t>& a_lIds)
{
    client::Rows oRows(NameList{"id"});
    for (const std::int32_t iId : a_lIds) {
        oRows.add({Value(EDataType::Integer, iId)});
    }
    if (m_eFormat != EFormat::Json) {
        return printFlat(oRows, false);
    }
    for (std::size_t i = 0; i < oRows.size(); ++i) {
        m_oStream << jsonRow(oRows[i]) << '\n';
    }
}

void Printer::printResults(const std::vector<CommandResult>& a_lResults, bool a_bDone)
{
    if (m_eFormat == EFormat::Json) {
        m_oStream << '[';
        for (const CommandResult& oResult : a_lResults) {
            m_oStream << (&oResult == &a_lResults.front() ? "\n " : ",\n ") << jsonResult(oResult);
        }
        m_oStream << (a_lResults.empty() ? "]\n" : "\n]\n");
        return;
    }
    std::vector<std::int32_t> lIds;
    for (const CommandResult& oResult : a_lResults) {
        if (oResult.m_oId) {
            lIds.push_back(*oResult.m_oId);
        }
    }
    if (a_bDone && !lIds.empty()) {
        printIds(lIds);
    }
}

void Printer::printRecord(const ValueList& a_lRecord)
{
    if (m_eFormat == EFormat::Json) {
        m_oStream << jsonRow(client::Rows(a_lRecord)[0]) << '\n';
        return;
    }
    client::Rows oRows(NameList{"name", "value"});
    for (const auto& [sName, oValue] : a_lRecord) {
        oRows.add({text(sName), text(oValue.toText())});
    }
    printFlat(oRows, false);
}

void Printer::printFindings(const std::string& a_sTitle, const std::vector<Finding>& a_lFindings)
{
    client::Rows oRows(NameList{a_sTitle, "fault"});
    for (const auto& [sName, oFault] : a_lFindings) {
        if (m_eFormat == EFormat::Table) {
            m_oStream << printable(sName) << ": " << printable(oFault.value_or("ok")) << '\n';
        } else {
            oRows.add({text(sName), oFault ? text(*oFault) : Value(EDataType::Null)});
        }
    }
    if (m_eFormat != EFormat::Table) {
        printRows(oRows);
    }
}

void Printer::printChangeHead(bool a_bRows)
{
    if (m_eFormat == EFormat::Csv) {
        writeCsv(m_oStream, client::Rows(changeColumns(a_bRows)), m_eReader);
        m_oStream.flush();
    }
}

void Printer::printChange(const std::string& a_sTable, const RowDiff* a_pDiff)
{
    switch (m_eFormat) {
    case EFormat::Json: {
        JsonPtr oChange(json_object_new_object());
        addMember(oChange, "table", jsonText(a_sTable));
        if (a_pDiff != nullptr) {
            addDiff(oChange, *a_pDiff);
        }
        m_oStream << oChange << '\n';
        break;
    }
    case EFormat::Csv: {
        client::Rows oLines(changeColumns(a_pDiff != nullptr));
        if (a_pDiff != nullptr) {
            addDiff(oLines, a_sTable, *a_pDiff);
        } else {
            oLines.add({text(a_sTable)});
        }
        writeCsv(m_oStream, oLines, m_eReader, false);
        break;
    }
    case EFormat::Table:
        m_oStream << printable(a_sTable) << '\n';
        if (a_pDiff != nullptr) {
            writeTextDiff(m_oStream, *a_pDiff);
        }
        break;
    }
    m_oStream.flush();
}

} // namespace systema::cli

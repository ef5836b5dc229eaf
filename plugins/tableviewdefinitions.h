// Reads the definitions of the views from the stored tables "ViewNames" and "ViewColumns".
//
// A local object of TableViewPlugin while it loads. A view is read with all its columns or left out, which
// the log explains: it must have a name of its own, and its tables must not be views that are defined later,
// so that no view is made of itself.
#pragma once

#include "plugins/tableview.h"
#include "systema/configdispatcher.h"

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zel {

class TableViewDefinitions
{
public:
    static constexpr const char* c_pViewNames = "ViewNames";
    static constexpr const char* c_pViewColumns = "ViewColumns";

    /// Memory for all definitions, in bytes: a hundred times what a real device needs.
    static constexpr std::size_t c_iMostBytes = 4 * 1024 * 1024;
    /// Greatest number of levels of views, the lowest counted; each level reads those below it several times.
    static constexpr unsigned int c_iMostLevels = 8;

    TableViewDefinitions(systema::ConfigDispatcher& a_oDispatcher, int a_iModule)
        : m_oDispatcher(a_oDispatcher),
          m_iModule(a_iModule)
    {
    }

    /// The views in the order of "ViewNames". Called once.
    std::vector<TableView> read();

private:
    struct Entry
    {
        TableView m_oView;
        int m_iId;                 // in the definition
        bool m_bWhole = true;      // false: there was no room for all of it
        unsigned int m_iLevel = 1; // 2 for a view of a view, and so on
    };

    void readRows(const char* a_pTable, const std::function<void(const systema::ValueList&)>& a_oAdd);
    void addView(const systema::ValueList& a_lDefinition);
    void addColumn(const systema::ValueList& a_lDefinition);
    bool take(std::size_t a_iBytes);
    /// Why the view at the position is left out, empty when it is not.
    std::string findObstacle(std::size_t a_iView);

    systema::ConfigDispatcher& m_oDispatcher;
    const int m_iModule;
    std::vector<Entry> m_lViews;
    std::unordered_multimap<int, std::size_t> m_mById;          // positions in the list
    std::unordered_map<std::string, std::size_t> m_mLastOfName; // the last position with the name
    std::unordered_map<std::string, std::size_t> m_mTaken;      // of the views that are not left out
    std::size_t m_iBytes = 0;                                   // taken so far
    unsigned int m_iBeyond = 0;                                 // rows of "ViewNames" that had no room
};

} // namespace zel

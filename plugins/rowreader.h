// Reading of a row cursor one row at a time, as rows with names.
#pragma once

#include "systema/rowsource.h"

namespace zel {

/// Reads the next row, which takes the place of what the list holds. 0; 10 after the last row; else the code
/// of the cursor.
systema::EResultCode readRow(systema::ValueList& a_oRow, systema::IRowCursor& a_oRows);

} // namespace zel

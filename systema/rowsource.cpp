#include "systema/rowsource.h"

namespace systema {

void IRowSink::addValue(const Value& a_oValue)
{
    switch (a_oValue.getType()) {
    case EDataType::Integer:
        addInteger(a_oValue.getInteger());
        break;
    case EDataType::Unsigned:
        addUnsigned(a_oValue.getUnsigned());
        break;
    case EDataType::Text:
        addText(a_oValue.getText());
        break;
    default:
        addNull();
        break;
    }
}

} // namespace systema

#include "storage/sqlitetype.h"

#include "zel/convert.h"

#include <cstring>

namespace systema {

EDataType SqliteType::getDataType(const char* a_pDeclaredType)
{
    const auto contains = [a_pDeclaredType](const char* a_pPart) {
        return a_pDeclaredType != nullptr && ::strcasestr(a_pDeclaredType, a_pPart) != nullptr;
    };
    if (contains("UNSIGNED")) {
        return EDataType::Unsigned;
    }
    if (contains("INT")) {
        return EDataType::Integer;
    }
    return contains("TEXT") || contains("CHAR") ? EDataType::Text : EDataType::Null;
}

Value SqliteType::setValueType(const char* a_pText, EDataType a_eType)
{
    Value oValue(EDataType::Null);
    const auto number = [a_pText] { return zel::lowest32Bits(a_pText); };
    switch (a_eType) {
    case EDataType::Integer:
        oValue.setInteger(number());
        break;
    case EDataType::Unsigned:
        oValue.setUnsigned(static_cast<unsigned>(number()));
        break;
    case EDataType::Text:
        oValue.setText(a_pText);
        break;
    default:
        break;
    }
    return oValue;
}

} // namespace systema

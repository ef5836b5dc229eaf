// One typed value: NULL, a signed or an unsigned 32-bit integer, or a text.
#pragma once

#include "systema/protocol.h"

#include <memory>
#include <string>

namespace systema {

/// The content of a value.
class IDataType
{
public:
    virtual ~IDataType() = default;
};

/// A value with its type. Copies are deep; a moved-from value is NULL.
class Value : public IDataType
{
public:
    /// An empty value of the type: NULL, 0 or an empty text. A code without a meaning gives NULL.
    explicit Value(unsigned a_iType);
    /// An integer value; with type 3 the same bits as unsigned.
    Value(unsigned a_iType, int a_iValue);
    /// A text value.
    Value(unsigned a_iType, std::string a_sText);

    Value(const Value& a_oOther);
    Value(Value&& a_oOther) noexcept;
    Value& operator=(const Value& a_oOther);
    Value& operator=(Value&& a_oOther) noexcept;
    ~Value() override;

    protocol::EDataType getType() const { return m_iType; }

    /// The integer; an unsigned value gives the same bits, a text the number it starts with (as atoi, at
    /// the ends of the range when it is beyond them), NULL gives 0.
    int getInteger() const;
    /// The same for unsigned.
    unsigned int getUnsigned() const;
    /// The text; an empty text for every other type. Lives as long as the value is not changed.
    const std::string& getText() const;
    /// The value as a person would write it: numbers in decimal, NULL as an empty text.
    std::string toText() const;

    void setInteger(int a_iValue);
    void setUnsigned(unsigned int a_iValue);
    void setText(std::string a_sText);
    void setNull();

    /// Same type and same content.
    bool operator==(const Value& a_oOther) const;

private:
    unsigned m_iType;
    std::unique_ptr<IDataType> m_pContent; // null for NULL
};

} // namespace systema

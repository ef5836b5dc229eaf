#include "systema/value.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace systema {

namespace {

struct Number : IDataType
{
    explicit Number(unsigned a_iBits) : m_iBits(a_iBits) {}
    unsigned m_iBits;
};

struct Text : IDataType
{
    explicit Text(std::string a_sText) : m_sText(std::move(a_sText)) {}
    std::string m_sText;
};

unsigned& bits(const std::unique_ptr<IDataType>& a_pContent)
{
    return static_cast<Number&>(*a_pContent).m_iBits;
}

std::string& text(const std::unique_ptr<IDataType>& a_pContent)
{
    return static_cast<Text&>(*a_pContent).m_sText;
}

std::unique_ptr<IDataType> copyContent(unsigned a_iType, const std::unique_ptr<IDataType>& a_pContent)
{
    switch (a_iType) {
    case EDataType::Integer:
    case EDataType::Unsigned:
        return std::make_unique<Number>(bits(a_pContent));
    case EDataType::Text:
        return std::make_unique<Text>(text(a_pContent));
    default:
        return nullptr;
    }
}

template<typename Int>
Int numberAtStart(const std::string& a_sText)
{
    const long long iNumber = std::strtoll(a_sText.c_str(), nullptr, 10);
    return static_cast<Int>(
        std::clamp<long long>(iNumber, std::numeric_limits<Int>::min(), std::numeric_limits<Int>::max()));
}

} // namespace

Value::Value(unsigned a_iType) : m_iType(EDataType::Null)
{
    switch (a_iType) {
    case EDataType::Integer:
        setInteger(0);
        break;
    case EDataType::Unsigned:
        setUnsigned(0);
        break;
    case EDataType::Text:
        setText({});
        break;
    default:
        break;
    }
}

Value::Value(unsigned a_iType, int a_iValue) : Value(EDataType::Null)
{
    if (a_iType == EDataType::Unsigned) {
        setUnsigned(static_cast<unsigned>(a_iValue));
    } else if (a_iType == EDataType::Integer) {
        setInteger(a_iValue);
    }
}

Value::Value(unsigned a_iType, std::string a_sText) : Value(EDataType::Null)
{
    if (a_iType == EDataType::Text) {
        setText(std::move(a_sText));
    }
}

Value::Value(const Value& a_oOther)
    : IDataType(a_oOther),
      m_iType(a_oOther.m_iType),
      m_pContent(copyContent(m_iType, a_oOther.m_pContent))
{
}

Value::Value(Value&& a_oOther) noexcept
    : m_iType(std::exchange(a_oOther.m_iType, EDataType::Null)),
      m_pContent(std::move(a_oOther.m_pContent))
{
}

Value& Value::operator=(const Value& a_oOther)
{
    return *this = Value(a_oOther);
}

Value& Value::operator=(Value&& a_oOther) noexcept
{
    m_pContent = std::move(a_oOther.m_pContent);
    m_iType = std::exchange(a_oOther.m_iType, EDataType::Null);
    return *this;
}

Value::~Value() = default;

int Value::getInteger() const
{
    return m_iType == EDataType::Text ? numberAtStart<int>(text(m_pContent))
                                      : static_cast<int>(getUnsigned());
}

unsigned int Value::getUnsigned() const
{
    switch (m_iType) {
    case EDataType::Integer:
    case EDataType::Unsigned:
        return bits(m_pContent);
    case EDataType::Text:
        return numberAtStart<unsigned>(text(m_pContent));
    default:
        return 0;
    }
}

const std::string& Value::getText() const
{
    static const std::string c_sEmpty;
    return m_iType == EDataType::Text ? text(m_pContent) : c_sEmpty;
}

std::string Value::toText() const
{
    switch (m_iType) {
    case EDataType::Integer:
        return std::to_string(getInteger());
    case EDataType::Unsigned:
        return std::to_string(getUnsigned());
    default:
        return getText();
    }
}

void Value::setInteger(int a_iValue)
{
    m_pContent = std::make_unique<Number>(static_cast<unsigned>(a_iValue));
    m_iType = EDataType::Integer;
}

void Value::setUnsigned(unsigned int a_iValue)
{
    m_pContent = std::make_unique<Number>(a_iValue);
    m_iType = EDataType::Unsigned;
}

void Value::setText(std::string a_sText)
{
    m_pContent = std::make_unique<Text>(std::move(a_sText));
    m_iType = EDataType::Text;
}

void Value::setNull()
{
    m_pContent.reset();
    m_iType = EDataType::Null;
}

bool Value::operator==(const Value& a_oOther) const
{
    if (m_iType != a_oOther.m_iType) {
        return false;
    }
    return m_iType == EDataType::Text ? getText() == a_oOther.getText()
                                      : getUnsigned() == a_oOther.getUnsigned();
}

} // namespace systema

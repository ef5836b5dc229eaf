#include "device/securepassword.h"

#include <crypt.h>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace zel::securepassword {

namespace {

struct Erase
{
    void operator()(crypt_data* a_pData) const
    {
        ::explicit_bzero(a_pData, sizeof *a_pData);
        delete a_pData;
    }
};

struct Free
{
    void operator()(char* a_pText) const { std::free(a_pText); }
};

/// What a setting of the algorithm begins with; null for the library's choice.
const char* prefix(EAlgorithm a_eAlgorithm)
{
    switch (a_eAlgorithm) {
    case EAlgorithm::Md5:
        return "$1$";
    case EAlgorithm::Sha256:
        return "$5$";
    case EAlgorithm::Sha512:
        return "$6$";
    case EAlgorithm::Default:
        break;
    }
    return nullptr;
}

/// A setting with a random salt; empty when there is none to be had.
std::string freshSalt(EAlgorithm a_eAlgorithm)
{
    const std::unique_ptr<char, Free> pSalt(::crypt_gensalt_ra(prefix(a_eAlgorithm), 0, nullptr, 0));
    return pSalt ? pSalt.get() : "";
}

} // namespace

Password::Password(std::string a_sText) : m_sText(std::move(a_sText)) {}

Password::~Password()
{
    ::explicit_bzero(m_sText.data(), m_sText.size());
}

bool Password::updateWithContext(const Context& a_oContext)
{
    m_sHash.clear();
    const std::string sSalt =
        a_oContext.m_sSalt.empty() ? freshSalt(a_oContext.m_eAlgorithm) : a_oContext.m_sSalt;
    const bool bWhole = m_sText.find('\0') == std::string::npos; // the library would hash what is before it
    if (sSalt.empty() || !bWhole) {
        return false;
    }
    const std::unique_ptr<crypt_data, Erase> pData(new crypt_data());
    const char* pHash = ::crypt_r(m_sText.c_str(), sSalt.c_str(), pData.get());
    if (pHash == nullptr || *pHash == '*') {
        return false;
    }
    m_sHash = pHash;
    return true;
}

} // namespace zel::securepassword

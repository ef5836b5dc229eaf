// Hashes of passwords in modular crypt format.
//
// Replaced per board where it has a hash of its own. Any thread. Nothing throws but std::bad_alloc; a hash
// that cannot be made is an empty text.
#pragma once

#include <string>

namespace zel::securepassword {

enum class EAlgorithm
{
    Default = 1, // the library's preferred method
    Md5 = 2,     // $1$
    Sha256 = 3,  // $5$
    Sha512 = 4   // $6$
};

struct Context
{
    EAlgorithm m_eAlgorithm = EAlgorithm::Default;
    std::string m_sSalt{}; // a setting as crypt(3) takes it; empty for a fresh random one
};

class Password
{
public:
    explicit Password(std::string a_sText);
    ~Password();
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    /// Makes the hash of the text. False when the context's salt or the text cannot be hashed.
    bool updateWithContext(const Context& a_oContext);
    /// The hash made last, empty before and after a failure.
    const std::string& str() const { return m_sHash; }

private:
    std::string m_sText; // erased when it goes
    std::string m_sHash;
};

} // namespace zel::securepassword

// Runs a fuzz target over its sample inputs and over every truncation of them, as an ordinary test.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize);

TEST(Corpus, EverySampleAndEveryTruncationOfIt)
{
    unsigned iSamples = 0;
    for (const auto& oEntry : std::filesystem::directory_iterator(LEDGERD_CORPUS)) {
        std::ifstream oFile(oEntry.path(), std::ios::binary);
        const std::vector<char> lBytes{std::istreambuf_iterator<char>(oFile), {}};
        for (std::size_t iSize = 0; iSize <= lBytes.size(); ++iSize) {
            // A copy of just this size, so that the address sanitizer sees a read past its end.
            const std::vector<unsigned char> lInput(lBytes.begin(),
                                                    lBytes.begin() + static_cast<std::ptrdiff_t>(iSize));
            EXPECT_EQ(LLVMFuzzerTestOneInput(lInput.data(), lInput.size()), 0) << oEntry.path();
        }
        ++iSamples;
    }
    EXPECT_GT(iSamples, 0U);
}

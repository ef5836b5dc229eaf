// Runs a fuzz target over the sample inputs in a directory and over every truncation of them, as an ordinary
// test: a fault ends the program, and a target that gives anything but 0, or a directory without samples,
// makes it end with another status than 0.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize);

int main(int a_iCount, char** a_pArguments)
{
    if (a_iCount != 2) {
        std::cerr << "usage: " << a_pArguments[0] << " DIRECTORY" << std::endl;
        return EXIT_FAILURE;
    }
    bool bPassed = false;
    for (const auto& oEntry : std::filesystem::directory_iterator(a_pArguments[1])) {
        std::ifstream oFile(oEntry.path(), std::ios::binary);
        const std::vector<char> lBytes{std::istreambuf_iterator<char>(oFile), {}};
        for (std::size_t iSize = 0; iSize <= lBytes.size(); ++iSize) {
            // A copy of just this size, so that the address sanitizer sees a read past its end.
            const std::vector<unsigned char> lInput(lBytes.begin(),
                                                    lBytes.begin() + static_cast<std::ptrdiff_t>(iSize));
            if (LLVMFuzzerTestOneInput(lInput.data(), lInput.size()) != 0) {
                std::cerr << oEntry.path() << ", " << iSize << " bytes of it: refused" << std::endl;
                return EXIT_FAILURE;
            }
        }
        bPassed = true;
    }
    return bPassed ? EXIT_SUCCESS : EXIT_FAILURE;
}

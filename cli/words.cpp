#include "cli/words.h"

namespace systema::cli {

std::optional<std::vector<std::string>> splitWords(std::string_view a_sLine)
{
    std::vector<std::string> lWords;
    bool bInWord = false;
    char cQuote = 0;
    for (std::size_t i = 0; i < a_sLine.size(); ++i) {
        char cByte = a_sLine[i];
        if (cQuote == 0 && (cByte == ' ' || cByte == '\t' || cByte == '\r')) {
            bInWord = false;
            continue;
        }
        if (!bInWord) {
            if (cByte == '#') {
                break;
            }
            lWords.emplace_back();
            bInWord = true;
        }
        const bool bOpens = cQuote == 0 && (cByte == '\'' || cByte == '"');
        if (bOpens || (cQuote != 0 && cByte == cQuote)) {
            cQuote = bOpens ? cByte : 0;
            continue;
        }
        if (cByte == '\\' && cQuote != '\'') {
            if (i + 1 == a_sLine.size()) {
                return {};
            }
            const char cNext = a_sLine[i + 1];
            if (cQuote == 0 || cNext == '"' || cNext == '\\') { // elsewhere in "quotes" it stands for itself
                cByte = cNext;
                ++i;
            }
        }
        lWords.back() += cByte;
    }
    return cQuote == 0 ? std::optional(std::move(lWords)) : std::nullopt;
}

} // namespace systema::cli

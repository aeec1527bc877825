#include <quoria/util/tokenize.h>

namespace Quoria::Util {

std::vector<std::string> tokenize(const std::string& str, const std::string& delimiters) {
    std::vector<std::string> tokens;
    auto start = str.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        const auto end = str.find_first_of(delimiters, start);
        tokens.push_back(str.substr(start, end - start));
        start = str.find_first_not_of(delimiters, end);
    }
    return tokens;
}

}  // namespace Quoria::Util

#include "tracedStatements.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

unsigned int lineOf(const std::string& source, std::size_t position) {
    const auto end = source.begin() + static_cast<std::ptrdiff_t>(position);
    return 1 + static_cast<unsigned int>(std::count(source.begin(), end, '\n'));
}

// The parenthesis that closes the one at `position`.
std::size_t closingParenthesis(const std::string& source, std::size_t position) {
    int depth = 0;
    bool inString = false;
    for (; position < source.size(); ++position) {
        const char character = source[position];
        if (character == '"' && source[position - 1] != '\\') {
            inString = !inString;
        } else if (!inString && character == '(') {
            ++depth;
        } else if (!inString && character == ')' && --depth == 0) {
            break;
        }
    }
    return position;
}

void findIn(const std::filesystem::path& file, std::vector<TracedStatement>& statements) {
    std::ifstream stream(file);
    const std::string source{std::istreambuf_iterator<char>(stream),
                             std::istreambuf_iterator<char>()};
    static const std::regex statement("QTRACE_([A-Z0-9_]+)\\(");
    for (std::sregex_iterator found(source.begin(), source.end(), statement), end; found != end;
         ++found) {
        const std::string event = (*found)[1];
        const auto begin = static_cast<std::size_t>(found->position());
        const std::size_t parenthesis = begin + static_cast<std::size_t>(found->length()) - 1;
        if (event.find("_ENABLED") == std::string::npos) {
            statements.push_back({event, file.filename(), lineOf(source, begin),
                                  lineOf(source, closingParenthesis(source, parenthesis))});
        }
    }
}

}  // namespace

std::vector<TracedStatement> findTracedStatements(const std::string& folder) {
    std::vector<TracedStatement> statements;
    for (const auto& module : std::filesystem::directory_iterator(folder)) {
        if (!std::filesystem::is_directory(module.path() / "src")) {
            continue;
        }
        for (const auto& file : std::filesystem::directory_iterator(module.path() / "src")) {
            findIn(file.path(), statements);
        }
    }
    return statements;
}

// expectedTexts.h: everything that the library says in a trace, to the letter.
#ifndef EXPECTEDTEXTS_H
#define EXPECTEDTEXTS_H

#include <map>
#include <string>
#include <vector>

struct ExpectedText {
    const char* event;
    int level;
    // What stands in <> differs from run to run.
    std::string text;
};

const std::vector<ExpectedText>& expectedTexts();

// What the names in <> stand for, by name.
using Meanings = std::map<std::string, std::string>;

// The text with the names replaced that have a meaning.
std::string withMeanings(const std::string& text, const Meanings& meanings);
// Whether `text` is `expected` for some meanings of the names in it: for addresses, numbers and
// hexadecimal numbers, whichever it is that a name stands for.
bool matches(const std::string& text, const std::string& expected);

#endif

#include "text.h"

#include <gtest/gtest.h>

namespace {

using Rci::jsonString;
using Rci::printable;
using Rci::width;

TEST(Printable, TextStaysAsItIs) {
    EXPECT_EQ(printable("greet \\ \"you\" \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"),
              "greet \\ \"you\" \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, ControlCharactersAreEscaped) {
    EXPECT_EQ(printable("a\n\x1B[31m\x7F"), "a\\x0a\\x1b[31m\\x7f");
    EXPECT_EQ(printable("\xC2\x9B"), "\\xc2\\x9b") << "the control sequence introducer of C1";
}

TEST(Printable, WhatIsNotUtf8IsEscapedByteByByte) {
    EXPECT_EQ(printable("a\xFFz"), "a\\xffz");
    EXPECT_EQ(printable("\xE2\x82"), "\\xe2\\x82") << "cut off";
    EXPECT_EQ(printable("\xC3z"), "\\xc3z") << "not continued";
    EXPECT_EQ(printable("\x80"), "\\x80") << "a continuation of nothing";
    EXPECT_EQ(printable("\xC0\xAF"), "\\xc0\\xaf") << "longer than needed";
    EXPECT_EQ(printable("\xE0\x80\xAF"), "\\xe0\\x80\\xaf") << "longer than needed";
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xed\\xa0\\x80") << "half of a surrogate pair";
    EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond Unicode";
}

TEST(Width, CountsCharactersAndNotBytes) {
    EXPECT_EQ(width("greet"), 5U);
    EXPECT_EQ(width("gr\xC3\xBC\xC3\x9F"), 4U);
    EXPECT_EQ(width(""), 0U);
}

TEST(JsonString, QuotesTheText) {
    EXPECT_EQ(jsonString("greet"), "\"greet\"");
    EXPECT_EQ(jsonString(""), "\"\"");
    EXPECT_EQ(jsonString("gr\xC3\xBC\xC3\x9F"), "\"gr\xC3\xBC\xC3\x9F\"");
}

TEST(JsonString, EscapesWhatJsonReserves) {
    EXPECT_EQ(jsonString("\"\\\n\t\x01\x1F"), "\"\\\"\\\\\\n\\t\\u0001\\u001f\"");
}

TEST(JsonString, StaysUtf8WhateverTheBytes) {
    EXPECT_EQ(jsonString("a\xFFz"), "\"a\xEF\xBF\xBDz\"");
    EXPECT_EQ(jsonString("\xED\xA0\x80"), "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

}  // namespace

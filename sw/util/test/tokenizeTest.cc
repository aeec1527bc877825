#include <quoria/util/tokenize.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Quoria::Util::tokenize;
using Tokens = std::vector<std::string>;

TEST(Tokenize, TokensAreWhatLiesBetweenTheDelimiters) {
    EXPECT_EQ(tokenize("one,two,three", ","), (Tokens{"one", "two", "three"}));
}

TEST(Tokenize, EachCharacterOfTheDelimitersSeparates) {
    EXPECT_EQ(tokenize("a,b;c d", " ,;"), (Tokens{"a", "b", "c", "d"}));
}

TEST(Tokenize, TheDelimitersAreASetAndNotASequence) {
    EXPECT_EQ(tokenize("a>b->c-d", "->"), (Tokens{"a", "b", "c", "d"}));
}

TEST(Tokenize, DelimitersInARowAndAtBothEndsGiveNoEmptyTokens) {
    EXPECT_EQ(tokenize("  a,,b ", " ,"), (Tokens{"a", "b"}));
}

TEST(Tokenize, AStringWithoutADelimiterIsOneToken) {
    EXPECT_EQ(tokenize("abc", ","), Tokens{"abc"});
}

TEST(Tokenize, WithoutDelimitersTheStringIsOneToken) {
    EXPECT_EQ(tokenize("abc", ""), Tokens{"abc"});
    EXPECT_EQ(tokenize(" a b ", ""), Tokens{" a b "});
}

TEST(Tokenize, AnEmptyStringHasNoTokens) {
    EXPECT_EQ(tokenize("", ","), Tokens{});
    EXPECT_EQ(tokenize("", ""), Tokens{});
}

TEST(Tokenize, AStringOfDelimitersOnlyHasNoTokens) {
    EXPECT_EQ(tokenize(",", ","), Tokens{});
    EXPECT_EQ(tokenize(", ,,", " ,"), Tokens{});
}

TEST(Tokenize, TheLastTokenNeedsNoDelimiterAfterIt) {
    EXPECT_EQ(tokenize(",ab", ","), Tokens{"ab"});
    EXPECT_EQ(tokenize("ab,", ","), Tokens{"ab"});
}

TEST(Tokenize, ZeroBytesAreCharactersLikeAnyOther) {
    const std::string zero(1, '\0');
    EXPECT_EQ(tokenize("a" + zero + "b", zero), (Tokens{"a", "b"}));
    EXPECT_EQ(tokenize("a" + zero + ",b", ","), (Tokens{"a" + zero, "b"}));
}

TEST(Tokenize, BytesBeyondAsciiAreCharactersLikeAnyOther) {
    EXPECT_EQ(tokenize("\xC3\xA4,\xFF", ","), (Tokens{"\xC3\xA4", "\xFF"}));
}

}  // namespace

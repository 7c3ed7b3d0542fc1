// How errors are shown, and what happens with texts that are cut off, damaged or malicious.
#include "text_support.h"

#include <fenletir/text.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace Fenlet::TextTests {
namespace {

std::string shown(const std::string& text) {
    return parseProgram(text).error.shown;
}

TEST(TextErrors, ShowTheLineWithACaretBelowThePlace) {
    EXPECT_EQ(shown("field f\n  a : f33 = Add\noutput a"), "  a : f33 = Add\n"
                                                           "      ^^^");
    EXPECT_EQ(shown("field\r\n"), "field\n"
                                  "     ^");
    EXPECT_EQ(shown("field # the name is missing"), "field # the name is missing\n"
                                                    "                           ^");
    EXPECT_EQ(shown("="), "=\n^");
}

TEST(TextErrors, CountCharactersNotBytes) {
    const ParseError error = parseProgram("\th\xc3\xb6he : f33 = Add").error;
    EXPECT_EQ(error.column, 9);
    EXPECT_EQ(error.shown, " h\xc3\xb6he : f33 = Add\n"
                           "        ^^^");
}

TEST(TextErrors, ShowNothingThatDisturbsATerminal) {
    const ParseError error = parseProgram("field \"\x1b[2J\xff\xe2\x80\xae\" \x07").error;
    EXPECT_EQ(error.column, 16);
    EXPECT_EQ(error.message, "expected the end of the line, found \"\\x07\"");
    EXPECT_EQ(error.shown, "field \"?[2J??\" ?\n"
                           "               ^");
}

TEST(TextErrors, ShowAPieceOfALongLine) {
    const std::string wide(1000, 'a');
    const ParseError error = parseProgram(wide + " : f33 = " + wide).error;
    EXPECT_EQ(error.column, 1004);
    EXPECT_EQ(error.message,
              "expected a type such as f32 or i64x3, found \"f33\"; did you mean \"f32\"?");
    EXPECT_EQ(error.shown, "..." + wide.substr(0, 57) + " : f33 = " + wide.substr(0, 54) + "...\n" +
                               std::string(63, ' ') + "^^^");
}

TEST(TextErrors, ShowWholeCharactersOfALongLine) {
    const std::string globe = "\xf0\x9f\x8c\x8d";
    std::string globes;
    for (int count = 0; count < 30; ++count)
        globes += globe;
    for (std::size_t blanks = 1; blanks <= 4; ++blanks) {
        // The error moves by one byte each time, so that the shown piece would begin or end within
        // a character.
        const std::string gap(blanks, ' ');
        const ParseError error = parseProgram("field " + globes + gap + "!" + globes).error;
        EXPECT_EQ(error.column, 37 + static_cast<int>(blanks));
        EXPECT_EQ(error.shown.find(globe), 3u) << error.shown;
        EXPECT_EQ(error.shown.find('?'), std::string::npos) << error.shown;
    }
}

TEST(TextErrors, CiteAPieceOfALongWord) {
    EXPECT_EQ(parseProgram("a : " + std::string(100000, 'b')).error.message,
              "expected a type such as f32 or i64x3, found \"" + std::string(40, 'b') + "\"...");
}

/// Expects that the text is read and its listing reads back as the same program, or that the error
/// is complete.
void expectSoundAnswer(const std::string& text) {
    const ParseResult result = parseProgram(text);
    if (result.ok()) {
        const ParseResult again = parseProgram(listing(result.program));
        ASSERT_TRUE(again.ok()) << text << again.error.message;
        ASSERT_EQ(image(again.program), image(result.program)) << text;
        return;
    }
    const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
    ASSERT_GE(result.error.line, 1) << text;
    ASSERT_LE(result.error.line, lines) << text;
    ASSERT_GE(result.error.column, 1) << text;
    ASSERT_EQ(image(result.program), "") << text;
    ASSERT_EQ(std::count(result.error.shown.begin(), result.error.shown.end(), '\n'), 1) << text;
    ASSERT_EQ(result.error.shown.back(), '^') << text;
    ASSERT_LT(result.error.shown.size(), 1000u) << text;
    ASSERT_LT(result.error.message.size(), 400u) << text;
}

TEST(DamagedText, IsAnsweredWhereverItIsCutOff) {
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
        const std::string text = listing(ProgramDice(seed).draw());
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::string piece = text.substr(0, length);
            ASSERT_NO_FATAL_FAILURE(expectSoundAnswer(piece));
            // Bytes after the end of the text must make no difference.
            const ParseResult apart = parseProgram(piece);
            const ParseResult before = parseProgram(std::string_view(text).substr(0, length));
            ASSERT_EQ(before.error.message, apart.error.message) << piece;
            ASSERT_EQ(before.error.shown, apart.error.shown) << piece;
            ASSERT_EQ(image(before.program), image(apart.program)) << piece;
        }
    }
}

/// Changes, drops, doubles or moves some bytes.
void damage(std::string& text, ProgramDice& dice) {
    static const std::string telling = "%@:=()[],\"\\#\n\r\t -.x0159eabrfnN\x80\xc3\xff";
    for (std::uint64_t left = 1 + dice.below(3); left > 0 && !text.empty(); --left) {
        const std::size_t place = dice.below(text.size());
        switch (dice.below(5)) {
        case 0:
            text[place] = static_cast<char>(static_cast<unsigned char>(dice.below(256)));
            break;
        case 1:
            text[place] = telling[dice.below(telling.size())];
            break;
        case 2:
            text.erase(place, 1 + dice.below(6));
            break;
        case 3:
            text.insert(place, 1, telling[dice.below(telling.size())]);
            break;
        default:
            text.insert(dice.below(text.size()), text.substr(place, dice.below(20)));
        }
    }
}

TEST(DamagedText, IsAnsweredWhateverItsBytesAre) {
    int read = 0;
    for (std::uint64_t seed = 0; seed < 20000; ++seed) {
        ProgramDice dice(seed);
        std::string text = listing(dice.draw());
        damage(text, dice);
        ASSERT_NO_FATAL_FAILURE(expectSoundAnswer(text)) << "seed " << seed;
        read += parseProgram(text).ok();
    }
    // Some texts were read, and many were not.
    EXPECT_GT(read, 500);
    EXPECT_LT(read, 19000);
}

TEST(DamagedText, IsAnsweredIfItIsNoise) {
    ProgramDice dice(1);
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        for (std::uint64_t left = dice.below(100); left > 0; --left)
            text += static_cast<char>(static_cast<unsigned char>(dice.below(256)));
        ASSERT_NO_FATAL_FAILURE(expectSoundAnswer(text));
    }
}

TEST(HugeText, IsAnsweredInBoundedStackAndTime) {
    const std::size_t many = 2000000;
    const std::string heads[] = {"", "constant @0 = ", "a : f32 = Negate ", "field \"", "a : f32x"};
    const std::string pieces[] = {"(", "\"", "\\", "%", "9", "-", "#", "[", "a", "\xbf", "\xf0"};
    for (const std::string& head : heads)
        for (const std::string& piece : pieces) {
            std::string text = head;
            text.append(many, piece.front());
            ASSERT_NO_FATAL_FAILURE(expectSoundAnswer(text)) << head << " " << piece;
        }
}

} // namespace
} // namespace Fenlet::TextTests

// The example that filters a table by a three-valued rule, run as a program.
#include "doubles/process.h"
#include "hosts/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace Fenlet::Examples {
namespace {

using namespace Doubles;

using Strings = std::vector<std::string>;

const std::string stations = STATIONS_TABLE;

class RulesExample : public testing::Test {
  protected:
    Outcome ask(const Strings& arguments, const std::string& output = "") const {
        return run({RULES_PROGRAM, arguments, folder.path(), output, false, -1, ""});
    }

    std::string answer(const Strings& arguments) const {
        const Outcome outcome = ask(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.error, "");
        return outcome.output;
    }

    /// The counts, which are on the first line, followed by the numbers of the rows for which the
    /// rule is true.
    std::string summary(const Strings& arguments) const {
        const std::string all = answer(arguments);
        std::string text;
        std::size_t number = 0;
        for (std::size_t at = 0; at < all.size(); ++number) {
            const std::size_t end = std::min(all.find('\n', at), all.size());
            const std::string line = all.substr(at, end - at);
            if (number == 0)
                text = line + ":";
            else if (number > 1)
                text.append(" ").append(line, 0, line.find(','));
            at = end + 1;
        }
        return text;
    }

    /// Expects one line on standard error, a status other than 0, no output, and no change on disk.
    void expectFails(const Strings& arguments, const std::string& message,
                     const std::string& output = "") const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Strings before = folder.names();
        const Outcome outcome = ask(arguments, output);
        EXPECT_GT(outcome.status, 0);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.error, "rules: " + message + "\n");
        EXPECT_EQ(folder.names(), before);
    }

    Hosts::TemporaryFolder folder;
};

TEST_F(RulesExample, CountsTheStationsAndPrintsThoseThatHold) {
    EXPECT_EQ(answer({stations}), "true 5, false 2, unknown 3\n"
                                  "row,station,low,high,rain,automatic\n"
                                  "4,Dune Head,7.7,13.0,0.9,false\n"
                                  "6,Fern Valley,3.3,10.6,4.8,\n"
                                  "7,Gorse Moor,,,0.0,false\n"
                                  "8,Heather Tarn,-0.4,6.1,0.6,true\n"
                                  "10,Juniper Pass,-3.5,2.2,7.1,false\n");
    EXPECT_TRUE(folder.names().empty());
}

TEST_F(RulesExample, AnswersInThreeValues) {
    const auto counts = [this](const std::string& rule) { return summary({stations, rule}); };
    EXPECT_EQ(counts("true"), "true 10, false 0, unknown 0: 1 2 3 4 5 6 7 8 9 10");
    EXPECT_EQ(counts("false"), "true 0, false 10, unknown 0:");
    EXPECT_EQ(counts("unknown"), "true 0, false 0, unknown 10:");
    EXPECT_EQ(counts("not unknown"), "true 0, false 0, unknown 10:");
    EXPECT_EQ(counts("automatic"), "true 5, false 3, unknown 2: 1 2 3 5 8");
    EXPECT_EQ(counts("not automatic"), "true 3, false 5, unknown 2: 4 7 10");
    EXPECT_EQ(counts("automatic or not automatic"), "true 8, false 0, unknown 2: 1 2 3 4 5 7 8 10");
    EXPECT_EQ(counts("rain > 0.5"), "true 6, false 3, unknown 1: 2 4 5 6 8 10");
    EXPECT_EQ(counts("0.5 < rain"), "true 6, false 3, unknown 1: 2 4 5 6 8 10");
    EXPECT_EQ(counts("low = high"), "true 1, false 7, unknown 2: 5");
    EXPECT_EQ(counts("low <> high"), "true 7, false 1, unknown 2: 1 3 4 6 8 9 10");
    EXPECT_EQ(counts("low <= 5.0 and low >= 3.3"), "true 3, false 5, unknown 2: 1 5 6");
    EXPECT_EQ(counts("low > -1 and low < 1e1"), "true 7, false 1, unknown 2: 1 3 4 5 6 8 9");
    // "and" with false is false and "or" with true is true, even if the other operand is unknown.
    EXPECT_EQ(counts("unknown and low > 5"), "true 0, false 6, unknown 4:");
    EXPECT_EQ(counts("unknown or low > 5"), "true 2, false 0, unknown 8: 4 9");
    // "and" binds tighter than "or", and parentheses tighter than both.
    EXPECT_EQ(counts("true or true and false"),
              "true 10, false 0, unknown 0: 1 2 3 4 5 6 7 8 9 10");
    EXPECT_EQ(counts("(true or true) and false"), "true 0, false 10, unknown 0:");
}

TEST_F(RulesExample, AnswersTheSameInBlocksOfAnySize) {
    std::string table = "a,b,c\n";
    for (int i = 0; i < 3000; ++i) {
        table += i % 7 == 0 ? "NA" : std::to_string(i * 37 % 101);
        table += ',';
        table += i % 5 == 0 ? "" : std::to_string(i * 53 % 97);
        table += i % 3 == 0 ? ",true\n" : i % 3 == 1 ? ",false\n" : ",\n";
    }
    folder.write("table.csv", table);
    const Strings arguments = {"table.csv", "(a < b and c) or not (b >= 40)", "--limit", "5000"};
    const std::string expected = answer(arguments);
    EXPECT_GT(std::count(expected.begin(), expected.end(), '\n'), 100);
    for (const char* const size : {"1", "7", "1024", "65536"}) {
        Strings inBlocks = arguments;
        inBlocks.insert(inBlocks.end(), {"--block-size", size});
        EXPECT_TRUE(answer(inBlocks) == expected) << "in blocks of " << size;
    }
}

TEST_F(RulesExample, PrintsNoMoreRowsThanItIsAllowed) {
    const std::string head = "true 5, false 2, unknown 3\nrow,station,low,high,rain,automatic\n";
    EXPECT_EQ(answer({stations, "--limit", "0"}), head + "... and 5 more\n");
    EXPECT_EQ(answer({stations, "--limit", "1"}),
              head + "4,Dune Head,7.7,13.0,0.9,false\n... and 4 more\n");
    EXPECT_EQ(answer({stations, "--limit", "5"}), answer({stations}));
}

TEST_F(RulesExample, ReadsTablesAsOthersWriteThem) {
    folder.write("table.csv", "name,\"the \"\"size\"\"\",ok\r\n"
                              "\"Elm, upper\",3,true\r\n"
                              "\"two\nlines\",4,\r\n"
                              "\r\n"
                              "\"say \"\"no\"\"\",\"5\",NA");
    EXPECT_EQ(answer({"table.csv", "not unknown or true"}), "true 3, false 0, unknown 0\n"
                                                            "row,name,\"the \"\"size\"\"\",ok\n"
                                                            "1,\"Elm, upper\",3,true\n"
                                                            "2,\"two\nlines\",4,\n"
                                                            "3,\"say \"\"no\"\"\",5,NA\n");
    EXPECT_EQ(summary({"table.csv", "ok"}), "true 1, false 0, unknown 2: 1");
}

TEST_F(RulesExample, HasAnAnswerForATableWithoutRows) {
    folder.write("table.csv", "a,b\n");
    EXPECT_EQ(answer({"table.csv", "a < b"}), "true 0, false 0, unknown 0\nrow,a,b\n");
}

TEST_F(RulesExample, TakesAColumnWithNothingInItAsNumbersThatAreMissing) {
    folder.write("table.csv", "a,b\n1,\n2,NA\n");
    EXPECT_EQ(answer({"table.csv", "a < b"}), "true 0, false 0, unknown 2\nrow,a,b\n");
}

TEST_F(RulesExample, NamesTheTableAndWhatIsWrongWithIt) {
    const struct {
        std::string content, message;
    } rows[] = {
        {"", ": has no line that names its columns"},
        {"\n1,2\n", ": has no line that names its columns"},
        {"a,b\n1,2\n3\n", ":3: 1 fields where the first line names 2"},
        {"a,b\n1,2,3\n", ":2: 3 fields where the first line names 2"},
        {"a,b\n\"1\n2\",3\n4,5,6\n", ":4: 3 fields where the first line names 2"},
        {"a,b\n1,\"2\n", ":2: a quoted field has no end"},
        {"a,,c\n", ":1: column 2 has no name"},
        {"a,b,a\n", ":1: column 3 has the same name as another one, 'a'"},
        {"\"a\nb\",\"a\nb\"\n", ":1: column 2 has the same name as another one, 'a?b'"},
        {"\"a\x1B[31m\",\"a\x1B[31m\"\n",
         ":1: column 2 has the same name as another one, 'a?[31m'"},
        {std::string("a,b\n1,\0\n", 8), ":2: this is not a text file; it contains a zero byte"},
        {std::string("a,b\n1,\"\n\0\"\n", 11),
         ":3: this is not a text file; it contains a zero byte"},
    };
    for (const auto& row : rows) {
        folder.write("table.csv", row.content);
        expectFails({"table.csv", "a < b"}, "table.csv" + row.message);
    }
    expectFails({"missing.csv"}, "missing.csv: No such file or directory");
    expectFails({"."}, ".: cannot be read");
    expectFails({""}, "table: the file name is empty");
    expectFails({}, "examples/rules/stations.csv: No such file or directory");
    expectFails({"/dev/zero"}, "/dev/zero:1: this is not a text file; it contains a zero byte");
}

TEST_F(RulesExample, TellsWhereARuleIsWrong) {
    const std::string value = "a column, a number, 'not' or a '(' is expected";
    const std::string end = "'and', 'or' or the end is expected";
    const std::string number = "a number or a column of numbers is expected";
    const struct {
        std::string rule, message;
    } rows[] = {
        {"", "the rule ends where " + value},
        {"  ", "the rule ends where " + value},
        {"low", "the rule ends where a comparison is expected"},
        {"5", "the rule ends where a comparison is expected"},
        {"low <", "the rule ends where " + value},
        {"low < 1 and", "the rule ends where " + value},
        {"not", "the rule ends where " + value},
        {"((low < 1)", "the rule ends where a ')' is expected"},
        {"low < 1)", "the rule has ')' at character 8 where " + end},
        {"low < 1 low", "the rule has 'low' at character 9 where " + end},
        {"nope < 1", "the rule has 'nope' at character 1 where " + value},
        {"low == 1", "the rule has '=' at character 6 where " + value},
        {"low << 1", "the rule has '<' at character 6 where " + value},
        {"low < 1 or or", "the rule has 'or' at character 12 where " + value},
        {"low < automatic", "the rule has 'automatic' at character 7 where " + number},
        {"automatic < low", "the rule has '<' at character 11 where " + end},
        {"low \x01 1", "the rule has '?' at character 5 where a comparison is expected"},
        {"low < .", "the rule has a number that is malformed at character 7"},
        {"low < -.", "the rule has a number that is malformed at character 7"},
        {"low < 1.2.3", "the rule has '.3' at character 10 where " + end},
        {"low < 1e999", "the rule has a number that is out of range at character 7"},
        {"station = 1", "the rule compares column 'station', which holds text; only numbers and "
                        "truth values can be used"},
        {std::string(200, '(') + "low < 1", "the rule is nested more than 200 levels deep"},
    };
    for (const auto& row : rows)
        expectFails({stations, row.rule}, row.message);
    EXPECT_EQ(summary({stations, std::string(199, '(') + "true" + std::string(199, ')')}),
              summary({stations, "true"}));
}

TEST_F(RulesExample, NamesTheArgumentThatIsWrong) {
    const struct {
        Strings arguments;
        std::string message;
    } rows[] = {
        {{"--colour"}, "The following argument was not expected: --colour"},
        {{stations, "true", "more"}, "The following argument was not expected: more"},
        {{"--block-size", "0"}, "--block-size: Value 0 not in range 1 to 1048576"},
        {{"--block-size", "1048577"}, "--block-size: Value 1048577 not in range 1 to 1048576"},
        {{"--block-size", "few"}, "--block-size: Value few not in range 1 to 1048576"},
        {{"--limit", "-1"}, "--limit: -1 is not a finite number of 0 or more"},
        {{"--limit", "1.5"}, "Could not convert: --limit = 1.5"},
        {{"--limit"}, "--limit: 1 required INT missing"},
    };
    for (const auto& row : rows)
        expectFails(row.arguments, row.message);
    EXPECT_NE(answer({"--help"}).find("--block-size"), std::string::npos);
}

TEST_F(RulesExample, FailsWhereItsAnswerCannotBeWritten) {
    expectFails({stations}, "standard output: No space left on device", "/dev/full");
}

} // namespace
} // namespace Fenlet::Examples

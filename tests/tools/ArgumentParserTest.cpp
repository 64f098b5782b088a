#include <gtest/gtest.h>

#include "common/ArgumentParser.h"

using tools::ArgumentParser;

namespace {

ArgumentParser MakeParser()
{
    return ArgumentParser({L"--timeout", L"-o"}, {L"--help"});
}

TEST(ArgumentParser, SplitsOptionsFlagsAndPositionalArguments)
{
    ArgumentParser parser = MakeParser();
    ASSERT_TRUE(parser.Parse({L"127.0.0.1", L"--timeout", L"500", L"-o", L"out.bin", L"--help", L"file"}));
    EXPECT_EQ(L"500", parser.Value(L"--timeout"));
    EXPECT_EQ(L"out.bin", parser.Value(L"-o"));
    EXPECT_TRUE(parser.Has(L"--help"));
    ASSERT_EQ(2u, parser.Positional().size());
    EXPECT_EQ(L"127.0.0.1", parser.Positional()[0]);
    EXPECT_EQ(L"file", parser.Positional()[1]);
}

TEST(ArgumentParser, TakesAValueAfterAnEqualsSignAndKeepsTheLastOfRepeatedOptions)
{
    ArgumentParser parser = MakeParser();
    ASSERT_TRUE(parser.Parse({L"--timeout=250", L"--timeout=300"}));
    EXPECT_EQ(L"300", parser.Value(L"--timeout"));
    EXPECT_FALSE(parser.Has(L"-o"));
    EXPECT_EQ(L"fallback", parser.Value(L"-o", L"fallback"));
}

TEST(ArgumentParser, KeepsEveryValueOfARepeatedOptionInOrder)
{
    ArgumentParser parser = MakeParser();
    ASSERT_TRUE(parser.Parse({L"-o", L"a", L"--timeout=1", L"-o=b", L"-o", L"c"}));
    EXPECT_EQ((std::vector<std::wstring>{L"a", L"b", L"c"}), parser.Values(L"-o"));
    EXPECT_EQ((std::vector<std::wstring>{L"1"}), parser.Values(L"--timeout"));
    EXPECT_TRUE(parser.Values(L"--help").empty());
}

TEST(ArgumentParser, DoubleDashEndsTheOptionsAndALoneDashIsPositional)
{
    ArgumentParser parser = MakeParser();
    ASSERT_TRUE(parser.Parse({L"-", L"--", L"--help"}));
    EXPECT_FALSE(parser.Has(L"--help"));
    ASSERT_EQ(2u, parser.Positional().size());
    EXPECT_EQ(L"-", parser.Positional()[0]);
    EXPECT_EQ(L"--help", parser.Positional()[1]);
}

TEST(ArgumentParser, RejectsUnknownOptionsMissingValuesAndValuesOnFlags)
{
    ArgumentParser unknown = MakeParser();
    EXPECT_FALSE(unknown.Parse({L"--speed", L"3"}));
    EXPECT_EQ("unknown option --speed", unknown.Error());

    ArgumentParser missing = MakeParser();
    EXPECT_FALSE(missing.Parse({L"file", L"--timeout"}));
    EXPECT_EQ("option --timeout needs a value", missing.Error());

    ArgumentParser flagValue = MakeParser();
    EXPECT_FALSE(flagValue.Parse({L"--help=yes"}));
    EXPECT_EQ("unknown option --help=yes", flagValue.Error());
}

TEST(ArgumentParser, ReadsNumbersWithinTheirRange)
{
    ArgumentParser parser = MakeParser();
    ASSERT_TRUE(parser.Parse({L"--timeout", L"1500"}));
    unsigned long value = 0;
    EXPECT_TRUE(parser.Number(L"--timeout", 7, 1, 2000, &value));
    EXPECT_EQ(1500u, value);
    EXPECT_TRUE(parser.Number(L"-o", 7, 1, 2000, &value));
    EXPECT_EQ(7u, value);
    EXPECT_FALSE(parser.Number(L"--timeout", 7, 1, 1000, &value));
    EXPECT_EQ("option --timeout needs a number from 1 to 1000, not '1500'", parser.Error());
}

TEST(ArgumentParser, NumbersAreWholeDecimalTextOnly)
{
    unsigned long value = 99;
    EXPECT_TRUE(ArgumentParser::ParseNumber(L"0", 0, 10, &value));
    EXPECT_EQ(0u, value);
    EXPECT_TRUE(ArgumentParser::ParseNumber(L"4294967295", 0, 0xFFFFFFFF, &value));
    EXPECT_EQ(0xFFFFFFFFu, value);
    value = 99;
    EXPECT_FALSE(ArgumentParser::ParseNumber(L"", 0, 10, &value));
    EXPECT_FALSE(ArgumentParser::ParseNumber(L"-1", 0, 10, &value));
    EXPECT_FALSE(ArgumentParser::ParseNumber(L"1x", 0, 10, &value));
    EXPECT_FALSE(ArgumentParser::ParseNumber(L"4294967296", 0, 0xFFFFFFFF, &value));
    EXPECT_FALSE(ArgumentParser::ParseNumber(L"11", 0, 10, &value));
    EXPECT_EQ(99u, value);
}

}  // namespace

#include <gtest/gtest.h>

#include <sstream>

#include "common/ErrorText.h"
#include "common/ProgressBar.h"
#include "common/Terminal.h"

using tools::ErrorText;
using tools::ProgressBar;

namespace {

TEST(ProgressBar, RendersMarksPercentBytesAndRate)
{
    EXPECT_EQ("[#######-----------------------]  25%  1048576 / 4194304 bytes  2.1 MB/s",
              ProgressBar::Render(1048576, 4194304, 500));
    EXPECT_EQ("[------------------------------]   0%  0 / 4194304 bytes  - MB/s", ProgressBar::Render(0, 4194304, 0));
    EXPECT_EQ("[##############################] 100%  4194304 / 4194304 bytes  4.2 MB/s",
              ProgressBar::Render(4194304, 4194304, 1000));
    EXPECT_EQ("[##############################] 100%  0 / 0 bytes  - MB/s", ProgressBar::Render(0, 0, 0));
}

TEST(ProgressBar, WritesNothingWhenTheOutputIsNoTerminal)
{
    std::ostringstream out;
    ProgressBar bar(out, false, 1000);
    bar.Update(10, 1);
    bar.Update(500, 600);
    bar.Finish(1000, 1000);
    EXPECT_EQ("", out.str());
}

TEST(ProgressBar, RedrawsInPlaceWhenThePercentChangesOrAQuarterSecondPassed)
{
    std::ostringstream out;
    ProgressBar bar(out, true, 1000);
    bar.Update(10, 100);   // first drawing
    bar.Update(15, 200);   // same percent, 100 ms later: no drawing
    bar.Update(15, 350);   // 250 ms after the last drawing
    bar.Update(20, 360);   // percent changed
    bar.Finish(1000, 1000);
    EXPECT_EQ("\r" + ProgressBar::Render(10, 1000, 100) + "\r" + ProgressBar::Render(15, 1000, 350) + "\r"
                  + ProgressBar::Render(20, 1000, 360) + "\r" + ProgressBar::Render(1000, 1000, 1000) + "\n",
              out.str());
}

TEST(Terminal, APipeAndAFileAreNoTerminal)
{
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    ASSERT_TRUE(CreatePipe(&read, &write, nullptr, 0));
    EXPECT_FALSE(tools::Terminal::IsTerminal(write));
    EXPECT_FALSE(tools::Terminal::IsTerminal(INVALID_HANDLE_VALUE));
    EXPECT_FALSE(tools::Terminal::IsTerminal(nullptr));
    CloseHandle(read);
    CloseHandle(write);
}

TEST(ErrorText, NamesTheStreamErrorsAndFallsBackToTheSystemText)
{
    EXPECT_EQ("1460 (timeout)", ErrorText::Describe(1460));
    EXPECT_EQ("55 (device gone)", ErrorText::Describe(55));
    EXPECT_EQ("170 (busy)", ErrorText::Describe(170));
    EXPECT_EQ("995 (aborted)", ErrorText::Describe(995));
    EXPECT_EQ("31 (general failure)", ErrorText::Describe(31));
    EXPECT_EQ("0 (no error)", ErrorText::Describe(0));
    EXPECT_EQ("3735928559 (unknown error)", ErrorText::Describe(0xDEADBEEF));
}

TEST(ErrorText, WritesAStatusResultInHexadecimal)
{
    EXPECT_EQ("status 0x80004005", ErrorText::Status(0x80004005));
    EXPECT_EQ("status 0x00000000", ErrorText::Status(0));
}

}  // namespace

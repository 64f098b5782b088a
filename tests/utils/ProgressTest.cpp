#include <gtest/gtest.h>

#include "doubles/ScriptedProgress.h"
#include "utils/CProgressAggregator.h"

using doubles::ScriptedProgress;
using QVUtils::CProgressAggregator;

TEST(Progress, SixStepsAtStepThreeWithInnerFiftyPercentReports58_33)
{
    ScriptedProgress parent;
    {
        CProgressAggregator aggregator(&parent, 6);
        EXPECT_TRUE(aggregator.StepBy(3, 0));
        EXPECT_TRUE(aggregator.Step(50.0, 7));
        ASSERT_EQ(2u, parent.percents.size());
        EXPECT_DOUBLE_EQ(50.0, parent.percents[0]);
        EXPECT_NEAR(58.33, parent.percents[1], 0.005);
        EXPECT_EQ(7u, parent.codes[1]);
    }
    // Ended before its sixth step: the parent hears that the share is done.
    ASSERT_EQ(3u, parent.percents.size());
    EXPECT_DOUBLE_EQ(100.0, parent.percents[2]);
}

TEST(Progress, InnerHundredPercentReportsAs99_9OfThatStep)
{
    ScriptedProgress parent;
    CProgressAggregator aggregator(&parent, 1);
    aggregator.Step(100.0, 0);
    ASSERT_EQ(1u, parent.percents.size());
    EXPECT_NEAR(99.9, parent.percents[0], 1e-9);
}

TEST(Progress, AfterAFalseAnswerEverythingIsFalseAndSilentAlsoTheDestructor)
{
    ScriptedProgress parent([](double, unsigned long) { return false; });
    {
        CProgressAggregator aggregator(&parent, 4);
        EXPECT_FALSE(aggregator.StepNext(0));
        EXPECT_EQ(1u, parent.percents.size());
        EXPECT_FALSE(aggregator.StepNext(0));
        EXPECT_FALSE(aggregator.StepBy(2, 0));
        EXPECT_FALSE(aggregator.Step(10.0, 0));
        EXPECT_FALSE(aggregator.Step(0UL));
    }
    EXPECT_EQ(1u, parent.percents.size());
}

TEST(Progress, NullParentStepsAndAnswersTrue)
{
    CProgressAggregator aggregator(nullptr, 3);
    EXPECT_TRUE(aggregator.StepNext(0));
    EXPECT_TRUE(aggregator.StepBy(2, 0));
    EXPECT_TRUE(aggregator.Step(40.0, 0));
    EXPECT_TRUE(aggregator.Step(0UL));
}

TEST(Progress, StepWithoutPercentReportsTheStoredFigure)
{
    ScriptedProgress parent;
    CProgressAggregator aggregator(&parent, 2);
    aggregator.StepNext(0);  // 50 %
    aggregator.Step(3UL);
    ASSERT_EQ(2u, parent.percents.size());
    EXPECT_DOUBLE_EQ(50.0, parent.percents[1]);
    EXPECT_EQ(3u, parent.codes[1]);
}

TEST(Progress, InhibitReturnsTheCountBeforeAndStopsCountingSteps)
{
    ScriptedProgress parent;
    EXPECT_EQ(0u, parent.Inhibit(true));
    EXPECT_EQ(1u, parent.Inhibit(true));
    EXPECT_EQ(2u, parent.Inhibit(false));
    EXPECT_EQ(1u, parent.GetInhibit());
    {
        // An inhibited parent makes an inhibited aggregator: no step counts
        // and the destructor reports nothing.
        CProgressAggregator aggregator(&parent, 2);
        EXPECT_EQ(1u, aggregator.GetInhibit());
        aggregator.StepNext(0);
        EXPECT_DOUBLE_EQ(0.0, parent.percents.back());
    }
    EXPECT_EQ(1u, parent.percents.size());
    EXPECT_EQ(1u, parent.Inhibit(false));
    EXPECT_EQ(0u, parent.Inhibit(false));
    EXPECT_EQ(0u, parent.GetInhibit());
}

TEST(Progress, PlainProgressStoresThePercentAndKeepsAFalseAnswer)
{
    int calls = 0;
    ScriptedProgress progress([&](double, unsigned long) { return ++calls < 2; });
    EXPECT_TRUE(progress.Step(20.0, 0));
    EXPECT_FALSE(progress.Step(1UL));
    EXPECT_FALSE(progress.Step(90.0, 0));
    ASSERT_EQ(2u, progress.percents.size());
    EXPECT_DOUBLE_EQ(20.0, progress.percents[1]);
}

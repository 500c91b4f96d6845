// The run's progress: weighted by audio length, with speed and time left once measurable.

#include "RunProgress.h"
#include "QtPrinters.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(RunProgress, WeighsFilesByTheirLengthAndTellsTheTimeLeft)
{
    const int a = 0, b = 0, c = 0;
    RunProgress progress;
    progress.start(QList<const void*>{&a, &b, &c});
    EXPECT_EQ(progress.describe(), u"0 of 3 files done, 0 %"_s);

    // A 60 s file and a 540 s one known; c, unknown yet, counts as 300 s.
    progress.setLength(&a, 60);
    progress.setLength(&b, 540);
    progress.finish(&a);
    progress.setFraction(&b, 0.5);
    EXPECT_NEAR(progress.fraction(), (60.0 + 270.0) / 900.0, 1e-9);
    progress.setElapsed(1); // too early for a speed: the first seconds are start-up
    EXPECT_FALSE(progress.speed());
    EXPECT_EQ(progress.describe(), u"1 of 3 files done, 36 %"_s);

    // 330 s of audio in 10 s: 33 times real time, 570 s of audio left.
    progress.setElapsed(10);
    ASSERT_TRUE(progress.speed());
    EXPECT_NEAR(*progress.speed(), 33.0, 1e-9);
    EXPECT_NEAR(*progress.secondsLeft(), 570.0 / 33.0, 1e-9);
    EXPECT_EQ(progress.describe(), u"1 of 3 files done, 36 % (33× real time, about 20 s left)"_s);

    // c turns out short: the estimate follows, and files finish once only.
    progress.setLength(&c, 30);
    progress.finish(&b);
    progress.finish(&b);
    EXPECT_EQ(progress.filesDone(), 2);
    EXPECT_NEAR(progress.fraction(), 600.0 / 630.0, 1e-9);
}

TEST(RunProgress, TimeLeftIsRoundedUpInWordsThatFitTheSize)
{
    const struct
    {
        double seconds;
        const char* text;
    } cases[] = {
        {0.2, "about 5 s left"},
        {55.5, "about 1 min left"},
        {61, "about 2 min left"},
        {90 * 60, "about 1 h 30 min left"},
        {3 * 3600 + 1, "about 3 h 1 min left"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RunProgress::describeTimeLeft(c.seconds), QString::fromUtf8(c.text)) << c.seconds;
    }
}

} // namespace

#include "ErrorLog.h"
#include "Encoding.h"
#include "Fixtures.h"

#include <QRegularExpression>
#include <QUrl>
#include <QUrlQuery>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

class ErrorLogTest : public testing::Test
{
protected:
    void SetUp() override { log->clear(); }
    ErrorLog* log = ErrorLog::shared();
};

// Saved and mailed as that text.
TEST_F(ErrorLogTest, EachEntryIsDateTabMessageNewline)
{
    EXPECT_EQ(log->errorLogAsString(), QString());
    ErrorLog::logMessage(u"First"_s);
    ErrorLog::logMessage(u"Ünïcode &\twith tab"_s);
    const QString text = log->errorLogAsString();
    static const QRegularExpression line(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\+0000\\tFirst\\n"
                       "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\+0000\\tÜnïcode &\\twith tab\\n$"));
    EXPECT_TRUE(line.match(text).hasMatch()) << text.toStdString();

    ScratchDir scratch;
    log->saveToFile(scratch.file("report.log"));
    EXPECT_EQ(QString::fromUtf8(fileBytes(scratch.file("report.log"))), text);
    const QUrl url(log->emailReportURL());
    EXPECT_EQ(url.scheme(), u"mailto"_s);
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue(u"subject"_s, QUrl::FullyDecoded),
              u"Sonabrik %1 - Error Report"_s.arg(QStringLiteral(SONABRIK_VERSION)));
    EXPECT_EQ(query.queryItemValue(u"body"_s, QUrl::FullyDecoded), text);
}

TEST_F(ErrorLogTest, ClearingAnnouncesTheChangeEvenWhenEmpty)
{
    int willChange = 0, didChange = 0;
    qsizetype countSeenBefore = -1; // observers may read the log from the slot
    auto a = QObject::connect(log, &ErrorLog::errorLogWillChange, [&] {
        ++willChange;
        countSeenBefore = log->count();
    });
    auto b = QObject::connect(log, &ErrorLog::errorLogDidChange, [&] { ++didChange; });
    log->clear();
    EXPECT_EQ(willChange, 1);
    EXPECT_EQ(didChange, 1);
    EXPECT_EQ(countSeenBefore, 0);
    ErrorLog::logMessage(u"x"_s);
    log->clear();
    EXPECT_EQ(countSeenBefore, 1);
    EXPECT_EQ(log->count(), 0);
    QObject::disconnect(a);
    QObject::disconnect(b);
}

TEST_F(ErrorLogTest, MessagesFromManyThreadsAreAllKeptInEachThreadsOrder)
{
    constexpr int kThreads = 8, kMessages = 300;
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < kMessages; ++i) {
                    ErrorLog::logMessage(u"%1:%2"_s.arg(t).arg(i));
                }
            });
        }
    }
    const QList<ErrorLogEntry> entries = log->errorLog();
    ASSERT_EQ(entries.size(), kThreads * kMessages);
    std::vector<int> next(kThreads, 0);
    for (const ErrorLogEntry& entry : entries) {
        const QStringList parts = entry.log.split(QLatin1Char(':'));
        const int t = parts[0].toInt();
        EXPECT_EQ(parts[1].toInt(), next[size_t(t)]++);
    }
}

} // namespace

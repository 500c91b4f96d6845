#include "ErrorLog.h"
#include "Encoding.h"
#include "Fixtures.h"

#include <QRegularExpression>
#include <QUrl>
#include <QUrlQuery>
#include <gtest/gtest.h>

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

} // namespace

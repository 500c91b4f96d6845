// The file operation on real sources: fan-out, skip rules, merged progress.

#include "FileEncodeOperation.h"
#include "CoreAudioTypes.h"
#include "EncodeOperation.h"
#include "Encoding.h"
#include "FileEncodeOperationDelegate.h"
#include "Fixtures.h"
#include "ScriptedUserInterface.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The delegate of a row without the controller: given formats, no question.
class Delegate : public FileEncodeOperationDelegate
{
public:
    QList<std::shared_ptr<EncoderSettings>> formats;

    TaggingThread* taggingThread() override { return &m_tagging; }
    QStringList& createdOutputPaths() override { return m_created; }
    QList<std::shared_ptr<EncoderSettings>> encoderSettings() override { return formats; }
    void waitingUserInputDidChange(EncodeOperation*) override {}

private:
    TaggingThread m_tagging;
    QStringList m_created;
};

class FileEncodeOperationTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QDir().mkpath(out());
        prefs.set(u"destinationDirectory"_s, out());
    }

    QString out() const { return scratch.file(u"out"_s); }

    QString copyOf(const QString& fixture, const QString& name)
    {
        return scratch.copyOf(Fixtures::generated(fixture), name);
    }

    // Runs the row to its end; records every progress value it shows.
    void run(FileEncodeOperation& row)
    {
        row.setDelegate(&delegate);
        QObject::connect(&row, &FileEncodeOperation::percentCompleteChanged,
                         [&] { progress << row.percentComplete(); });
        row.start();
        ASSERT_TRUE(waitUntil([&] { return row.isFinished(); }));
    }

    PreferencesScope prefs;
    ScratchDir scratch;
    Delegate delegate;
    QList<float> progress;
};

TEST_F(FileEncodeOperationTest, TwoFormatsMergeTheirProgressAndAnMP3SourceOfTheSameTypeIsSkipped)
{
    prefs.set(u"numProcesses"_s, 1);
    delegate.formats = {mp3Format(EncoderSettings::VBR), mp3Format(EncoderSettings::CBR, 96)};
    FileEncodeOperation row(copyOf(u"ctl-long.wav"_s, u"long.wav"_s), scratch.path());
    run(row);
    EXPECT_TRUE(row.success());
    EXPECT_EQ(row.successfulEncodes(), 2);
    EXPECT_TRUE(QFileInfo::exists(out() + u"/long.mp3"_s));
    EXPECT_TRUE(QFileInfo::exists(out() + u"/long 2.mp3"_s));
    // The children run in turn: after the first the row shows a half plus half of the second's share.
    ASSERT_FALSE(progress.isEmpty());
    EXPECT_LT(progress.first(), 0.5f);
    EXPECT_GT(*std::max_element(progress.begin(), progress.end()), 0.6f);
    EXPECT_LE(progress.last(), 1.0f);

    // "skipFilesOfSameType" is on by default: an MP3 source gets no child and still succeeds.
    FileEncodeOperation mp3(copyOf(u"ctl-tagged.mp3"_s, u"t.mp3"_s), scratch.path());
    run(mp3);
    EXPECT_TRUE(mp3.success());
    EXPECT_EQ(mp3.successfulEncodes(), 0);
}

TEST_F(FileEncodeOperationTest, PlatformTypesAreSkippedOnlyWhenTheirDataFormatIsTheOutputs)
{
    auto wavFormat = mp3Format(EncoderSettings::CBR, 128);
    wavFormat->setExtension(u"wav"_s);
    delegate.formats = {wavFormat};

    // A WAV output of another data format is made; one of the source's own is not.
    FileEncodeOperation different(copyOf(u"ctl-short.wav"_s, u"a.wav"_s), scratch.path());
    run(different);
    EXPECT_EQ(different.successfulEncodes(), 1);

    wavFormat->setFormatID(kAudioFormatLinearPCM);
    FileEncodeOperation same(copyOf(u"ctl-short.wav"_s, u"b.wav"_s), scratch.path());
    run(same);
    EXPECT_TRUE(same.success());
    EXPECT_EQ(same.successfulEncodes(), 0);
    EXPECT_FALSE(QFileInfo::exists(out() + u"/b.wav"_s));
}

} // namespace

// The file operation on real sources: fan-out, skip rules, merged progress, metadata only, Trash.

#include "FileEncodeOperation.h"
#include "CoreAudioTypes.h"
#include "EncodeOperation.h"
#include "Encoding.h"
#include "FileEncodeOperationDelegate.h"
#include "Fixtures.h"
#include "ScriptedUserInterface.h"
#include "TagDump.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QStandardPaths>
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

QString trashed(const QString& name)
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files/"_s + name;
}

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

TEST_F(FileEncodeOperationTest, MetadataOnlyMakesExactlyOneChildThatRetagsTheSourceInPlace)
{
    prefs.set(u"WriteMP3ID3v2TagVersion"_s, 1); // ID3v2.4
    auto metadataOnly = mp3Format(EncoderSettings::CBR);
    metadataOnly->setEncoderAction(EncoderSettings::UpdateMetadataOnlyAction);
    metadataOnly->setEnabled(false);
    delegate.formats = {metadataOnly, mp3Format(EncoderSettings::CBR, 64)};
    const QString source = copyOf(u"ctl-tagged.mp3"_s, u"retag.mp3"_s);
    FileEncodeOperation row(source, source);
    row.setDelegate(&delegate);
    row.metadata()->setTrackTitle(u"New Title"_s);
    run(row);
    EXPECT_TRUE(row.success());
    EXPECT_EQ(row.successfulEncodes(), 1);
    EXPECT_TRUE(QDir(out()).isEmpty());
    const QJsonObject tags = mutagenTags(source);
    EXPECT_EQ(id3v2Text(tags, u"TIT2"_s), u"New Title"_s);
    EXPECT_EQ(tags.value(u"id3v2"_s).toObject().value(u"version"_s).toArray().at(1).toInt(), 4);
}

TEST_F(FileEncodeOperationTest, TheSourceGoesToTheTrashOnlyAfterASuccessThatDidNotReplaceIt)
{
    prefs.set(u"deleteOriginal"_s, true);
    delegate.formats = {mp3Format(EncoderSettings::CBR, 64)};

    const QString converted = copyOf(u"ctl-short.wav"_s, u"gone.wav"_s);
    FileEncodeOperation row(converted, converted);
    run(row);
    EXPECT_FALSE(QFileInfo::exists(converted));
    EXPECT_TRUE(QFileInfo::exists(trashed(u"gone.wav"_s)));

    const QString broken = copyOf(u"ctl-corrupt.flac"_s, u"broken.flac"_s);
    FileEncodeOperation failed(broken, broken);
    run(failed);
    EXPECT_FALSE(failed.success());
    EXPECT_TRUE(QFileInfo::exists(broken));

    const QString cancelled = copyOf(u"ctl-long.wav"_s, u"stays.wav"_s);
    FileEncodeOperation stopped(cancelled, cancelled);
    stopped.setDelegate(&delegate);
    stopped.start();
    stopped.cancel();
    ASSERT_TRUE(waitUntil([&] { return stopped.isFinished(); }));
    EXPECT_TRUE(QFileInfo::exists(cancelled));

    // Overwritten in place (same folder, same extension): kept where it is.
    prefs.set(u"outputSameAsSource"_s, true);
    prefs.set(u"skipFilesOfSameType"_s, false);
    const QString inPlace = copyOf(u"ctl-tagged.mp3"_s, u"inplace.mp3"_s);
    FileEncodeOperation replaced(inPlace, inPlace);
    run(replaced);
    EXPECT_TRUE(replaced.success());
    EXPECT_TRUE(replaced.reEncodeToSamefile());
    EXPECT_NE(fileBytes(inPlace), fileBytes(Fixtures::generated(u"ctl-tagged.mp3"_s)));
    EXPECT_TRUE(QFileInfo::exists(inPlace));
}

} // namespace

// Where a finished file goes and what happens to what was there; real encodes of a short source.

#include "Encoding.h"
#include "Fixtures.h"
#include "MP3EncodeOperation.h"
#include "OutputFiles.h"
#include "Tools.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString shortSource()
{
    return Fixtures::generated(u"encode-16-mono-48000.wav"_s);
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QStringList filesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files << QDir(folder).relativeFilePath(it.next());
    }
    files.sort();
    return files;
}

QString trashFolder()
{
    return QDir::homePath() + u"/.local/share/Trash/files"_s;
}

struct Encode
{
    BasicEncodeDelegate& delegate;
    std::unique_ptr<MP3EncodeOperation> operation;

    Encode(BasicEncodeDelegate& delegate, const QString& source, const QString& topLevel = QString())
        : delegate(delegate),
          operation(std::make_unique<MP3EncodeOperation>(source, topLevel.isEmpty() ? source : topLevel))
    {
        operation->setDelegate(&delegate);
        operation->setSettings(mp3Format(0, 64));
    }
    MP3EncodeOperation* operator->() { return operation.get(); }
    void run() { runOperation(*operation); }
};

} // namespace

TEST(EncodeOperation, refusesTheITunesFolder)
{
    const QString iTunes = QDir::homePath() + u"/Music/iTunes/iTunes Media"_s;
    PreferencesScope preferences({{"destinationDirectory", iTunes}});
    ErrorLogCapture log;
    BasicEncodeDelegate delegate;
    Encode encode(delegate, shortSource());
    encode.run();
    EXPECT_TRUE(encode->isFinished());
    EXPECT_FALSE(encode->success());
    EXPECT_EQ(log.messages(), QStringList{EncodeOperation::kITunesFolderMessage});
    EXPECT_FALSE(QFileInfo::exists(iTunes));
}

// A path that names another file when read as a URL is deleted, and that other file left alone.
TEST(EncodeOperation, replacedPathsThatReadAsOtherURLsAreDeletedNotMistaken)
{
    ScratchDir folder;
    QDir(trashFolder()).removeRecursively();
    writeFile(folder.file(u"a"_s), "innocent bystander");
    for (const char* name : {"a#1.mp3", "a?.mp3", "a%20b.mp3"}) {
        const QString path = folder.file(QString::fromLatin1(name));
        writeFile(path, "old");
        EXPECT_TRUE(OutputFiles::moveToTrashOrDelete(path)) << name;
        EXPECT_FALSE(QFileInfo::exists(path)) << name;
        EXPECT_FALSE(QFileInfo::exists(trashFolder() + QLatin1Char('/') + QString::fromLatin1(name))) << name;
    }
    EXPECT_EQ(fileBytes(folder.file(u"a"_s)), QByteArray("innocent bystander"));
    EXPECT_TRUE(filesBelow(trashFolder()).isEmpty());
}

// Cancelling mid-encode leaves neither the output nor the temporary MP3.
TEST(EncodeOperation, cancelledEncodeRemovesItsTemporaryFile)
{
    ScratchDir out;
    PreferencesScope preferences({{"destinationDirectory", out.path()}});
    BasicEncodeDelegate delegate;
    Encode encode(delegate, Fixtures::generated(u"encode-long-stereo.wav"_s));
    QString temporary;
    bool sawTemporaryFile = false;
    // Cancel as soon as encoding starts: the loop notices at the eighth chunk.
    QObject::connect(
        encode.operation.get(), &EncodeOperation::currentStatusChanged, encode.operation.get(),
        [&] {
            if (encode->currentStatus().startsWith(u"Encoding"_s) && !encode->isCancelled()) {
                temporary = encode->tempFilePath();
                sawTemporaryFile = QFileInfo::exists(temporary);
                encode->cancel();
            }
        },
        Qt::DirectConnection);
    encode.run();
    EXPECT_TRUE(encode->isFinished());
    EXPECT_TRUE(encode->success());
    EXPECT_TRUE(sawTemporaryFile);
    EXPECT_FALSE(QFileInfo::exists(temporary)) << "removed by /bin/rm";
    EXPECT_TRUE(filesBelow(out.path()).isEmpty());
    EXPECT_TRUE(delegate.createdOutputPaths().isEmpty());
}

// The added folder and its sub-folders are repeated below the output folder, made with safe names.
TEST(EncodeOperation, keepsTheFolderStructureWithSafeNewFolders)
{
    ScratchDir in, out;
    PreferencesScope preferences(
        {{"destinationDirectory", out.path()}, {"preserveInputFileDirectoryStructure", true}});
    BasicEncodeDelegate delegate;
    const QString source = in.copyOf(shortSource(), u"Best: Of/CD1/01.wav"_s);
    Encode encode(delegate, source, in.file(u"Best: Of"_s));
    encode.run();
    ASSERT_TRUE(encode->success());
    EXPECT_EQ(encode->outFilePath(), out.file(u"Best: Of/CD1/01.mp3"_s));
    EXPECT_EQ(filesBelow(out.path()), QStringList{"Best_ Of/CD1/01.mp3"});
}

TEST(EncodeOperation, savesTheCoverWithAnExtensionByItsType)
{
    for (const auto& [image, file] : {std::pair{"art.png", "cover.png"}, {"art.webp", "cover.jpg"}, {"art.gif", "cover.gif"}}) {
        ScratchDir out;
        PreferencesScope preferences(
            {{"destinationDirectory", out.path()}, {"saveAlbumArtworkToFile", true}});
        BasicEncodeDelegate delegate;
        Encode encode(delegate, shortSource());
        auto metadata = std::make_shared<AudioMetadata>();
        const QByteArray bytes = fileBytes(Fixtures::generated(QString::fromLatin1(image)));
        auto artwork = std::make_shared<AlbumArtwork>();
        artwork->setData(bytes);
        metadata->setAlbumArtwork(artwork);
        encode->setMetadata(metadata);
        encode.run();
        ASSERT_TRUE(encode->success());
        EXPECT_EQ(fileBytes(out.file(QString::fromLatin1(file))), bytes) << image;
    }
}

// Names from over-long tags are cut to 255 bytes between characters, the file keeps ".mp3", and
// the numbered name of a second file fits as well.
TEST(EncodeOperation, namesFromLongTagsFitTheFileSystem)
{
    // Two, three and four bytes of UTF-8 a character, and a letter with a combining accent.
    for (const QString& character : {u"é"_s, u"音"_s, QString::fromUtf8("\U0001D11E"), u"e\u0301"_s}) {
        ScratchDir in, out;
        PreferencesScope preferences({{"destinationDirectory", out.path()},
                                      {"useCustomNamingScheme", true},
                                      {"customNamingScheme", u"{albumTitle}/{trackTitle}"_s}});
        BasicEncodeDelegate delegate;
        const QString source = in.copyOf(shortSource(), u"song.wav"_s);
        auto metadata = std::make_shared<AudioMetadata>();
        metadata->setTrackTitle(character.repeated(200));
        metadata->setAlbumTitle(character.repeated(200));
        QStringList written;
        for (int run = 0; run < 2; ++run) {
            Encode encode(delegate, source);
            encode->setMetadata(metadata);
            encode.run();
            ASSERT_TRUE(encode->success()) << character.toStdString();
            written << encode->outFilePath();
        }
        EXPECT_EQ(filesBelow(out.path()).size(), 2);
        for (const QString& path : written) {
            ASSERT_TRUE(QFileInfo::exists(path)) << path.toStdString();
            const QStringList components = QDir(out.path()).relativeFilePath(path).split(u'/');
            ASSERT_EQ(components.size(), 2);
            for (const QString& component : components) {
                EXPECT_LE(component.toUtf8().size(), 255) << component.toStdString();
                EXPECT_GT(component.toUtf8().size(), 240) << component.toStdString();
                EXPECT_TRUE(component.startsWith(character));
            }
            const QString album = components[0];
            EXPECT_EQ(album, character.repeated(album.size() / character.size()));
            EXPECT_TRUE(components[1].endsWith(u".mp3"_s));
        }
        const QString first = QFileInfo(written[0]).completeBaseName();
        EXPECT_EQ(first, character.repeated(first.size() / character.size()));
        EXPECT_TRUE(QFileInfo(written[1]).completeBaseName().endsWith(u" 2"_s));
    }
}

// Metadata only: an MP3 source is retagged in place, other sources are refused.
TEST(EncodeOperation, metadataOnlyRewritesAnMP3InPlace)
{
    ScratchDir in;
    PreferencesScope preferences;
    ErrorLogCapture log;
    BasicEncodeDelegate delegate;
    const QString mp3 = in.copyOf(Fixtures::generated(u"tag-base.mp3"_s), u"tagged.mp3"_s);
    const QString wav = in.copyOf(shortSource(), u"plain.wav"_s);

    for (const QString& source : {mp3, wav}) {
        Encode encode(delegate, source);
        auto format = mp3Format(0);
        format->setEncoderAction(EncoderSettings::UpdateMetadataOnlyAction);
        encode->setSettings(format);
        auto metadata = std::make_shared<AudioMetadata>();
        metadata->setTrackTitle(u"New Title"_s);
        encode->setMetadata(metadata);
        encode.run();
        EXPECT_TRUE(encode->isFinished());
        EXPECT_EQ(encode->success(), source == mp3);
    }
    EXPECT_TRUE(fileBytes(mp3).contains("New Title"));
    EXPECT_EQ(filesBelow(in.path()), QStringList({"plain.wav", "tagged.mp3"}));
    EXPECT_EQ(log.messages(),
              QStringList{QStringLiteral("Could Not Write Metadata To: %1.  Sonabrik Only Supports "
                                         "Writing Metadata To MP3 Files.")
                              .arg(wav)});
}

// Files converted side by side make the same output folders at the same moment; the one that
// loses the race to mkdir must still find its folder.
TEST(EncodeOperation, outputFoldersMadeAtTheSameMomentAreMadeForEveryone)
{
    constexpr int kThreads = 8;
    for (int round = 0; round < 200; ++round) {
        ScratchDir out;
        const QString folder = out.file(u"Album/CD 1/Extras"_s);
        std::atomic<int> waiting = kThreads;
        std::atomic<int> failures = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                for (--waiting; waiting > 0;) {
                    std::this_thread::yield();
                }
                QString error;
                if (OutputFiles::createFolderWithSafeNames(folder, &error).isEmpty()) {
                    ++failures;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(failures, 0) << "round " << round;
        ASSERT_TRUE(QFileInfo(folder).isDir());
    }
}

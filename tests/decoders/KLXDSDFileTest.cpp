// The DSF and DFF container parser: the block geometry of generated files
// (their rate and channels as ffprobe reads them), the files it refuses with
// their messages, and damaged headers (every prefix, every size and count at
// 0 and at its maximum), which must fail cleanly or open into a decoder that
// delivers exactly the frames announced.

#include "KLXDSDFile.h"
#include "DSDDecoder.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct GeometryCase
{
    const char* file;
    uint32_t dsdFormat;
    uint32_t dsdSampleRate;
    uint32_t channels;
    int64_t dataStart;
    uint32_t DSDStride;
    uint32_t blockSize;
    uint32_t DSDSamplesPerBlock;
    uint32_t PCMSamplesPerBlock; // after decimation 32
    int64_t totalBlocks;
    uint32_t lastBlockPCMSampleCount; // after decimation 32
    int64_t totalDSDSamples;
    int64_t totalPCMSamples; // after decimation 32
};

class DSDGeometry : public testing::TestWithParam<GeometryCase>
{
};

TEST_P(DSDGeometry, FollowsTheHeader)
{
    const GeometryCase& c = GetParam();
    const QString path = Fixtures::generated(QLatin1String(c.file));
    KLXDSDFile::Error error;
    std::unique_ptr<KLXDSDFile> file = KLXDSDFile::initWithFilename(path, 32, &error);
    ASSERT_NE(file, nullptr) << error.localizedDescription.toStdString();
    EXPECT_EQ(file->dsdFormat(), c.dsdFormat);
    EXPECT_EQ(file->decimation(), 32);
    EXPECT_EQ(file->dsdSampleRate(), c.dsdSampleRate);
    EXPECT_EQ(file->channels(), c.channels);
    EXPECT_EQ(file->dataStart(), c.dataStart);
    EXPECT_EQ(file->DSDStride(), c.DSDStride);
    EXPECT_EQ(file->blockSize(), c.blockSize);
    EXPECT_EQ(file->DSDSamplesPerBlock(), c.DSDSamplesPerBlock);
    EXPECT_EQ(file->PCMSamplesPerBlock(), c.PCMSamplesPerBlock);
    EXPECT_EQ(file->totalBlocks(), c.totalBlocks);
    EXPECT_EQ(file->lastBlockPCMSampleCount(), c.lastBlockPCMSampleCount);
    EXPECT_EQ(file->totalDSDSamples(), c.totalDSDSamples);
    EXPECT_EQ(file->totalPCMSamples(), c.totalPCMSamples);

    // ffmpeg counts DSD in bytes: its rate is the DSD rate / 8.
    const QJsonObject stream =
        ffprobe(path, {"-show_entries", "stream=sample_rate,channels"})["streams"][0].toObject();
    EXPECT_EQ(stream["sample_rate"].toString().toLongLong() * 8, c.dsdSampleRate);
    EXPECT_EQ(uint32_t(stream["channels"].toInt()), c.channels);

    // The stream is left at the first sample byte.
    QFile raw(path);
    ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
    raw.seek(c.dataStart);
    QByteArray expected = raw.read(64);
    QByteArray first(64, 0);
    EXPECT_EQ(file->read(first.data(), 1, 64), 64u);
    EXPECT_EQ(first, expected);
}

INSTANTIATE_TEST_SUITE_P(Files, DSDGeometry,
                         testing::Values(
                             // 152 blocks of 32768 samples and one of 19264 samples (2408 bytes,
                             // 602 PCM samples after decimation).
                             GeometryCase{"dsd-5000000.dsf", 1, 2822400, 2, 92, 4096, 8192, 32768, 1024, 153,
                                          602, 5000000, 156250},
                             GeometryCase{"dsd-whole-blocks.dsf", 1, 2822400, 2, 92, 4096, 8192, 32768, 1024,
                                          16, 1024, 524288, 16384},
                             GeometryCase{"dsd-tone-256-2ch.dsf", 1, 11289600, 2, 92, 4096, 8192, 32768, 1024,
                                          87, 136, 2822400, 88200},
                             GeometryCase{"dsd-tone-64-1ch.dff", 0, 2822400, 1, 126, 1, 16384, 131072, 4096,
                                          11, 3140, 1411200, 44100},
                             GeometryCase{"dsd-tone-128-2ch.dff", 0, 5644800, 2, 130, 1, 32768, 131072, 4096,
                                          22, 2184, 2822400, 88200},
                             GeometryCase{"dsd-whole-blocks.dff", 0, 2822400, 2, 130, 1, 32768, 131072, 4096,
                                          4, 4096, 524288, 16384}),
                         [](const testing::TestParamInfo<GeometryCase>& info) {
                             return testNameOf(QLatin1String(info.param.file));
                         });

TEST(KLXDSDFile, TheCountsFollowTheDecimationGiven)
{
    const QString path = Fixtures::generated("dsd-5000000.dsf");
    std::unique_ptr<KLXDSDFile> file = KLXDSDFile::initWithFilename(path, 8, nullptr);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->PCMSamplesPerBlock(), 4096u);
    EXPECT_EQ(file->lastBlockPCMSampleCount(), 2408u);
    EXPECT_EQ(file->totalPCMSamples(), 625000);
    try {
        KLXDSDFile::initWithFilename(path, 0, nullptr);
        ADD_FAILURE() << "a decimation of 0 was taken";
    } catch (const NamedException& e) {
        EXPECT_EQ(e.name(), kAssertionFailureName);
    }
}

struct RefusalCase
{
    const char* name;
    QString path;
    const char* message;
};

TEST(KLXDSDFile, RefusesWhatItCannotDecodeWithItsMessage)
{
    ScratchDir scratch;
    QFile shortFile(scratch.file("short.dsf"));
    ASSERT_TRUE(shortFile.open(QIODevice::WriteOnly));
    shortFile.write("DS");
    shortFile.close();

    const RefusalCase cases[] = {
        {"DST", Fixtures::generated("dsd-dst.dff"), "DSDDecoder Unable To Parse DSD File: %1"},
        {"DFF at DSD256", Fixtures::generated("dsd-256.dff"), "DSDDecoder Unable To Parse DSD File: %1"},
        {"RIFF", Fixtures::generated("dsd-riff.dsf"), "DSDDecoder Not A Vaild DSD File: %1"},
        {"two bytes", shortFile.fileName(), "DSDDecoder Unable To Read File: %1"},
        {"missing", scratch.file("nothing.dff"), "DSDDecoder Unable To Open File: %1"},
    };
    for (const RefusalCase& c : cases) {
        const QString message = QString::fromLatin1(c.message).arg(c.path);
        KLXDSDFile::Error error;
        EXPECT_EQ(KLXDSDFile::initWithFilename(c.path, 32, &error), nullptr) << c.name;
        EXPECT_EQ(error.localizedDescription, message) << c.name;
        EXPECT_EQ(error.code, 100);
        EXPECT_TRUE(error.domain.endsWith(u".dsdfile"_s));

        // Through the factory: a null decoder and the message in the log.
        PreferencesScope prefs;
        ErrorLogCapture log;
        EXPECT_EQ(ZTDecoder::decoderWithFilename(c.path), nullptr) << c.name;
        EXPECT_EQ(log.messages(), QStringList{message}) << c.name;
    }
}

// A damaged copy of a valid header: what to write where.
struct Damage
{
    const char* field;
    int offset;
    int width;
    bool opensAtZero;
    bool opensAtMaximum;
};

// Opens path with the decoder; when it opens, decodes it to the end and
// checks the frame count against the header: all of them, or fewer with the
// early end reported (a header announcing more data than the file holds).
void expectCleanOutcome(const QString& path, bool opens, const std::string& what)
{
    ErrorLogCapture log;
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
    EXPECT_EQ(decoder != nullptr, opens)
        << what << ": " << log.messages().join(QLatin1Char('\n')).toStdString();
    if (decoder) {
        const int64_t frames = int64_t(decodeAll(*decoder).frames());
        if (decoder->damage().isDamaged()) {
            EXPECT_EQ(decoder->damage().firstFrame(DecoderDamage::Kind::EndsEarly), frames) << what;
            EXPECT_LT(frames, decoder->totalFrames()) << what;
        } else {
            EXPECT_EQ(frames, decoder->totalFrames()) << what;
        }
    } else {
        ASSERT_EQ(log.messages().size(), 1) << what;
        EXPECT_TRUE(log.messages().first().startsWith(u"DSDDecoder Unable To "_s) ||
                    log.messages().first().startsWith(u"DSDDecoder Not A Vaild DSD File: "_s))
            << what;
    }
}

class DamagedHeaders : public testing::Test
{
protected:
    // Every prefix of the file up to its first sample bytes fails; each
    // listed field set to 0 and to all ones opens or fails as the table says.
    void check(const char* fixture, int dataStart, std::initializer_list<Damage> damages)
    {
        const QByteArray original = fileBytes(Fixtures::generated(QLatin1String(fixture)));
        ASSERT_GT(original.size(), dataStart);
        const QString path = scratch.file("damaged." + QLatin1String(fixture).right(3));
        const auto write = [&](const QByteArray& bytes) {
            QFile out(path);
            ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(bytes);
        };
        for (int length = 0; length <= dataStart; ++length) {
            write(original.left(length));
            expectCleanOutcome(path, false, "prefix of " + std::to_string(length) + " bytes");
        }
        for (const Damage& damage : damages) {
            for (const auto& [fill, opens] :
                 {std::pair{'\0', damage.opensAtZero}, {'\xff', damage.opensAtMaximum}}) {
                QByteArray bytes = original;
                bytes.replace(damage.offset, damage.width, QByteArray(damage.width, fill));
                write(bytes);
                expectCleanOutcome(path, opens, std::string(damage.field) + (fill ? " at maximum" : " at 0"));
            }
        }
    }

    PreferencesScope prefs;
    ScratchDir scratch;
};

TEST_F(DamagedHeaders, DSF)
{
    check("dsd-tone-64-2ch.dsf", 92,
          {
              {"header size", 4, 8, false, false},
              {"file size", 12, 8, true, true},
              {"metadata offset", 20, 8, true, true},
              {"fmt size", 32, 8, false, false},
              {"version", 40, 4, false, false},
              {"format id", 44, 4, true, false},
              {"channel type", 48, 4, true, true},
              {"channel count", 52, 4, false, false},
              {"sampling frequency", 56, 4, false, false},
              {"bits per sample", 60, 4, false, false},
              {"sample count", 64, 8, true, false},
              {"block size", 72, 4, false, false},
              {"data size", 84, 8, true, true},
          });
}

TEST_F(DamagedHeaders, DFF)
{
    check("dsd-tone-64-2ch.dff", 130,
          {
              {"form size", 4, 8, false, true},
              {"FVER size", 20, 8, false, false},
              {"PROP size", 36, 8, false, false},
              {"FS size", 52, 8, false, false},
              {"sampling frequency", 60, 4, false, false},
              {"CHNL size", 68, 8, false, false},
              {"channel count", 76, 2, false, false},
              {"CMPR size", 90, 8, false, false},
              {"data size", 122, 8, true, false},
          });
}

} // namespace
